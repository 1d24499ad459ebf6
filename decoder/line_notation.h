/** How the fields of a payload look in a line (a notation of `decoder/payload_walk.h`). */
#ifndef DECODER_LINE_NOTATION_H
#define DECODER_LINE_NOTATION_H

#include <algorithm>
#include <charconv>
#include <cstring>

#include "decoder/byte_dump.h"
#include "decoder/digits.h"
#include "decoder/payload_walk.h"

namespace decoder {

/** Right-aligns the text from `begin` to `end` in `width` characters. A longer text is left unchanged. */
inline char *align_right(char *begin, char *end, std::size_t width) {
    std::size_t size = static_cast<std::size_t>(end - begin);
    if (size >= width) {
        return end;
    }
    std::memmove(begin + (width - size), begin, size);
    std::fill_n(begin, width - size, ' ');
    return begin + width;
}

/** Writes a text between apostrophes. */
inline char *put_quoted(char *out, std::string_view text) {
    *out++ = '\'';
    out = std::copy(text.begin(), text.end(), out);
    *out++ = '\'';
    return out;
}

/** A payload's fields as in a line: a blank, the key, the value in its column and a comma. */
struct line_notation {
    /** An upper bound for the characters that one field writes, including those that its stores touch past the end. */
    template <typename Field>
    static constexpr std::size_t kRoom = [] {
        constexpr qor::How how = Field::row.how;
        constexpr std::size_t kKeyQuotesAndComma = 7;
        constexpr bool is_dump = how == qor::How::Bytes || how == qor::How::CountedBytes;
        constexpr std::size_t kValue = is_dump                 ? dump_room(Field::row.size)
                                       : how == qor::How::Text ? Field::row.size
                                                               : short_text::kCapacity;
        return Field::row.name.size() + kKeyQuotesAndComma + Field::width + kValue;
    }();

    /** In hexadecimal, the width applies to the opening apostrophe alone; the digits follow without padding. Intended.
     */
    template <typename Field>
    static constexpr word_look kWord = [] {
        constexpr bool is_hexadecimal = Field::row.how == qor::How::Hexadecimal;
        static_assert(Field::width == 0 || Field::width == 10);
        static_assert(Field::width > 0 || !is_hexadecimal);
        using look = word_look;
        return is_hexadecimal ? look{text_of_at_most<48>{{" '", Field::row.name, "':", blanks(Field::width - 1), "'"}},
                                     word_digits::hexadecimal, text_of_at_most<8>{{"',"}}}
                              : look{text_of_at_most<48>{{" '", Field::row.name, "':"}},
                                     Field::width == 0 ? word_digits::decimal : word_digits::ten_places,
                                     text_of_at_most<8>{{","}}};
    }();

    template <typename Field, typename Value>
    [[gnu::always_inline]] char *put(char *out, const Value &value) const {
        if constexpr (shows_32_bits(Field::row)) {
            return put_word_as(out, kWord<Field>, static_cast<std::uint32_t>(value.number));
        } else {
            static constexpr short_text kKey{{" '", Field::row.name, "':"}};
            out = put_value<Field>(put_constant<kKey>(out), value);
            *out++ = ',';
            return out;
        }
    }

private:
    template <typename Field>
    static char *put_value(char *out, number_value value) {
        if constexpr (Field::width == 0 && Field::row.size == 1) {
            return put_byte_and_comma(out, static_cast<std::uint8_t>(value.number)) - 1;
        } else if constexpr (Field::width == 0) {
            return put_decimal(out, value.number);
        } else {
            static_assert(Field::width == 10);
            return put_ten_or_more_places(out, value.number);
        }
    }

    template <typename Field>
    static char *put_value(char *out, real_value value) {
        constexpr std::ptrdiff_t kRealRoom = 24;
        char *const end = std::to_chars(out, out + kRealRoom, value.number, std::chars_format::general, 6).ptr;
        return align_right(out, end, Field::width);
    }

    template <typename Field>
    static char *put_value(char *out, text_value value) {
        return align_right(out, put_quoted(out, value.text), Field::width);
    }

    template <typename Field>
    static char *put_value(char *out, const name_value &value) {
        if (const short_text *name = value.names.find(value.id)) {
            return put_right(out, *name, Field::width);
        }
        char *end = out;
        *end++ = '\'';
        end = put_decimal(end, value.id);
        *end++ = '\'';
        return align_right(out, end, Field::width);
    }

    template <typename Field>
    static char *put_value(char *out, bytes_value value) {
        return align_right(out, put_dump(out, value.bytes.data(), value.bytes.size()), Field::width);
    }
};

} // namespace decoder

#endif
