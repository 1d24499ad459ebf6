/** How the fields of a payload look in JSON (a notation of `decoder/payload_walk.h`). */
#pragma once

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "cli/terminal/json_values.h"
#include "decoder/byte_dump.h"
#include "decoder/digits.h"
#include "decoder/payload_walk.h"
#include "decoder/short_text.h"
#include "host/utf8.h"

namespace cli {

/** Numbers and reals, which look the same wherever JSON stands. */
namespace json_numbers {

inline constexpr std::size_t kRoom = 32;

/** Doubles can tell all integers up to this one apart. */
inline constexpr std::uint64_t kLastExactInteger = std::uint64_t{1} << 53;

/** A number of `size` bytes other than 4, which are words; 0 is the size of constants, which are bytes. */
template <std::size_t size>
[[gnu::always_inline]] inline char *put(char *out, std::uint64_t number) {
    if constexpr (size <= 1) {
        return decoder::put_byte_and_comma(out, static_cast<std::uint8_t>(number)) - 1;
    } else if constexpr (size == 2) {
        return decoder::put_up_to_eight_digits(out, static_cast<std::uint32_t>(number));
    } else {
        static_assert(size == 8);
        return decoder::put_decimal(out, number);
    }
}

/** The shortest number that reads back as `real`. */
inline char *put_real(char *out, double real) { return std::to_chars(out, out + kRoom, real).ptr; }

} // namespace json_numbers

/**
 * Members of an object, each after a comma. `Style` has
 * - `kMark`, a quotation mark as the surrounding format writes it;
 * - `kKeepsBigNumbers`, whether numbers above 2^53 are numbers, too, rather than strings.
 */
template <typename Style>
struct JsonMembers {
    /** A key with its marks, the comma before it and the colon after it. */
    using Key = decoder::text_of_at_most<48>;

private:
    static constexpr std::string_view kDigits = "0123456789";

    /** What is appended to the name of a field. */
    enum class KeyEnd { Nothing, Hex, Name };

    template <typename Field, KeyEnd end>
    static constexpr Key kKey{{",", Style::kMark, Field::row.name, Field::occurrence == 1 ? "" : "_",
                               Field::occurrence == 1 ? "" : kDigits.substr(Field::occurrence, 1),
                               end == KeyEnd::Hex    ? "_hex"
                               : end == KeyEnd::Name ? "_name"
                                                     : "",
                               Style::kMark, ":"}};

public:
    template <typename Field>
    static constexpr std::size_t kRoom = [] {
        using qor::How;
        constexpr How kHow = Field::row.how;
        constexpr bool kIsBytes = kHow == How::Bytes || kHow == How::CountedBytes;
        constexpr std::size_t kMarks = 2 * Style::kMark.size();
        return Key::kCapacity + kMarks +
               (kHow == How::Text      ? json_text_room(Field::row.size)
                : kIsBytes             ? 2 * Field::row.size
                : kHow == How::Subject ? std::size_t{decoder::short_text::kCapacity}
                                       : json_numbers::kRoom);
    }();

    /** Numbers that lines show in hexadecimal are numbers like the others. */
    template <typename Field>
    static constexpr decoder::word_look kWord{kKey<Field, KeyEnd::Nothing>, decoder::word_digits::decimal, {}};

    template <typename Field>
    char *put(char *out, decoder::number_value value) const {
        if constexpr (decoder::shows_32_bits(Field::row)) {
            return decoder::put_word_as(out, kWord<Field>, static_cast<std::uint32_t>(value.number));
        } else {
            out = put_key<Field>(out);
            if constexpr (Field::row.size == 8 && !Style::kKeepsBigNumbers) {
                if (value.number > json_numbers::kLastExactInteger) [[unlikely]] {
                    return put_mark(decoder::put_decimal(put_mark(out), value.number));
                }
            }
            return json_numbers::put<Field::row.size>(out, value.number);
        }
    }

    template <typename Field>
    char *put(char *out, decoder::hexadecimal_value value) const {
        return decoder::put_word_as(out, kWord<Field>, value.number);
    }

    template <typename Field>
    char *put(char *out, decoder::real_value value) const {
        return json_numbers::put_real(put_key<Field>(out), value.number);
    }

