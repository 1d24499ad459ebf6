#include "cli/reports/csv.h"

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
using Start = decoder::text_of_at_most<192>;

/** Ids in decimal, commas, and names. */
static_assert(4 * 3 + 8 + 4 * decoder::short_text::kCapacity + decoder::short_text::kCapacity <= Start::kCapacity);

/** Names contain no commas, quotes or line ends, so only the payload needs quoting. */
char *put_name_and_id(char *out, const decoder::name_table &names, std::uint8_t id) {
    out = decoder::put_inside_of_quotes(out, decoder::json_name(names, id));
    *out++ = ',';
    return decoder::put_byte_and_comma(out, id);
}

void fill_start(Start &start, const _QorProfileReport &report) {
    const decoder::category_names &names = decoder::names_of_category(report.category_id());
    char *const begin = start.characters.data();
    char *at = put_name_and_id(begin, decoder::kCategoryTable, report.category_id());
    at = put_name_and_id(at, names.components, report.component_id());
    at = put_name_and_id(at, names.events(report.component_id()), report.event_id());
    at = put_name_and_id(at, decoder::kTypeTable, report.type_id());
    start.size = static_cast<std::uint16_t>(at - begin);
}

} // namespace

const std::string_view kCsvHeading = "category,category_id,component,component_id,event,event_id,type,type_id,"
                                     "sequence_num,timestamp,wall_time,boot_timestamp,payload\r\n";

void append_csv_line(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock) {
    append_row<Start, fill_start>(out, report, [&](char *at) {
        at = decoder::put_decimal(put_literal(at, ","), report.timestamp());
        at = put_literal(at, ",");
        if (clock.sync) {
            at = put_iso_wall_time(at, report.timestamp(), *clock.sync);
        }
        at = put_literal(at, ",");
        if (clock.boot_time) {
            at = decoder::put_microseconds(at, *clock.boot_time);
        }
        at = put_payload_json_in_csv(put_literal(at, ",\""), report, decoder::payload_index(report));
        return put_literal(at, "\"\r\n");
    });
}

} // namespace cli
