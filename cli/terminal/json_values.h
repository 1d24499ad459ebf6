/** Texts of JSON that may hold anything: escapes, and bytes in their place when the text is not UTF-8. */
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace cli {

/** Whether a byte of a text stands in JSON as it is, whatever its neighbours: printable ASCII without `"` and `\`. */
inline constexpr auto kIsPlainInJson = [] {
    std::array<bool, 256> is_plain{};
    for (std::size_t byte = 0x20; byte < 0x7F; ++byte) {
        is_plain[byte] = byte != '"' && byte != '\\';
    }
    return is_plain;
}();

/** Whether all bytes of `text` stand in JSON as they are. Nearly all texts of the firmware do. */
inline bool is_plain_in_json(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char byte) { return kIsPlainInJson[static_cast<unsigned char>(byte)]; });
}

/** The room that `put_json_text` needs for `size` characters: each may become "\u00" and two digits. */
constexpr std::size_t json_text_room(std::size_t size) { return 6 * size; }

/**
 * Writes the inside of a JSON string. Control characters are escaped, including U+007F to U+009F, which JSON would
 * allow but terminals obey.
 * @param text  UTF-8.
 * @param mark  a quotation mark as the surrounding format writes it: one, or two in a quoted CSV field.
 * @return the end of the text.
 */
char *put_json_text(char *out, std::string_view text, std::string_view mark);

/** The inside of a JSON string for a text that may not be UTF-8: its bytes in hexadecimal then. */
std::string json_text_or_hex(std::string_view text);

} // namespace cli
