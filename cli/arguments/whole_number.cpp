#include "cli/arguments/whole_number.h"

#include <charconv>

#include "cli/arguments/invalid_value.h"

namespace cli {

std::optional<std::uint64_t> parse_whole_number(std::string_view text) {
    std::uint64_t number = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

CLI::Option *add_whole_number(CLI::App &verb, const std::string &name, std::optional<std::uint64_t> &number,
                              const std::string &description) {
    // The parser's own numbers may be negative, wrap around, or be octal after a leading zero.
    const auto take = [name, &number](const std::string &text) {
        number = parse_whole_number(text);
        if (!number) {
            throw CLI::ValidationError(invalid_value(name, text) +
                                       ": expected a number from 0 to 18446744073709551615");
        }
    };
    return verb.add_option_function<std::string>(name, take, description);
}

} // namespace cli
