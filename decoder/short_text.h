/** Short constant texts of a fixed capacity, so that writing one is two 16-byte stores whatever its length. */
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

/** At most 32 characters. The rest of the array is zero, and `put` writes it as well. */
struct short_text {
    static constexpr std::size_t kCapacity = 32;

    std::array<char, kCapacity> characters{};
    std::uint8_t size = 0;

    constexpr short_text() = default;

    /** Concatenates the pieces. @throws std::length_error if they are too long; a constant then does not compile. */
    // NOLINTNEXTLINE(google-explicit-constructor): a single piece must not convert implicitly
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

/** Puts a name between apostrophes, as in a line. */
constexpr short_text quote_name(std::string_view name) { return short_text{{"'", name, "'"}}; }

/** Writes `text`. Needs room for 32 characters, all of which are written. @return the end of the text. */
inline char *put(char *out, const short_text &text) {
    std::memcpy(out, text.characters.data(), short_text::kCapacity);
    return out + text.size;
}

/** Like `put`, right-aligned in `width` characters, at most 32. Needs room for `width` + 32 characters. */
inline char *put_right(char *out, const short_text &text, std::size_t width) {
    std::memset(out, ' ', short_text::kCapacity);
    return put(out + (text.size < width ? width - text.size : 0), text);
}

} // namespace decoder

#endif
