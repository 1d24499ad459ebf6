/** The clock of the device that a dump comes from. */
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "decoder/device_clock.h"

namespace cli {

/** What the command line says about the clock; nothing of it needs to be given. */
struct ClockWords {
    std::optional<std::string> time_sync; ///< "qor=NS,calendar=NS"
    std::optional<std::uint64_t> boot_time;
    std::optional<std::string> live_description; ///< a device description, to be asked afresh for every report
};

/** Both numbers may be negative. @throws WrongUse for anything but two numbers of nanoseconds. */
decoder::time_sync parse_time_sync(const std::string &text);

/**
 * Puts the process into a time zone of the system's zone files, before its first use of local time and before it
 * has other threads.
 * @throws WrongUse for what can be no zone's name, host::Error when there is no such file.
 */
void enter_time_zone(const std::string &name);

/** Tells the clock for each report. Any thread. */
class DumpClock {
public:
    /** @throws WrongUse; host::Error for a description that will not do. */
    explicit DumpClock(const ClockWords &words);
    ~DumpClock();

    decoder::device_clock now() const { return _live_device ? decoder::read_device_clock() : _told; }

private:
    struct LiveDevice;

    decoder::device_clock _told;
    std::unique_ptr<LiveDevice> _live_device;
};

} // namespace cli
