#include "decoder/report_line.h"

#include "decoder/byte_dump.h"
#include "decoder/digits.h"
#include "decoder/name_tables.h"
#include "decoder/payload_choice.h"
#include "decoder/payload_text.h"
#include "decoder/profile_decoder.h"

namespace decoder {

namespace {

template <std::size_t size>
char *put(char *out, const char (&literal)[size]) {
    std::memcpy(out, literal, size - 1);
    return out + size - 1;
}

char *put_right(char *out, const std::string &text, std::size_t width) {
    out = std::fill_n(out, text.size() < width ? width - text.size() : 0, ' ');
    return std::copy(text.begin(), text.end(), out);
}

constexpr std::size_t room_of(const short_text &) { return short_text::kCapacity; }
std::size_t room_of(const std::string &text) { return text.size(); }

/** Names from the tables, looked up without creating strings. */
struct table_names {
    const short_text &category;
    const short_text &component;
    const short_text &event;
    const short_text &type;
};

/** Upper bounds for the parts of a line around its payload: keys, widths and numbers, without the names. */
constexpr std::size_t kHeaderRoom = 256;
constexpr std::size_t kTrailerRoom = 256 + dump_room(_QorProfileReport::kSize);

/** A field's key, without the blank before it. */
constexpr short_text key_of(const qor::Field &field) { return short_text{{"'", field.name, "':"}}; }

template <const qor::Field *field>
char *put_key(char *out) {
    static constexpr short_text kKey = key_of(*field);
    std::memcpy(out, kKey.characters.data(), kKey.size);
    return out + kKey.size;
}

/** Writes a one-byte id: a blank, its key, the number and a comma. */
template <const qor::Field *field>
char *put_id(char *out, const _QorProfileReport &report) {
    *out++ = ' ';
    return put_byte_and_comma(put_key<field>(out), report.bytes[field->offset]);
}

template <typename Names>
void put_header(text_stream &stream, const Names &names, const _QorProfileReport &report) {
    char *out = stream.room(kHeaderRoom + room_of(names.category) + room_of(names.component) + room_of(names.event) +
                            room_of(names.type));
    out = put(out, "{  'category':");
    out = put_right(out, names.category, 8);
    out = put(out, ", 'component':");
    out = put_right(out, names.component, 8);
    out = put(out, ", 'event':");
    out = put_right(out, names.event, 12);
    out = put(out, ", 'type':");
    out = put_right(out, names.type, 12);
    out = put_key<&qor::header::kTimestamp>(put(out, ", "));
    out = put_ten_or_more_places(out, report.timestamp());
    out = put_key<&qor::header::kSequenceNum>(put(out, ", "));
    out = put_ten_places(out, report.sequence_num());
    out = put(out, ",");
    stream.commit(out);
}

void put_trailer(text_stream &stream, const _QorProfileReport &report, const device_clock &clock) {
    char *out = stream.room(kTrailerRoom);
    out = put_id<&qor::header::kTypeId>(out, report);
    out = put_id<&qor::header::kCategoryId>(out, report);
    out = put_id<&qor::header::kComponentId>(out, report);
    out = put_id<&qor::header::kEventId>(out, report);
    out = put(out, " 'binary-data':");
    out = put_dump(out, report.bytes, _QorProfileReport::kSize);
    if (clock.sync) {
        char *const value = put(out, ", 'calendar-time':'");
        char *const end = put_wall_time(value, wall_time(report.timestamp(), *clock.sync));
        out = end != value ? put(end, "'") : out;
    }
    if (clock.boot_time) {
        out = put(out, ", 'boot-timestamp':");
        out = put_microseconds(out, *clock.boot_time);
    }
    out = put(out, "}");
    stream.commit(out);
}

/** @param payload  called with the stream; appends the payload's fields. */
template <typename Names, typename Payload>
void append(text_buffer &buffer, const Names &names, const Payload &payload, const _QorProfileReport &report,
            const device_clock &clock) {
    text_stream stream(buffer);
    put_header(stream, names, report);
    payload(stream);
    put_trailer(stream, report, clock);
    stream.flush();
}

} // namespace

void append_line(text_buffer &buffer, const _QorProfileReport &report, const device_clock &clock) {
    const std::uint8_t category = report.category_id();
    const category_names &names = names_of_category(category);
    append(
        buffer,
        table_names{quoted_name(kCategoryTable, category), quoted_name(names.components, report.component_id()),
                    quoted_name(names.events(report.component_id()), report.event_id()),
                    quoted_name(kTypeTable, report.type_id())},
        [&](text_stream &stream) { put_payload(stream, report, payload_index(category, report)); }, report, clock);
}

void append_line(text_buffer &buffer, const profile_decoder &decoder, const line_names &names,
                 const _QorProfileReport &report, const device_clock &clock) {
    append(
        buffer, names, [&](text_stream &stream) { decoder.parse_datatype(stream, report); }, report, clock);
}

} // namespace decoder
