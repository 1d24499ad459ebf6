#include "cli/arguments/seconds.h"

#include <charconv>
#include <stdexcept>
#include <system_error>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/time_text.h"
#include "cli/arguments/wrong_use.h"

namespace cli {
namespace {

/** Nothing when `text` is neither a decimal number nor a number with a unit. */
std::optional<double> parse_seconds(const std::string &text) {
    double number = 0;
    const char *const end = text.data() + text.size();
    if (const auto [read_end, error] = std::from_chars(text.data(), end, number); // decimal only
        error == std::errc{} && read_end == end) {
        return number;
    }
    try {
        return static_cast<double>(parse_duration(text)) / static_cast<double>(kMicrosecondsOfASecond);
    } catch (const std::invalid_argument &) {
        return std::nullopt;
    }
}

} // namespace

ValueReader seconds_reader(std::optional<double> &seconds, const SecondsRange &range) {
    return [&seconds, range](const std::string &name, const std::string &text) {
        const std::optional<double> number = parse_seconds(text);
        // "nan" is a number, which compares as false.
        if (!number || !(*number >= range.least && *number <= range.most)) {
            throw WrongUse(invalid_value(name, text) + ": expected " + seconds_argument(range.least) + " to " +
                           seconds_argument(range.most) + " seconds, such as 10, 2.5s or 2m");
        }
        seconds = number;
    };
}

std::string seconds_argument(double seconds) {
    std::string text = std::to_string(seconds);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') {
        text.pop_back();
    }
    return text;
}

} // namespace cli
