#include "cli/reports/clock.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "cli/arguments/whole_number.h"
#include "cli/arguments/wrong_use.h"
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

/** Removes "KEY=NUMBER" from the front of `text`; nothing when `text` does not start so. */
std::optional<std::uint64_t> take_number(std::string_view &text, std::string_view key) {
    if (text.substr(0, key.size()) != key) {
        return std::nullopt;
    }
    const std::string_view value = text.substr(key.size(), text.find(',', key.size()) - key.size());
    text.remove_prefix(key.size() + value.size());
    return signed_or_whole_number(value);
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
    std::string_view rest = text;
    const std::optional<std::uint64_t> qor = take_number(rest, "qor=");
    const std::optional<std::uint64_t> calendar = take_number(rest, ",calendar=");
    if (!qor || !calendar || !rest.empty()) {
        throw WrongUse("invalid value \"" + text + "\" for --time-sync: expected qor=NANOSECONDS,calendar=NANOSECONDS");
    }
    return {*qor, *calendar};
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
    _fixed.boot_time = words.boot_time;
    if (words.live_description) {
        _live_device = std::make_unique<LiveDevice>(*words.live_description);
    }
}

DumpClock::DumpClock(const decoder::device_clock &fixed) : _fixed(fixed) {}

DumpClock::~DumpClock() = default;

} // namespace cli
