#include "cli/arguments/whole_number.h"

#include <charconv>
#include <limits>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/wrong_use.h"

namespace cli {

std::optional<std::uint64_t> parse_whole_number(std::string_view text) {
    std::uint64_t number = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

std::optional<std::uint64_t> parse_id(std::string_view text) {
    constexpr int kHexadecimal = 16;
    const bool is_hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(is_hexadecimal ? 2 : 0);
    std::uint64_t id = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, id, is_hexadecimal ? kHexadecimal : 10);
    if (error == std::errc::invalid_argument || stop != end) {
        return std::nullopt;
    }
    return error == std::errc() ? id : std::numeric_limits<std::uint64_t>::max();
}

ValueReader whole_number_reader(std::optional<std::uint64_t> &number) {
    // The parser's own numbers may be negative, wrap around, or be octal after a leading zero.
    return [&number](const std::string &name, const std::string &text) {
        number = parse_whole_number(text);
        if (!number) {
            throw WrongUse(invalid_value(name, text) + ": expected a number from 0 to 18446744073709551615");
        }
    };
}

} // namespace cli
