#include "cli/reports/json_values.h"

#include <array>
#include <charconv>
#include <string>

#include "cli/terminal/hex.h"
#include "host/utf8.h"

namespace cli {
namespace {

/** The first character of `text` if it has to be escaped: a quotation mark, a backslash, or a control character. Or
 * empty. */
std::string_view to_escape(std::string_view text) {
    const bool is_mark = text.starts_with('"') || text.starts_with('\\');
    return text.substr(0, is_mark ? 1 : host::control_character_length(text));
}

} // namespace

void append_json_string(text_buffer &out, std::string_view text) {
    out.append("\"");
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::string_view special = to_escape(text.substr(i));
        if (special.empty()) {
            continue;
        }
        out.append(text.substr(start, i - start));
        const bool is_mark = special == "\"" || special == "\\";
        out.append(is_mark ? "\\" : "\\u00");
        out.append(is_mark ? std::string(special) : hex(special.substr(special.size() - 1)));
        i += special.size() - 1;
        start = i + 1;
    }
    out.append(text.substr(start));
    out.append("\"");
}

void append_hex_string(text_buffer &out, std::span<const std::byte> bytes) {
    out.append("\"");
    out.append(hex(bytes));
    out.append("\"");
}

void append_number(text_buffer &out, std::uint64_t number) {
    std::array<char, 20> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    out.append({digits.data(), static_cast<std::size_t>(end - digits.data())});
}

void append_real(text_buffer &out, double real) {
    std::array<char, 32> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), real).ptr;
    out.append({digits.data(), static_cast<std::size_t>(end - digits.data())});
}

} // namespace cli
