#include "cli/terminal/json_values.h"

#include "cli/terminal/hex.h"
#include "host/utf8.h"

namespace cli {
namespace {

char *put_all(char *out, std::string_view text) { return std::copy(text.begin(), text.end(), out); }

} // namespace

char *put_json_text(char *out, std::string_view text, std::string_view mark) {
    while (!text.empty()) {
        std::size_t length = 1;
        if (text.front() == '"') {
            out = put_all(put_all(out, "\\"), mark);
        } else if (text.front() == '\\') {
            out = put_all(out, "\\\\");
        } else if (const std::size_t control = host::control_character_length(text); control != 0) {
            // The last byte of a control character's UTF-8 is its number.
            constexpr std::string_view kDigits = "0123456789abcdef";
            const auto number = static_cast<unsigned char>(text[control - 1]);
            out = put_all(out, "\\u00");
            *out++ = kDigits[number >> 4];
            *out++ = kDigits[number & 0xF];
            length = control;
        } else {
            *out++ = text.front();
        }
        text.remove_prefix(length);
    }
    return out;
}

std::string json_text_or_hex(std::string_view text) {
    if (!host::is_utf8(text)) {
        return hex(text);
    }
    std::string escaped(json_text_room(text.size()), '\0');
    escaped.resize(static_cast<std::size_t>(put_json_text(escaped.data(), text, "\"") - escaped.data()));
    return escaped;
}

} // namespace cli
