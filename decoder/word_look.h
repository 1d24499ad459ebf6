/** How the words of a payload look, its numbers of 32 bits. */
#ifndef DECODER_WORD_LOOK_H
#define DECODER_WORD_LOOK_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "decoder/digits.h"
#include "decoder/short_text.h"

namespace decoder {

enum class word_digits : std::uint8_t {
    decimal,
    ten_places, ///< decimal, right-aligned in ten characters
    hexadecimal ///< in lower case
};

/** A word's digits, and the constant texts before and behind them. */
struct word_look {
    text_of_at_most<48> before;
    word_digits digits = word_digits::decimal;
    text_of_at_most<8> after;

    /** The number of digits or blanks that a word has at most. */
    constexpr std::size_t digits_at_most() const { return digits == word_digits::hexadecimal ? 8 : 10; }

    /** The number of characters of a word at most. */
    constexpr std::size_t size_at_most() const { return before.size + digits_at_most() + after.size; }
};

/** A word of a payload and its look. */
struct shown_word {
    word_look look;
    std::size_t number = 0; ///< of the word in the payload, from 0 to 7
};

/** Writes a word. `look` is a constant, so that this becomes a few stores. Needs room for its size at most. */
[[gnu::always_inline]] inline char *put_word_as(char *out, const word_look &look, std::uint32_t word) {
    const auto put_text = [](char *at, std::string_view text) { return std::copy(text.begin(), text.end(), at); };
    out = put_text(out, look.before.view());
    if (look.digits == word_digits::ten_places) {
        out = put_ten_places(out, word);
    } else if (look.digits == word_digits::hexadecimal) {
        out = put_hexadecimal(out, word);
    } else {
        out = put_up_to_ten_digits(out, word);
    }
    return put_text(out, look.after.view());
}

} // namespace decoder

#endif
