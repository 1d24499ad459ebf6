#include "cli/dumps/clock.h"

#include <charconv>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/whole_number.h"
#include "cli/arguments/wrong_use.h"
#include "cli/dumps/wall_time.h"
#include "host/RvQueue.h"
#include "host/device/described_device.h"

namespace cli {
namespace {

/** The platform's numbers are signed and its arithmetic wraps, so a negative number means a large unsigned one. */
std::optional<std::uint64_t> signed_or_whole_number(std::string_view text) {
    if (text.substr(0, 1) != "-") {
        return parse_whole_number(text);
    }
    std::int64_t number = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional(static_cast<std::uint64_t>(number)) : std::nullopt;
}

/** @throws std::invalid_argument. */
std::uint64_t in_nanoseconds(std::uint64_t microseconds) {
    constexpr std::uint64_t kNanosecondsOfAMicrosecond = 1000;
    if (microseconds > std::numeric_limits<std::uint64_t>::max() / kNanosecondsOfAMicrosecond) {
        throw std::invalid_argument("it is beyond 64 bits of nanoseconds");
    }
    return microseconds * kNanosecondsOfAMicrosecond;
}

/** @throws std::invalid_argument. */
std::uint64_t parse_qor_time(std::string_view text) {
    const std::optional<std::uint64_t> number = signed_or_whole_number(text);
    return number ? *number : in_nanoseconds(parse_duration(text));
}

/** @throws std::invalid_argument; WrongUse as `since_epoch`. */
std::uint64_t parse_calendar_time(std::string_view text) {
    const std::optional<std::uint64_t> number = signed_or_whole_number(text);
    return number ? *number : in_nanoseconds(since_epoch(parse_wall_time(text)));
}

} // namespace

decoder::time_sync parse_time_sync(const std::string &text) {
    constexpr std::string_view kQor = "qor=";
    constexpr std::string_view kCalendar = ",calendar=";
    try {
        const std::size_t place = text.find(kCalendar);
        if (!text.starts_with(kQor) || place == std::string::npos) {
            throw std::invalid_argument("it is not of the form qor=TIME,calendar=TIME");
        }
        const std::string_view all = text;
        return {parse_qor_time(all.substr(kQor.size(), place - kQor.size())),
                parse_calendar_time(all.substr(place + kCalendar.size()))};
    } catch (const std::invalid_argument &error) {
        throw WrongUse(invalid_value("--time-sync", text) + ": " + error.what() +
                       "; expected times such as qor=7200000000000,calendar=1795256648209505000 (nanoseconds), "
                       "qor=7200s,calendar=2026-11-21T10:24:08Z or qor=2h,calendar=2026-11-21T11:24:08.25+01:00");
    }
}

ValueReader boot_time_reader(std::optional<BootTime> &time) {
    return [&time](const std::string &name, const std::string &text) {
        if (const std::optional<std::uint64_t> microseconds = parse_whole_number(text)) {
            time = *microseconds;
            return;
        }
        try {
            time = parse_wall_time(text);
        } catch (const std::invalid_argument &error) {
            throw WrongUse(invalid_value(name, text) + ": " + error.what() +
                           "; expected a time such as 1795256648209505 (microseconds), 2026-11-21T10:24:08Z or "
                           "2026-11-21T11:24:08.209505+01:00");
        }
    };
}

Argument time_sync_argument(std::optional<std::string> &text, const char *help) {
    return {.name = "--time-sync", .value_name = "SYNC", .target = &text, .help = help, .kind = ValueKind::Other};
}

Argument boot_time_argument(std::optional<BootTime> &time, const char *help) {
    return {.name = "--boot-time",
            .value_name = "TIME",
            .target = boot_time_reader(time),
            .help = help,
            .kind = ValueKind::Other};
}

/** A described device in the registry. The plug-in is not loaded. */
struct DumpClock::LiveDevice {
    explicit LiveDevice(host::DeviceDescription description) : device(std::move(description), queue) {}

    host::SerialQueue queue;
    host::DescribedDevice device;
};

DumpClock::DumpClock(const ClockWords &words) {
    if (words.time_sync) {
        _fixed.sync = parse_time_sync(*words.time_sync);
    }
    if (words.boot_time) {
        const auto *const date = std::get_if<WallTime>(&*words.boot_time);
        _fixed.boot_time = date != nullptr ? since_epoch(*date) : std::get<std::uint64_t>(*words.boot_time);
    }
    if (words.live_description) {
        _live_device =
            std::make_unique<LiveDevice>(host::read_device_description(*words.live_description, words.folder_of_files));
    }
}

DumpClock::DumpClock(const decoder::device_clock &fixed) : _fixed(fixed) {}

DumpClock::~DumpClock() = default;

} // namespace cli
