/** Checks of text that may or may not be UTF-8. Any thread. */
#pragma once

#include <cstddef>
#include <string_view>

namespace host {

/**
 * The length in bytes of the well-formed UTF-8 sequence that `text` starts with: no overlong forms, no surrogates, at
 * most U+10FFFF. 0 for anything else.
 */
std::size_t utf8_sequence_length(std::string_view text);

/** The character that a well-formed sequence stands for. */
char32_t decode_utf8(std::string_view sequence);

/** Whether every byte of `text` is below 0x80. */
bool is_ascii(std::string_view text);

/** Whether all of `text` is well-formed UTF-8. */
bool is_utf8(std::string_view text);

/** The number of characters in `text`; each byte that is not part of a well-formed sequence counts as one. */
std::size_t character_count(std::string_view text);

/**
 * The length in bytes of the control character that `text` starts with: 1 for U+0000 to U+001F and U+007F, 2 for
 * U+0080 to U+009F, which some terminals obey, too. 0 for anything else.
 */
inline std::size_t control_character_length(std::string_view text) {
    const auto byte = [text](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    if (!text.empty() && (byte(0) < 0x20 || byte(0) == 0x7F)) {
        return 1;
    }
    // U+0080 to U+009F are C2 80 to C2 9F.
    return text.size() > 1 && byte(0) == 0xC2 && 0x80 <= byte(1) && byte(1) <= 0x9F ? 2 : 0;
}

} // namespace host
