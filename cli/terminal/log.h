/** The log on standard error. */
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "host/RvLog.h"

namespace cli {

/**
 * Writes the log's lines to standard error from a level on, as long as this object lives: on a terminal escaped, and
 * with the level in colour unless `NO_COLOR` is set. A failure to write is ignored. Lines of lower levels are counted.
 */
class TerminalLog {
public:
    /** @param least  the least severe level that is shown. */
    explicit TerminalLog(RvLogLevel least);

    /** The number of messages of a level so far, shown or not. Any thread. */
    std::uint64_t count(RvLogLevel level) const { return _counts.at(static_cast<std::size_t>(level)); }

    RvLogLevel least_shown() const { return _least; }

private:
    RvLogLevel _least;
    std::array<std::atomic<std::uint64_t>, 3> _counts{};
    std::unique_ptr<host::LogSink> _sink; ///< last: it uses the others until it is gone
};

} // namespace cli
