#include "cli/reports/json.h"

#include "cli/reports/payload_json.h"
#include "cli/reports/row.h"
#include "cli/reports/wall_time.h"
#include "decoder/byte_dump.h"
#include "decoder/digits.h"
#include "decoder/name_tables.h"
#include "decoder/payload_choice.h"
#include "decoder/short_text.h"

namespace cli {
namespace {

using decoder::put_literal;

/** Names and ids: everything before the sequence number. The last part of it is for the stores of the one before. */
using Start = decoder::text_of_at_most<320>;

/** Keys, ids in decimal and names with their marks. */
static_assert(128 + 4 * 3 + 4 * decoder::short_text::kCapacity + decoder::short_text::kCapacity <= Start::kCapacity);

char *put_id(char *out, std::uint8_t id) { return decoder::put_byte_and_comma(out, id) - 1; }

void fill_start(Start &start, const _QorProfileReport &report) {
    const std::uint8_t component = report.component_id();
    const decoder::category_names &names = decoder::names_of_category(report.category_id());
    char *const begin = start.characters.data();
    char *at = put_literal(begin, "{\"category\":");
    at = decoder::put(at, decoder::json_name(decoder::kCategoryTable, report.category_id()));
    at = put_id(put_literal(at, ",\"category_id\":"), report.category_id());
    at = decoder::put(put_literal(at, ",\"component\":"), decoder::json_name(names.components, component));
    at = put_id(put_literal(at, ",\"component_id\":"), component);
    at = decoder::put(put_literal(at, ",\"event\":"), decoder::json_name(names.events(component), report.event_id()));
    at = put_id(put_literal(at, ",\"event_id\":"), report.event_id());
    at = decoder::put(put_literal(at, ",\"type\":"), decoder::json_name(decoder::kTypeTable, report.type_id()));
    at = put_id(put_literal(at, ",\"type_id\":"), report.type_id());
    at = put_literal(at, ",\"sequence_num\":");
    start.size = static_cast<std::uint16_t>(at - begin);
}

} // namespace

void append_json_line(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock) {
    append_row<Start, fill_start>(out, report, [&](char *at) {
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
        return put_literal(at, "}\n");
    });
}

} // namespace cli
