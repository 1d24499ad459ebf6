#include "cli/arguments/time_zone.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "cli/arguments/wrong_use.h"
#include "cli/terminal/output.h"
#include "host/error.h"

namespace cli {
namespace {

constexpr const char *kZoneFolder = "/usr/share/zoneinfo";
constexpr std::string_view kZoneFileMark = "TZif";

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

/**
 * What is wrong with the time zone of the environment: the value of TZ, when it is neither the name of a zone file nor
 * a rule such as CET-1CEST. Empty when nothing is wrong.
 */
std::string unknown_environment_zone() {
    const std::string zone = environment_text("TZ");
    std::string_view name = zone;
    name.remove_prefix(name.starts_with(':') ? 1 : 0);
    // The C library knows UTC without a file, and takes a rule also after a colon.
    const bool is_known =
        name.empty() || name == "UTC" || is_zone_file(zone_folder() / name) || begins_with_a_rule(name);
    return is_known ? std::string() : zone;
}

} // namespace

Argument time_zone_argument(std::optional<std::string> &name) {
    return {.name = "--time-zone",
            .value_name = "NAME",
            .target = &name,
            .help = "Time zone of wall-clock times; default: local",
            .kind = ValueKind::Other,
            .has_variable = true};
}

void warn_of_unknown_zone() {
    if (const std::string zone = unknown_environment_zone(); !zone.empty()) {
        print_message("qorstat: TZ is " + host::in_quotes(zone) +
                      ", which is no time zone: wall-clock times are in UTC");
    }
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

} // namespace cli
