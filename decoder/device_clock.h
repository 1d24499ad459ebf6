/** The device's clock: the conversion of firmware time to wall-clock time, and the host's boot time. */
#ifndef DECODER_DEVICE_CLOCK_H
#define DECODER_DEVICE_CLOCK_H

#include <cstdint>
#include <optional>
#include <string>

namespace decoder {

/** The same instant on both clocks, in nanoseconds. */
struct time_sync {
    std::uint64_t qor;      ///< the coprocessor's clock
    std::uint64_t calendar; ///< since the epoch
};

/** The input, besides the record, for describing a record. A line omits what is absent here. */
struct device_clock {
    std::optional<time_sync> sync;
    std::optional<std::uint64_t> boot_time; ///< microseconds since the epoch
};

/** Reads the time synchronisation that the platform's registry publishes now. Never cached. Any thread. */
std::optional<time_sync> read_time_sync();

/** Reads the platform's boot time in microseconds since the epoch. Any thread. */
std::optional<std::uint64_t> read_boot_time();

/** Reads both. Any thread. */
device_clock read_device_clock();

/**
 * Converts a firmware time (microseconds) to microseconds since the epoch. The arithmetic is unsigned and wraps: if the
 * synchronisation is later than the record, the result may be meaningless, and it is shown unchanged.
 */
constexpr std::uint64_t wall_time(std::uint64_t timestamp, const time_sync &sync) {
    return (sync.calendar + timestamp * 1000 - sync.qor) / 1000;
}

/**
 * Writes a time in microseconds since the epoch as "Nov 05 09:03:07.250000", with the month names of the C locale, in
 * the process's time zone (`decoder/remembered_second.h` says when it is looked at). Writes nothing if there is no such
 * local time. Needs room for 40 characters. Any thread.
 * @return the end of the text.
 */
char *put_wall_time(char *out, std::uint64_t microseconds);

/** The same as a string; empty if there is no such local time. */
std::string wall_time_text(std::uint64_t microseconds);

} // namespace decoder

#endif
