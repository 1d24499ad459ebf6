#include "decoder/payload_text.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

#include "decoder/byte_dump.h"
#include "decoder/digits.h"
#include "decoder/name_tables.h"
#include "decoder/payload_choice.h"
#include "decoder/payload_values.h"

namespace decoder {

namespace {

/** Right-aligns the text from `begin` to `end` in `width` characters. A longer text is left unchanged. */
char *align_right(char *begin, char *end, std::size_t width) {
    std::size_t size = static_cast<std::size_t>(end - begin);
    if (size >= width) {
        return end;
    }
    std::memmove(begin + (width - size), begin, size);
    std::fill_n(begin, width - size, ' ');
    return begin + width;
}

template <const qor::Layout *layout, std::size_t index>
char *put_number(char *out, std::uint64_t value) {
    constexpr const qor::Field &row = layout->fields[index];
    constexpr std::size_t width = layout->width_of(row);
    if constexpr (width == 0 && row.size == 1) {
        return put_byte_and_comma(out, static_cast<std::uint8_t>(value)) - 1;
    } else if constexpr (width == 0) {
        return put_decimal(out, value);
    } else if constexpr (row.size == 8) {
        return put_ten_or_more_places(out, value);
    } else {
        static_assert(width == 10);
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
    return align_right(out, end, width);
}

/** An upper bound for the characters that one field writes, including those that its stores touch past the end. */
constexpr std::size_t room_of(const qor::Layout &layout, const qor::Field &row) {
    constexpr std::size_t kKeyAndComma = 5;
    constexpr std::size_t kNumberRoom = 24;
    return row.name.size() + kKeyAndComma + kNumberRoom + layout.width_of(row) + dump_room(row.size) +
           short_text::kCapacity;
}

template <const qor::Layout *layout, std::size_t index>
[[gnu::always_inline]] inline char *put_field(char *out, const _QorProfileReport &report) {
    using qor::How;
    constexpr const qor::Field &row = layout->fields[index];
    constexpr std::size_t width = layout->width_of(row);
    static constexpr short_text kKey{{" '", row.name, "':"}};
    std::memcpy(out, kKey.characters.data(), kKey.size);
    out += kKey.size;
    if constexpr (row.how == How::Number) {
        out = put_number<layout, index>(out, number_at<row.size>(report, row.offset));
    } else if constexpr (row.how == How::Constant) {
        out = put_number<layout, index>(out, row.parameter);
    } else if constexpr (row.how == How::Hexadecimal) {
        // The width applies to the opening apostrophe alone; the digits follow without padding. Intended.
        out = std::fill_n(out, width - 1, ' ');
        *out++ = '\'';
        out = put_hexadecimal(out, static_cast<std::uint32_t>(number_at<row.size>(report, row.offset)));
        *out++ = '\'';
    } else if constexpr (row.how == How::Text) {
        out = align_right(out, put_quoted(out, text_in(report, row)), width);
    } else if constexpr (row.how == How::FixedPoint) {
        out = align_right(out, put_real(out, qor::load_fixed_point(report.bytes, row)), width);
    } else if constexpr (row.how == How::Subject) {
        out = put_subject(out, report, static_cast<std::uint32_t>(number_at<row.size>(report, row.offset)), width);
    } else {
        static_assert(row.how == How::Bytes || row.how == How::CountedBytes);
        std::span<const std::uint8_t> bytes = bytes_in(report, row);
        out = align_right(out, put_dump(out, bytes.data(), bytes.size()), width);
    }
    *out++ = ',';
    return out;
}

template <const qor::Layout *layout>
constexpr std::size_t kRoom = [] {
    std::size_t room = 0;
    for (const qor::Field &row : layout->fields) {
        room += room_of(*layout, row);
    }
    return room;
}();

/** Unrolls the table at compile time, so that keys, offsets and widths are constants in the code. */
template <const qor::Layout *layout>
char *put_layout(char *out, const _QorProfileReport &report) {
    [&]<std::size_t... index>(std::index_sequence<index...>) { ((out = put_field<layout, index>(out, report)), ...); }
    (std::make_index_sequence<layout->fields.size()>{});
    return out;
}

template <std::size_t index>
void put_layouts(text_stream &stream, const _QorProfileReport &report) {
    constexpr const qor::Layout *first = kPayloads[index][0];
    constexpr const qor::Layout *second = kPayloads[index][1];
    char *out = stream.room(kRoom<first> + kRoom<second>);
    out = put_layout<first>(out, report);
    out = put_layout<second>(out, report);
    stream.commit(out);
}

using payload_writer = void (*)(text_stream &, const _QorProfileReport &);

constexpr auto kWriters = []<std::size_t... index>(std::index_sequence<index...>) {
    return std::array<payload_writer, sizeof...(index)>{put_layouts<index>...};
}
(std::make_index_sequence<kPayloads.size()>{});

} // namespace

void put_payload(text_stream &stream, const _QorProfileReport &report, std::size_t index) {
    kWriters[index](stream, report);
}

} // namespace decoder
