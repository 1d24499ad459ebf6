#include "cli/arguments/seconds.h"

#include <charconv>
#include <system_error>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/wrong_use.h"

namespace cli {

ValueReader seconds_reader(std::optional<double> &seconds, const SecondsRange &range) {
    return [&seconds, range](const std::string &name, const std::string &text) {
        double number = 0;
        const char *const end = text.data() + text.size();
        const auto [read_end, error] = std::from_chars(text.data(), end, number); // decimal only
        // It accepts "nan", which compares as false.
        if (error != std::errc{} || read_end != end || !(number >= range.least && number <= range.most)) {
            throw WrongUse(invalid_value(name, text) + ": expected " + seconds_argument(range.least) + " to " +
                           seconds_argument(range.most) + " seconds");
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
