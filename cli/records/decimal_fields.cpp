#include "cli/records/decimal_fields.h"

#include <algorithm>

namespace cli {
namespace {

bool is_digits(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return '0' <= c && c <= '9'; });
}

} // namespace

bool is_decimal(std::string_view text) {
    constexpr std::size_t kLongest = 20;
    if (text.size() > kLongest) {
        return false;
    }
    if (!text.empty() && text.front() == '-') {
        text.remove_prefix(1);
    }
    const std::size_t point = text.find('.');
    return is_digits(text.substr(0, point)) && (point == std::string_view::npos || is_digits(text.substr(point + 1)));
}

bool is_fraction(std::string_view decimal) { return decimal.find('.') != std::string_view::npos; }

bool take_decimal_fields(std::string_view text, std::span<const qor::Field> fields,
                         std::span<std::string_view> values) {
    for (std::size_t i = 0; i < fields.size(); ++i) {
        for (const std::string_view part :
             {std::string_view(i == 0 ? "" : " "), fields[i].name, std::string_view("=")}) {
            if (!text.starts_with(part)) {
                return false;
            }
            text.remove_prefix(part.size());
        }
        values[i] = text.substr(0, text.find(' '));
        if (!is_decimal(values[i])) {
            return false;
        }
        text.remove_prefix(values[i].size());
    }
    return text.empty();
}

} // namespace cli
