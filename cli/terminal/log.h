/** The log on standard error. */
#pragma once

#include <memory>

#include "host/RvLog.h"

namespace cli {

/**
 * Writes the log's lines to standard error: on a terminal escaped, and with the level in colour unless `NO_COLOR` is
 * set. A failure to write is ignored.
 */
[[nodiscard]] std::unique_ptr<host::LogSink> log_to_terminal();

} // namespace cli