    /** An id without a name is a string as well, so that all values of a key have one type. */
    template <typename Field>
    char *put(char *out, const decoder::name_value &value) const {
        out = put_key<Field>(out);
        if (const decoder::short_text *name = value.names.find_json(value.id)) {
            // The name brings marks of its own.
            out = decoder::put(put_rest_of_mark(out), *name);
            return put_rest_of_mark(out);
        }
        return put_mark(decoder::put_up_to_ten_digits(put_mark(out), value.id));
    }

    template <typename Field>
    char *put(char *out, decoder::text_value value) const {
        if (is_plain_in_json(value.text)) [[likely]] {
            out = put_mark(put_key<Field>(out));
            std::memcpy(out, value.text.data(), Field::row.size); // a constant size, up to the end of the field
            return put_mark(out + value.text.size());
        }
        return put_unusual_text<Field>(out, value.text);
    }

    template <typename Field>
    char *put(char *out, decoder::bytes_value value) const {
        return put_mark(decoder::put_hexadecimal_pairs(put_mark(put_key<Field>(out)), value.bytes));
    }

    /** The field with a text as it stands between the marks of a string. */
    template <typename Field>
    static char *put_inside(char *out, std::string_view inside) {
        return put_mark(put_all(put_mark(put_key<Field>(out)), inside));
    }

    /** A name of the field's number, behind the field: the same with "_name" appended to the key. */
    template <typename Field>
    static char *put_name_inside(char *out, std::string_view inside) {
        return put_mark(put_all(put_mark(put_key<Field, KeyEnd::Name>(out)), inside));
    }

private:
    template <typename Field, KeyEnd end = KeyEnd::Nothing>
    [[gnu::always_inline]] static char *put_key(char *out) {
        static_assert(Field::occurrence < kDigits.size());
        return decoder::put_constant<kKey<Field, end>>(out);
    }

    static char *put_all(char *out, std::string_view text) { return std::copy(text.begin(), text.end(), out); }

    static char *put_mark(char *out) {
        std::memcpy(out, Style::kMark.data(), Style::kMark.size());
        return out + Style::kMark.size();
    }

    /** What `kMark` has more than the one mark of JSON. */
    static char *put_rest_of_mark(char *out) {
        std::memcpy(out, Style::kMark.data(), Style::kMark.size() - 1);
        return out + Style::kMark.size() - 1;
    }

    template <typename Field>
    [[gnu::noinline]] static char *put_unusual_text(char *out, std::string_view text) {
        if (host::is_utf8(text)) {
            return put_mark(put_json_text(put_mark(put_key<Field>(out)), text, Style::kMark));
        }
        const auto *bytes = static_cast<const std::uint8_t *>(static_cast<const void *>(text.data()));
        return put_mark(
            decoder::put_hexadecimal_pairs(put_mark(put_key<Field, KeyEnd::Hex>(out)), {bytes, text.size()}));
    }
};

/** In JSON Lines. */
struct PlainJson {
    static constexpr std::string_view kMark = "\"";
    static constexpr bool kKeepsBigNumbers = true;
};

/** Inside a quoted CSV field. */
struct QuotedJson {
    static constexpr std::string_view kMark = "\"\"";
    static constexpr bool kKeepsBigNumbers = true;
};

/** For readers that store numbers as doubles. */
struct JsonForDoubles {
    static constexpr std::string_view kMark = "\"";
    static constexpr bool kKeepsBigNumbers = false;
};

/** The payload of a report without a layout: all of its bytes, under the key "raw". */
template <typename Style>
[[gnu::noinline]] char *put_raw_payload(char *out, const _QorProfileReport &report) {
    static constexpr decoder::short_text kKey{{"{", Style::kMark, "raw", Style::kMark, ":", Style::kMark}};
    static constexpr decoder::short_text kEnd{{Style::kMark, "}"}};
    out = decoder::put_hexadecimal_pairs(decoder::put_constant<kKey>(out),
                                         std::span(report.bytes).subspan(qor::kPayloadOffset));
    return decoder::put_constant<kEnd>(out);
}

/**
 * The walk's members, each after a comma; the first comma becomes the opening brace.
 * @param notation  writes such members in the style.
 */
template <typename Style, typename Notation>
char *put_json_object(char *out, const _QorProfileReport &report, std::size_t index, const Notation &notation) {
    char *const end = decoder::put_payload_fields<Notation>(out, report, index, notation);
    if (end == out) [[unlikely]] {
        return put_raw_payload<Style>(out, report);
    }
    *out = '{';
    *end = '}';
    return end + 1;
}

} // namespace cli
