/** Characters that must not reach a terminal. */
#pragma once

#include <cstddef>
#include <string_view>

namespace fuzz {

/** Whether UTF-8 `text` has characters below U+0020 other than newlines, or from U+007F to U+009F. */
inline bool has_controls(std::string_view text) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        // U+0080 to U+009F are C2 80 to C2 9F.
        const bool is_upper = byte == 0xC2 && at + 1 < text.size() && static_cast<unsigned char>(text[at + 1]) <= 0x9F;
        if ((byte < 0x20 && byte != '\n' && byte != '\r') || byte == 0x7F || is_upper) {
            return true;
        }
    }
    return false;
}

} // namespace fuzz
