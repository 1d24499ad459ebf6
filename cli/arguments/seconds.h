/** Options that accept a time in seconds. */
#pragma once

#include <optional>
#include <string>

#include "cli/arguments/declaration.h"

namespace cli {

/** The accepted times, both ends included. */
struct SecondsRange {
    double least;
    double most;
};

/**
 * The value is a number of seconds within `range`, fractions included, or a number with a unit (`parse_duration`).
 * @param seconds  stays empty when the option is not given.
 */
ValueReader seconds_reader(std::optional<double> &seconds, const SecondsRange &range);

/** `seconds` in the form that such an option accepts: at most six decimals, no trailing zeros. */
std::string seconds_argument(double seconds);

} // namespace cli
