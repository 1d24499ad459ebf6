/** Short constant texts in a fixed space, so that writing one is two 16-byte stores whatever its length. */
#ifndef DECODER_SHORT_TEXT_H
#define DECODER_SHORT_TEXT_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace decoder {

/** At most 32 characters. What follows them is blank, and is written along with them by `put`. */
struct short_text {
    static constexpr std::size_t kCapacity = 32;

    std::array<char, kCapacity> characters{};
    std::uint8_t size = 0;

    constexpr short_text() = default;

    /** The pieces one after the other. @throws std::length_error (in a constant: does not compile) if too long. */
    // NOLINTNEXTLINE(google-explicit-constructor): a lone piece is no short text by itself
    constexpr explicit short_text(std::initializer_list<std::string_view> pieces) {
        for (std::string_view piece : pieces) {
            if (piece.size() > kCapacity - size) {
                throw std::length_error("short_text: too long");
            }
            std::copy(piece.begin(), piece.end(), characters.begin() + size);
            size = static_cast<std::uint8_t>(size + piece.size());
        }
    }

    constexpr std::string_view view() const { return {characters.data(), size}; }
};

/** A name as lines show it. */
constexpr short_text quoted(std::string_view name) { return short_text{{"'", name, "'"}}; }

/** Writes all 32 characters' space; what counts ends at the result. */
inline char *put(char *out, const short_text &text) {
    std::memcpy(out, text.characters.data(), short_text::kCapacity);
    return out + text.size;
}

/** Like `put`, right-aligned in `width` characters, at most 32. Needs room for `width` + 32. */
inline char *put_right(char *out, const short_text &text, std::size_t width) {
    std::memset(out, ' ', short_text::kCapacity);
    return put(out + (text.size < width ? width - text.size : 0), text);
}

} // namespace decoder

#endif
