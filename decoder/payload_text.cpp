#include "decoder/payload_text.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

#include "decoder/byte_dump.h"
#include "decoder/digits.h"
#include "decoder/name_tables.h"
#include "decoder/payload_values.h"

namespace decoder {

namespace {

/** Moves what stands from `begin` to `end` to the right, so that it takes `width` characters at least. */
char *right_aligned(char *begin, char *end, std::size_t width) {
    std::size_t size = static_cast<std::size_t>(end - begin);
    if (size >= width) {
        return end;
    }
    std::memmove(begin + (width - size), begin, size);
    std::fill_n(begin, width - size, ' ');
    return begin + width;
}

template <std::size_t layout, std::size_t index>
constexpr const field &kField = kFieldsOfLayouts[layout][index];

template <std::size_t layout, std::size_t index>
char *put_number(char *out, std::uint64_t value) {
    constexpr const field &row = kField<layout, index>;
    if constexpr (row.width == 0 && row.size == 1) {
        return put_byte_and_comma(out, static_cast<std::uint8_t>(value)) - 1;
    } else if constexpr (row.width == 0) {
        return put_decimal(out, value);
    } else if constexpr (row.size == 8) {
        return put_ten_or_more_places(out, value);
    } else {
        static_assert(row.width == 10);
        return put_ten_places(out, value);
    }
}

char *put_quoted(char *out, std::string_view text) {
    *out++ = '\'';
    out = std::copy(text.begin(), text.end(), out);
    *out++ = '\'';
    return out;
}

char *put_real(char *out, double value) {
    constexpr std::ptrdiff_t kRoom = 24;
    return std::to_chars(out, out + kRoom, value, std::chars_format::general, 6).ptr;
}

char *put_subject(char *out, const _QorProfileReport &report, std::uint32_t id, std::size_t width) {
    if (const short_text *name = sshb_subtype_table(report.component_id()).find(id)) {
        return put_right(out, *name, width);
    }
    char *end = out;
    *end++ = '\'';
    end = put_decimal(end, id);
    *end++ = '\'';
    return right_aligned(out, end, width);
}

/** An upper bound of what one field writes, with what its stores touch behind that. */
constexpr std::size_t room_of(const field &row) {
    constexpr std::size_t kKeyAndComma = 5;
    constexpr std::size_t kNumberRoom = 24;
    return row.name.size() + kKeyAndComma + kNumberRoom + row.width + dump_room(row.size) + short_text::kCapacity;
}

template <std::size_t layout, std::size_t index>
[[gnu::always_inline]] inline char *put_field(char *out, const _QorProfileReport &report) {
    constexpr const field &row = kField<layout, index>;
    static constexpr short_text kKey{{" '", row.name, "':"}};
    std::memcpy(out, kKey.characters.data(), kKey.size);
    out += kKey.size;
    if constexpr (row.kind == field_kind::number) {
        out = put_number<layout, index>(out, number_at<row.size>(report, row.offset));
    } else if constexpr (row.kind == field_kind::constant) {
        out = put_number<layout, index>(out, row.parameter);
    } else if constexpr (row.kind == field_kind::hexadecimal_word) {
        // The width goes to the apostrophe alone, the digits follow unpadded; intended.
        out = std::fill_n(out, row.width - 1, ' ');
        *out++ = '\'';
        out = put_hexadecimal(out, static_cast<std::uint32_t>(number_at<row.size>(report, row.offset)));
        *out++ = '\'';
    } else if constexpr (row.kind == field_kind::text) {
        out = right_aligned(out, put_quoted(out, text_in(report, row)), row.width);
    } else if constexpr (row.kind == field_kind::fixed_point) {
        out = right_aligned(out, put_real(out, real_in(report, row)), row.width);
    } else if constexpr (row.kind == field_kind::subject) {
        out = put_subject(out, report, static_cast<std::uint32_t>(number_at<row.size>(report, row.offset)), row.width);
    } else {
        std::span<const std::uint8_t> bytes = bytes_in(report, row);
        out = right_aligned(out, put_dump(out, bytes.data(), bytes.size()), row.width);
    }
    *out++ = ',';
    return out;
}

template <std::size_t layout>
constexpr std::size_t kRoom = [] {
    std::size_t room = 0;
    for (const field &row : kFieldsOfLayouts[layout]) {
        room += room_of(row);
    }
    return room;
}();

/** The tables are unrolled at compile time, so that keys, offsets and widths are constants in the code. */
template <std::size_t layout>
void put_layout(text_stream &stream, const _QorProfileReport &report) {
    char *out = stream.room(kRoom<layout>);
    [&]<std::size_t... index>(std::index_sequence<index...>) { ((out = put_field<layout, index>(out, report)), ...); }
    (std::make_index_sequence<kFieldsOfLayouts[layout].size()>{});
    stream.commit(out);
}

using layout_writer = void (*)(text_stream &, const _QorProfileReport &);

constexpr auto kWriters = []<std::size_t... layout>(std::index_sequence<layout...>) {
    return std::array<layout_writer, sizeof...(layout)>{put_layout<layout>...};
}
(std::make_index_sequence<std::size(kFieldsOfLayouts)>{});

} // namespace

void put_payload(text_stream &stream, const _QorProfileReport &report, const payload &layouts) {
    for (payload_layout layout : layouts) {
        if (layout != payload_layout::nothing) {
            kWriters[static_cast<std::size_t>(layout)](stream, report);
        }
    }
}

} // namespace decoder
