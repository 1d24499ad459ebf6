/**
 * The walk over a payload's fields. It is unrolled at compile time, so that keys, offsets and widths are constants in
 * the code; every text that shows a payload is written by it, in a notation of its own.
 *
 * A notation is a class that says how a field looks:
 *
 *     template <typename Field> static constexpr std::size_t kRoom; // characters that it needs at most
 *     template <typename Field> char *put(char *out, VALUE value) const; // key and value; returns the end
 *
 * `Field` is a `shown_field`. VALUE is one of the value types below; a notation has a `put` for each of them.
 *
 * A notation may say how the words of the payload look, its aligned numbers of 32 bits. Then `put` is not called for
 * them, and words that are shown one behind the other become text together.
 *
 *     template <typename Field> static constexpr word_look kWord; // may be missing
 */
#ifndef DECODER_PAYLOAD_WALK_H
#define DECODER_PAYLOAD_WALK_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

#include "decoder/name_tables.h"
#include "decoder/payload_choice.h"
#include "decoder/word_look.h"
#include "decoder/word_runs.h"

namespace decoder {

/** The number of fields of `kPayloads[payload]`. */
template <std::size_t payload>
inline constexpr std::size_t kFieldCount = kPayloads[payload][0]->fields.size() + kPayloads[payload][1]->fields.size();

/** The field at `place` of `kPayloads[payload]`: what a notation may know of it at compile time. */
template <std::size_t payload_number, std::size_t field_number>
struct shown_field {
    static constexpr std::size_t payload = payload_number;
    static constexpr std::size_t place = field_number;
    static constexpr const qor::Layout &layout =
        *kPayloads[payload][place < kPayloads[payload][0]->fields.size() ? 0 : 1];
    static constexpr const qor::Field &row =
        layout.fields[place < kPayloads[payload][0]->fields.size() ? place
                                                                   : place - kPayloads[payload][0]->fields.size()];
    static constexpr std::size_t width = layout.width_of(row); ///< of its column in a line; 0 for none

