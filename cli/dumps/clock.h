/** The clock of the device that a dump comes from. */
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "cli/arguments/declaration.h"
#include "cli/arguments/time_text.h"
#include "decoder/device_clock.h"

namespace cli {

/** Microseconds since the epoch, or a date and time of day. */
using BootTime = std::variant<std::uint64_t, WallTime>;

/** The clock as given on the command line. Every part is optional. */
struct ClockWords {
    std::optional<std::string> time_sync; ///< see `parse_time_sync`
    std::optional<BootTime> boot_time;
    std::optional<std::string> live_description; ///< a device description, whose clock is read for every report
    std::optional<std::string> folder_of_files;  ///< what the description may name; empty: any file
};

/**
 * Parses "qor=TIME,calendar=TIME". Each is a number of nanoseconds, which may be negative; the first may also be a
 * duration (`parse_duration`) and the second a date and time of day (`parse_wall_time`), in the process's time zone.
 * @throws WrongUse for anything else.
 */
decoder::time_sync parse_time_sync(const std::string &text);

/**
 * The value is a boot time.
 * @param time  stays empty when the option is not given.
 */
ValueReader boot_time_reader(std::optional<BootTime> &time);

/** `--time-sync SYNC`. @param text  stays empty when the option is not given. */
Argument time_sync_argument(std::optional<std::string> &text,
                            const char *help = "Both clocks at one instant: qor=TIME,calendar=TIME");

/** `--boot-time TIME`. @param time  stays empty when the option is not given. */
Argument boot_time_argument(std::optional<BootTime> &time,
                            const char *help = "When the host booted: a date and time, or microseconds");

/** The clock to use for each report. Any thread. */
class DumpClock {
public:
    /** @throws WrongUse for a malformed time synchronisation, host::Error for an invalid description. */
    explicit DumpClock(const ClockWords &words);
    /** The same time for every report. */
    explicit DumpClock(const decoder::device_clock &fixed);
    ~DumpClock();

    decoder::device_clock now() const { return _live_device ? decoder::read_device_clock() : _fixed; }

    /** The time for a report that brings its own clock: what this clock lacks is taken from it. */
    decoder::device_clock now_or(const decoder::device_clock &own) const {
        const decoder::device_clock given = now();
        return {given.sync ? given.sync : own.sync, given.boot_time ? given.boot_time : own.boot_time};
    }

private:
    struct LiveDevice;

    decoder::device_clock _fixed;
    std::unique_ptr<LiveDevice> _live_device;
};

} // namespace cli
