#include "cli/arguments/seconds.h"

#include <charconv>
#include <system_error>

#include "cli/arguments/invalid_value.h"

namespace cli {

CLI::Option *add_seconds(CLI::App &verb, const std::string &name, std::optional<double> &seconds,
                         const SecondsRange &range, const std::string &description) {
    const auto take = [name, &seconds, range](const std::string &text) {
        double number = 0;
        const char *const end = text.data() + text.size();
        const auto [read_end, error] = std::from_chars(text.data(), end, number); // decimal only
        // It accepts "nan", which compares as false.
        if (error != std::errc{} || read_end != end || !(number >= range.least && number <= range.most)) {
            throw CLI::ValidationError(invalid_value(name, text) + ": expected " + seconds_argument(range.least) +
                                       " to " + seconds_argument(range.most) + " seconds");
        }
        seconds = number;
    };
    return verb.add_option_function<std::string>(name, take, description)->option_text("SECONDS");
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
