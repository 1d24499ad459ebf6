#include "decoder/report_line.h"

#include "decoder/byte_dump.h"
#include "decoder/digits.h"
#include "decoder/line_notation.h"
#include "decoder/line_pieces.h"
#include "decoder/name_tables.h"
#include "decoder/payload_choice.h"
#include "decoder/payload_text.h"
#include "decoder/profile_decoder.h"

namespace decoder {

namespace {

char *put_right(char *out, const std::string &text, std::size_t width) {
    out = std::fill_n(out, text.size() < width ? width - text.size() : 0, ' ');
    return std::copy(text.begin(), text.end(), out);
}

constexpr std::size_t room_of(const short_text &) { return short_text::kCapacity; }
std::size_t room_of(const std::string &text) { return text.size(); }

/** Upper bounds for the parts of a line around its payload: keys, widths and numbers, without the names. */
constexpr std::size_t kHeaderRoom = 256;
constexpr std::size_t kTrailerRoom = 256 + dump_room(_QorProfileReport::kSize);

static_assert(kHeaderRoom + 4 * short_text::kCapacity + kPayloadRoom<line_notation> + kTrailerRoom <= kLineRoom);

template <const qor::Field *field>
char *put_key(char *out) {
    static constexpr short_text kKey = line_pieces::key(*field);
    return put_constant<kKey>(out);
}

/** Writes a one-byte id: its key, the number and a comma. */
template <const qor::Field *field>
char *put_id(char *out, const _QorProfileReport &report) {
    return put_byte_and_comma(put_key<field>(out), report.bytes[field->offset]);
}

/** What the four ids of a report give to its line, put together from their names. */
template <typename Name>
struct named_header {
    const Name &category;
    const Name &component;
    const Name &event;
    const Name &type;

    std::size_t start_room() const { return room_of(category) + room_of(component) + room_of(event) + room_of(type); }

    char *put_start(char *out) const {
        using namespace line_pieces; // NOLINT(google-build-using-namespace): the widths
        out = put_right(put_literal(out, "{  'category':"), category, kPlaceWidth);
        out = put_right(put_literal(out, ", 'component':"), component, kPlaceWidth);
        out = put_right(put_literal(out, ", 'event':"), event, kKindWidth);
        out = put_right(put_literal(out, ", 'type':"), type, kKindWidth);
        return put_key<&qor::header::kTimestamp>(put_literal(out, ","));
    }

    static char *put_ids(char *out, const _QorProfileReport &report) {
        out = put_id<&qor::header::kTypeId>(out, report);
        out = put_id<&qor::header::kCategoryId>(out, report);
        out = put_id<&qor::header::kComponentId>(out, report);
        out = put_id<&qor::header::kEventId>(out, report);
        return put_literal(out, " 'binary-data':");
    }
};

/** The same for a covered header, from the prepared pieces. */
struct prepared_header {
    const line_pieces::place &place;
    const line_pieces::event &event;
    const line_pieces::type &type;

    explicit prepared_header(const _QorProfileReport &report)
        : place(line_pieces::kPlaceTexts[report.category_id()][report.component_id()]),
          event(line_pieces::kEventTexts[place.events][report.event_id()]),
          type(line_pieces::kTypeTexts[report.type_id()]) {}

    static std::size_t start_room() { return 0; }
    char *put_start(char *out) const { return put(put(put(out, place.start), event.start), type.start); }
    char *put_ids(char *out, const _QorProfileReport &) const {
        return put(put(put(out, type.ids), place.ids), event.ids);
    }
};

template <typename Header>
void put_header(text_stream &stream, const Header &header, const _QorProfileReport &report) {
    char *out = header.put_start(stream.room(kHeaderRoom + header.start_room()));
    out = put_ten_or_more_places(out, report.timestamp());
    out = put_key<&qor::header::kSequenceNum>(put_literal(out, ","));
    out = put_ten_places(out, report.sequence_num());
    stream.commit(put_literal(out, ","));
}

template <typename Header>
void put_trailer(text_stream &stream, const Header &header, const _QorProfileReport &report,
                 const device_clock &clock) {
    char *out = header.put_ids(stream.room(kTrailerRoom), report);
    out = put_dump(out, report.bytes, _QorProfileReport::kSize);
    if (clock.sync) {
        char *const value = put_literal(out, ", 'calendar-time':'");
        char *const end = put_wall_time(value, wall_time(report.timestamp(), *clock.sync));
        out = end != value ? put_literal(end, "'") : out;
    }
    if (clock.boot_time) {
        out = put_microseconds(put_literal(out, ", 'boot-timestamp':"), *clock.boot_time);
    }
    stream.commit(put_literal(out, "}"));
}

/** @param put_fields  called with the stream; appends the payload's fields. */
template <typename Header, typename Payload>
void append(text_buffer &buffer, const Header &header, const Payload &put_fields, const _QorProfileReport &report,
            const device_clock &clock) {
    text_stream stream(buffer);
    put_header(stream, header, report);
    put_fields(stream);
    put_trailer(stream, header, report, clock);
    stream.flush();
}

} // namespace

void append_line(text_buffer &buffer, const _QorProfileReport &report, const device_clock &clock) {
    const auto put_fields = [&](text_stream &stream) { put_payload(stream, report, payload_index(report)); };
    if ((report.header() & line_pieces::kUncovered) == 0) {
        append(buffer, prepared_header(report), put_fields, report, clock);
        return;
    }
    const category_names &names = names_of_category(report.category_id());
    const named_header<short_text> header{
        quoted_name(kCategoryTable, report.category_id()), quoted_name(names.components, report.component_id()),
        quoted_name(names.events(report.component_id()), report.event_id()), quoted_name(kTypeTable, report.type_id())};
    append(buffer, header, put_fields, report, clock);
}

void append_line(text_buffer &buffer, const line_names &names,
                 const std::function<void(text_stream &stream)> &put_fields, const _QorProfileReport &report,
                 const device_clock &clock) {
    const named_header<std::string> header{names.category, names.component, names.event, names.type};
    append(buffer, header, put_fields, report, clock);
}

void append_line(text_buffer &buffer, const profile_decoder &decoder, const line_names &names,
                 const _QorProfileReport &report, const device_clock &clock) {
    const named_header<std::string> header{names.category, names.component, names.event, names.type};
    append(
        buffer, header, [&](text_stream &stream) { decoder.parse_datatype(stream, report); }, report, clock);
}

} // namespace decoder
