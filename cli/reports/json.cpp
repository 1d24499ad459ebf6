#include "cli/reports/json.h"

#include <cstddef>
#include <cstdint>

#include "cli/reports/payload_json.h"
#include "cli/reports/wall_time.h"
#include "decoder/byte_dump.h"
#include "decoder/digits.h"
#include "decoder/name_tables.h"
#include "decoder/payload_choice.h"
#include "decoder/short_text.h"

namespace cli {
namespace {

using decoder::put_literal;

/** The room for a line without its payload: keys and marks, 4 names, 4 ids, 3 numbers and a time. */
constexpr std::size_t kRoomAroundPayload = 192 + 4 * (decoder::short_text::kCapacity + 4) + 3 * 24 + kIsoWallTimeRoom;

char *put_id(char *out, std::uint8_t id) { return decoder::put_byte_and_comma(out, id) - 1; }

/** Writes names and ids: everything before the sequence number. */
char *put_start(char *out, const _QorProfileReport &report) {
    const std::uint8_t component = report.component_id();
    const decoder::category_names &names = decoder::names_of_category(report.category_id());
    out = decoder::put(put_literal(out, "{\"category\":"),
                       decoder::json_name(decoder::kCategoryTable, report.category_id()));
    out = put_id(put_literal(out, ",\"category_id\":"), report.category_id());
    out = decoder::put(put_literal(out, ",\"component\":"), decoder::json_name(names.components, component));
    out = put_id(put_literal(out, ",\"component_id\":"), component);
    out = decoder::put(put_literal(out, ",\"event\":"), decoder::json_name(names.events(component), report.event_id()));
    out = put_id(put_literal(out, ",\"event_id\":"), report.event_id());
    out = decoder::put(put_literal(out, ",\"type\":"), decoder::json_name(decoder::kTypeTable, report.type_id()));
    return put_id(put_literal(out, ",\"type_id\":"), report.type_id());
}

} // namespace

void append_json_line(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock) {
    text_stream stream(out);
    char *at = put_start(stream.room(kRoomAroundPayload + kPayloadJsonRoom), report);
    at = decoder::put_up_to_ten_digits(put_literal(at, ",\"sequence_num\":"), report.sequence_num());
    at = decoder::put_decimal(put_literal(at, ",\"timestamp\":"), report.timestamp());
    if (clock.sync) {
        char *const value = put_literal(at, ",\"wall_time\":\"");
        char *const end = put_iso_wall_time(value, report.timestamp(), *clock.sync);
        at = end != value ? put_literal(end, "\"") : at;
    }
    if (clock.boot_time) {
        at = decoder::put_microseconds(put_literal(at, ",\"boot_timestamp\":"), *clock.boot_time);
    }
    at = put_payload_json(put_literal(at, ",\"payload\":"), report, decoder::payload_index(report));
    stream.commit(put_literal(at, "}\n"));
    stream.flush();
}

} // namespace cli
