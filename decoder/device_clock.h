/** How firmware time becomes wall-clock time, and when the host booted. */
#ifndef DECODER_DEVICE_CLOCK_H
#define DECODER_DEVICE_CLOCK_H

#include <cstdint>
#include <optional>
#include <string>

namespace decoder {

/** One instant on both clocks, in nanoseconds. */
struct time_sync {
    std::uint64_t qor;      ///< the coprocessor's clock
    std::uint64_t calendar; ///< since the epoch
};

/** What describing a record needs besides the record; what is absent is left out of the line. */
struct device_clock {
    std::optional<time_sync> sync;
    std::optional<std::uint64_t> boot_time; ///< microseconds since the epoch
};

/** The correspondence that the platform's registry publishes at the moment; never remembered. Any thread. */
std::optional<time_sync> read_time_sync();

/** The platform's boot time in microseconds since the epoch. Any thread. */
std::optional<std::uint64_t> read_boot_time();

/** Both. */
device_clock read_device_clock();

/**
 * A firmware time (microseconds) in microseconds since the epoch. Unsigned arithmetic that wraps: a
 * correspondence later than the record gives a meaningless time, which is shown as it is.
 */
constexpr std::uint64_t wall_time(std::uint64_t timestamp, const time_sync &sync) {
    return (sync.calendar + timestamp * 1000 - sync.qor) / 1000;
}

/**
 * Writes a time in microseconds since the epoch as "Nov 05 09:03:07.250000", in the zone that the process had when
 * it first asked for local time, in the C locale's words; nothing when there is no such local time. Needs room
 * for 40 characters. Any thread.
 * @return the end of what was written.
 */
char *put_wall_time(char *out, std::uint64_t microseconds);

/** The same as a text of its own; empty when there is no such local time. */
std::string wall_time_text(std::uint64_t microseconds);

} // namespace decoder

#endif
