#include "cli/arguments/seconds.h"

namespace cli {

CLI::Option *add_seconds(CLI::App &verb, const std::string &name, std::optional<double> &seconds,
                         const SecondsRange &range, const std::string &description) {
    const auto check = [range](const std::string &text) {
        double number = 0;
        // "nan" is a number to the parser and compares as false.
        if (CLI::detail::lexical_cast(text, number) && number >= range.least && number <= range.most) {
            return std::string();
        }
        return "\"" + text + "\" is no number of seconds from " + seconds_argument(range.least) + " to " +
               seconds_argument(range.most);
    };
    return verb.add_option(name, seconds, description)->option_text("SECONDS")->check(check, "");
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