    /** 1 for the first field of this name in the payload, 2 for the second, and so on. */
    static constexpr std::size_t occurrence = [] {
        std::size_t count = 0;
        std::size_t index = 0;
        for (const qor::Layout *shown : kPayloads[payload]) {
            for (const qor::Field &field : shown->fields) {
                count += index++ <= place && field.name == row.name ? 1 : 0;
            }
        }
        return count;
    }();
};

/** An unsigned number as wide as its field. Constants are numbers as well. */
struct number_value {
    std::uint64_t number;
};

/** A number that people read in hexadecimal. */
struct hexadecimal_value {
    std::uint32_t number;
};

/** Finite. */
struct real_value {
    double number;
};

/** Characters that need not be valid in any encoding. The view points into the report. */
struct text_value {
    std::string_view text;
};

/** An id that `names` may have a name for. */
struct name_value {
    const name_table &names;
    std::uint32_t id;
};

/** The view points into the report. */
struct bytes_value {
    std::span<const std::uint8_t> bytes;
};

/** The bytes of a field of kind `How::Bytes` or `How::CountedBytes`. The view points into the report. */
constexpr std::span<const std::uint8_t> bytes_in(const _QorProfileReport &report, const qor::Field &row) {
    std::size_t length = row.size;
    if (row.how == qor::How::CountedBytes) {
        length = std::min<std::size_t>(length, report.at<std::uint16_t>(row.parameter));
    }
    return {report.bytes + row.offset, length};
}

/** The characters of a field of kind `How::Text`. The view points into the report. */
inline std::string_view text_in(const _QorProfileReport &report, const qor::Field &row) {
    const auto *characters = static_cast<const char *>(static_cast<const void *>(report.bytes + row.offset));
    const void *const end = std::memchr(characters, '\0', row.size);
    return {characters, end != nullptr ? static_cast<std::size_t>(static_cast<const char *>(end) - characters)
                                       : std::size_t{row.size}};
}

/** Whether a field is a number of 32 bits. */
constexpr bool shows_32_bits(const qor::Field &row) {
    return (row.how == qor::How::Number || row.how == qor::How::Hexadecimal) && row.size == sizeof(std::uint32_t);
}

/** Whether a field is a word of the payload, one of its eight aligned numbers of 32 bits. */
constexpr bool is_word_of_payload(const qor::Field &row) {
    return shows_32_bits(row) && row.offset >= qor::kPayloadOffset && row.offset % sizeof(std::uint32_t) == 0;
}

/** The number of that word, from 0. */
constexpr std::size_t word_of_payload(const qor::Field &row) {
    return (row.offset - qor::kPayloadOffset) / sizeof(std::uint32_t);
}

/** The unsigned number of a field of 1, 2, 4 or 8 bytes. */
template <typename Field>
[[gnu::always_inline]] inline auto number_in(const _QorProfileReport &report) {
    constexpr const qor::Field &row = Field::row;
    static_assert(row.size == 1 || row.size == 2 || row.size == 4 || row.size == 8);
    if constexpr (row.size == 1) {
        return report.at<std::uint8_t>(row.offset);
    } else if constexpr (row.size == 2) {
        return report.at<std::uint16_t>(row.offset);
    } else if constexpr (row.size == 4) {
        return report.at<std::uint32_t>(row.offset);
    } else {
        return report.at<std::uint64_t>(row.offset);
    }
}

/** The value of `Field` in `report`. */
template <typename Field>
[[gnu::always_inline]] inline auto value_of(const _QorProfileReport &report) {
    using qor::How;
    constexpr const qor::Field &row = Field::row;
    if constexpr (row.how == How::Number) {
        return number_value{number_in<Field>(report)};
    } else if constexpr (row.how == How::Constant) {
        return number_value{row.parameter};
    } else if constexpr (row.how == How::Hexadecimal) {
        return hexadecimal_value{number_in<Field>(report)};
    } else if constexpr (row.how == How::Text) {
        return text_value{text_in(report, row)};
    } else if constexpr (row.how == How::FixedPoint) {
        return real_value{qor::load_fixed_point(report.bytes, row)};
    } else if constexpr (row.how == How::Subject) {
        return name_value{sshb_subtype_table(report.component_id()), number_in<Field>(report)};
    } else {
        static_assert(row.how == How::Bytes || row.how == How::CountedBytes);
        return bytes_value{bytes_in(report, row)};
    }
}

namespace payload_walks {

template <typename Notation>
using walk = char *(*)(char *out, const _QorProfileReport &report, const Notation &notation);

/** Whether `Notation` says how `Field` looks as a word of the payload. */
template <typename Notation, typename Field>
constexpr bool is_word() {
    if constexpr (is_word_of_payload(Field::row)) {
        return requires { Notation::template kWord<Field>; };
    } else {
        return false;
    }
}

/** By field: the number of words from there on up to the next field that is none; 0 for fields that are none. */
template <typename Notation, std::size_t payload>
inline constexpr auto kWordsFrom = []<std::size_t... place>(std::index_sequence<place...>) {
    constexpr std::array<bool, sizeof...(place)> is{is_word<Notation, shown_field<payload, place>>()...};
    std::array<std::size_t, sizeof...(place) + 1> counts{};
    for (std::size_t at = sizeof...(place); at-- > 0;) {
        counts[at] = is[at] ? counts[at + 1] + 1 : 0;
    }
    return counts;
}
(std::make_index_sequence<kFieldCount<payload>>{});

/** The words of the fields from `first` on. */
template <typename Notation, std::size_t payload, std::size_t first>
inline constexpr auto kRun = []<std::size_t... index>(std::index_sequence<index...>) {
    return std::array{shown_word{Notation::template kWord<shown_field<payload, first + index>>,
                                 word_of_payload(shown_field<payload, first + index>::row)}...};
}
(std::make_index_sequence<kWordsFrom<Notation, payload>[first]> {});

/** Writes the field at `place`; the first word of a run with all others, and these not again. */
template <typename Notation, std::size_t payload, std::size_t place>
[[gnu::always_inline]] inline char *put_field(char *out, const _QorProfileReport &report, const Notation &notation) {
    constexpr const auto &words = kWordsFrom<Notation, payload>;
    if constexpr (words[place] == 0) {
        using field = shown_field<payload, place>;
        return notation.template put<field>(out, value_of<field>(report));
    } else if constexpr (place == 0 || words[place - (place > 0)] == 0) {
        return put_words<kRun<Notation, payload, place>>(out, report.bytes + qor::kPayloadOffset);
    } else {
        return out;
    }
}

template <typename Notation, std::size_t payload>
char *put_fields(char *out, const _QorProfileReport &report, const Notation &notation) {
    [&]<std::size_t... place>(std::index_sequence<place...>) {
        ((out = put_field<Notation, payload, place>(out, report, notation)), ...);
    }
    (std::make_index_sequence<kFieldCount<payload>>{});
    return out;
}

/** By payload. */
template <typename Notation>
constexpr auto kWalks = []<std::size_t... payload>(std::index_sequence<payload...>) {
    return std::array<walk<Notation>, sizeof...(payload)>{put_fields<Notation, payload>...};
}
(std::make_index_sequence<kPayloads.size()>{});

template <typename Notation, std::size_t payload>
constexpr std::size_t room_for() {
    return []<std::size_t... place>(std::index_sequence<place...>) {
        const bool has_run = ((kWordsFrom<Notation, payload>[place] > 0) || ...);
        return ((has_run ? kRoomBehindRun : 0) + ... + Notation::template kRoom<shown_field<payload, place>>);
    }
    (std::make_index_sequence<kFieldCount<payload>>{});
}

} // namespace payload_walks

/** The room that `put_payload_fields` needs, by payload. */
template <typename Notation>
inline constexpr auto kPayloadRooms = []<std::size_t... payload>(std::index_sequence<payload...>) {
    return std::array<std::size_t, sizeof...(payload)>{payload_walks::room_for<Notation, payload>()...};
}
(std::make_index_sequence<kPayloads.size()>{});

/** The same for any payload. */
template <typename Notation>
inline constexpr std::size_t kPayloadRoom = *std::max_element(kPayloadRooms<Notation>.begin(),
                                                              kPayloadRooms<Notation>.end());

/**
 * Writes every field of a payload in the order of its layouts.
 * @param index  an index into `kPayloads`, from `payload_index`.
 * @param out  room for `kPayloadRooms<Notation>[index]` characters, all of which may be written.
 * @return the end of the text.
 */
template <typename Notation>
char *put_payload_fields(char *out, const _QorProfileReport &report, std::size_t index, const Notation &notation = {}) {
    return payload_walks::kWalks<Notation>[index](out, report, notation);
}

} // namespace decoder

#endif
