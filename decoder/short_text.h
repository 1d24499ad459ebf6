/** Short constant texts of a fixed capacity, so that writing one takes the same few stores whatever its length. */
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

/** At most `capacity` characters. The rest of the array is zero, and `put` writes it as well. */
template <std::size_t capacity>
struct text_of_at_most {
    static constexpr std::size_t kCapacity = capacity;

    std::array<char, kCapacity> characters{};
    std::uint16_t size = 0;

    constexpr text_of_at_most() = default;

    /** Concatenates the pieces. @throws std::length_error if they are too long; a constant then does not compile. */
    // NOLINTNEXTLINE(google-explicit-constructor): a single piece must not convert implicitly
    constexpr explicit text_of_at_most(std::initializer_list<std::string_view> pieces) {
        for (std::string_view piece : pieces) {
            if (piece.size() > kCapacity - size) {
                throw std::length_error("text_of_at_most: too long");
            }
            std::copy(piece.begin(), piece.end(), characters.begin() + size);
            size = static_cast<std::uint16_t>(size + piece.size());
        }
    }

    constexpr std::string_view view() const { return {characters.data(), size}; }
};

/** At most twelve blanks. */
constexpr std::string_view blanks(std::size_t count) { return std::string_view("            ").substr(0, count); }

/** Of a name or a key; its copy is two stores. */
using short_text = text_of_at_most<32>;

/** Puts a name between apostrophes, as in a line. */
constexpr short_text quote_name(std::string_view name) { return short_text{{"'", name, "'"}}; }

/**
 * Writes `text`. Needs room for its capacity, all of which may be written. @return the end of the text.
 * Longer texts are copied 64 characters at a time, because few of them come near their capacity.
 */
template <std::size_t capacity>
[[gnu::always_inline]] inline char *put(char *out, const text_of_at_most<capacity> &text) {
    constexpr std::size_t kStep = 64;
    if constexpr (capacity <= kStep) {
        std::memcpy(out, text.characters.data(), capacity);
    } else {
        static_assert(capacity % kStep == 0);
        for (std::size_t done = 0; done < text.size; done += kStep) {
            std::memcpy(out + done, text.characters.data() + done, kStep);
        }
    }
    return out + text.size;
}

/** Writes a text that begins and ends with a quote without these two. Needs room for its capacity. */
template <std::size_t capacity>
char *put_inside_of_quotes(char *out, const text_of_at_most<capacity> &text) {
    std::memcpy(out, text.characters.data() + 1, capacity - 1);
    return out + text.size - 2;
}

/** Writes a text that is a constant of the program. Needs room for its size. */
template <const auto &text>
[[gnu::always_inline]] inline char *put_constant(char *out) {
    std::memcpy(out, text.characters.data(), text.size);
    return out + text.size;
}

/** The same for a literal. */
template <std::size_t size>
[[gnu::always_inline]] inline char *put_literal(char *out, const char (&literal)[size]) {
    std::memcpy(out, literal, size - 1);
    return out + size - 1;
}

/** Like `put`, right-aligned in `width` characters, at most 32. Needs room for `width` + 32 characters. */
inline char *put_right(char *out, const short_text &text, std::size_t width) {
    std::memset(out, ' ', short_text::kCapacity);
    return put(out + (text.size < width ? width - text.size : 0), text);
}

} // namespace decoder

#endif
