#include "cli/reports/clock.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <string_view>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/whole_number.h"
#include "cli/arguments/wrong_use.h"
#include "cli/reports/wall_time.h"
#include "host/RvQueue.h"
#include "host/device/described_device.h"
#include "host/error.h"

namespace cli {
namespace {

constexpr const char *kZoneFolder = "/usr/share/zoneinfo";
constexpr std::string_view kZoneFileMark = "TZif";

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

bool is_zone_file(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    std::array<char, kZoneFileMark.size()> start{};
    return file.read(start.data(), start.size()) && std::string_view(start.data(), start.size()) == kZoneFileMark;
}

/** Empty when the variable is not set. Safe: no other thread changes the environment. */
std::string environment_text(const char *variable) {
    const char *const value = std::getenv(variable); // NOLINT(concurrency-mt-unsafe)
    return value != nullptr ? value : "";
}

std::filesystem::path zone_folder() {
    const std::string chosen = environment_text("TZDIR");
    return chosen.empty() ? kZoneFolder : chosen;
}

bool is_letter(char character) {
    return ('a' <= character && character <= 'z') || ('A' <= character && character <= 'Z');
}

/** Whether `text` begins as POSIX rules do: with a name of three letters or more, or in "<>", and a number. */
bool begins_with_a_rule(std::string_view text) {
    const std::size_t letters =
        static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), is_letter) - text.begin());
    const bool is_quoted = text.starts_with('<') && text.find('>') != std::string_view::npos;
    if (!is_quoted && letters < 3) {
        return false;
    }
    text.remove_prefix(is_quoted ? text.find('>') + 1 : letters);
    text.remove_prefix(text.starts_with('+') || text.starts_with('-') ? 1 : 0);
    return !text.empty() && '0' <= text.front() && text.front() <= '9';
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

std::string unknown_environment_zone() {
    const std::string zone = environment_text("TZ");
    std::string_view name = zone;
    name.remove_prefix(name.starts_with(':') ? 1 : 0);
    // The C library knows UTC without a file, and takes a rule also after a colon.
    const bool is_known =
        name.empty() || name == "UTC" || is_zone_file(zone_folder() / name) || begins_with_a_rule(name);
    return is_known ? std::string() : zone;
}

void enter_time_zone(const std::string &name) {
    const std::filesystem::path folder = zone_folder();
    const bool stays_inside = name.find("..") == std::string::npos && !name.empty() && name.front() != '/';
    if (!stays_inside) {
        throw WrongUse("invalid value \"" + name + "\" for --time-zone: expected a name such as Europe/Berlin");
    }
    if (!is_zone_file(folder / name)) {
        throw host::Error((folder / name).string(), "", "not a time zone file");
    }
    // With a colon in front, the C library looks for a file of that name first.
    setenv("TZ", (":" + name).c_str(), 1); // NOLINT(concurrency-mt-unsafe)
    tzset();
}

/** A described device in the registry. The plug-in is not loaded. */
struct DumpClock::LiveDevice {
    explicit LiveDevice(const std::string &description) : device(description, queue) {}

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
        _live_device = std::make_unique<LiveDevice>(*words.live_description);
    }
}

DumpClock::DumpClock(const decoder::device_clock &fixed) : _fixed(fixed) {}

DumpClock::~DumpClock() = default;

} // namespace cli
