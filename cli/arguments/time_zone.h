/** The time zone of wall-clock times. */
#pragma once

#include <optional>
#include <string>

#include "cli/arguments/declaration.h"

namespace cli {

/** `--time-zone NAME`, for `enter_time_zone`. @param name  stays empty when the option is not given. */
Argument time_zone_argument(std::optional<std::string> &name);

/**
 * Sets the process's time zone to one of the system's zone files. Call it before the first use of local time and
 * before other threads start.
 * @throws WrongUse for a name that no zone can have, host::Error when there is no such file.
 */
void enter_time_zone(const std::string &name);

/**
 * Says on standard error when TZ is neither the name of a zone file nor a rule such as CET-1CEST: the C library takes
 * it for UTC in silence. For verbs that print local times.
 */
void warn_of_unknown_zone();

} // namespace cli
