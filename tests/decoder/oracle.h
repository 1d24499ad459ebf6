/**
 * The oracle of the decoder's tests: a second, independent formulation of a report's line, written with the
 * standard library's string streams for obvious correctness. It shares nothing with the decoder.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace oracle {

/** The size of one report in bytes. */
inline constexpr std::size_t kReportSize = 48;

/** One instant as the coprocessor's clock and as the calendar see it. */
struct TimeSync {
    std::int64_t qor;      ///< nanoseconds of the coprocessor's clock
    std::int64_t calendar; ///< nanoseconds since the Unix epoch
};

/** What is needed to convert firmware time to wall-clock time. The field of an absent member is left out of the line.
 */
struct Clock {
    std::optional<TimeSync> time_sync;
    std::optional<std::uint64_t> boot_time; ///< microseconds since the Unix epoch
};

/** `timestamp`, in microseconds of the coprocessor's clock, as local wall-clock text. Any thread. */
std::string wall_clock_text(const TimeSync &sync, std::uint64_t timestamp);

/** The line of the report at `report`, `kReportSize` bytes at any address, without a newline. Any thread. */
std::string describe(const unsigned char *report, const Clock &clock);

/** The name of trace `id` of a kind in a line of the sshb category, or its number if it has no name. Any thread. */
std::string sshb_trace_name(std::uint32_t kind, std::uint32_t id);

} // namespace oracle
