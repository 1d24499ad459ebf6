#include "cli/reports/csv.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "cli/dumps/wall_time.h"
#include "cli/reports/named_row.h"
#include "cli/reports/payload_json.h"
#include "decoder/byte_dump.h"
#include "decoder/digits.h"
#include "decoder/name_tables.h"
#include "decoder/payload_choice.h"
#include "decoder/short_text.h"

namespace cli {
namespace {

using decoder::put_literal;

/** The room for a line without its payload: commas and marks, 4 names, 4 ids, 3 numbers and a time. */
constexpr std::size_t kRoomAroundPayload = 16 + 4 * (decoder::short_text::kCapacity + 4) + 3 * 24 + kIsoWallTimeRoom;

/** The system's names contain no commas, quotes or line ends, so only the payload needs quoting. */
char *put_name_and_id(char *out, const decoder::name_table &names, std::uint8_t id) {
    out = decoder::put_inside_of_quotes(out, decoder::json_name(names, id));
    *out++ = ',';
    return decoder::put_byte_and_comma(out, id);
}

/** Writes names and ids: everything before the sequence number. */
char *put_start(char *out, const _QorProfileReport &report) {
    const decoder::category_names &names = decoder::names_of_category(report.category_id());
    out = put_name_and_id(out, decoder::kCategoryTable, report.category_id());
    out = put_name_and_id(out, names.components, report.component_id());
    out = put_name_and_id(out, names.events(report.component_id()), report.event_id());
    return put_name_and_id(out, decoder::kTypeTable, report.type_id());
}

/** The same with the owner's names. */
char *put_named_start(char *out, const _QorProfileReport &report, const OwnerNames &names) {
    for (const OwnerNames::IdName &name : names.id_names(report)) {
        out = name.owner == nullptr ? decoder::put_inside_of_quotes(out, name.system)
                                    : std::copy(name.owner->csv.begin(), name.owner->csv.end(), out);
        out = decoder::put_byte_and_comma(put_literal(out, ","), name.id);
    }
    return out;
}

/** Writes everything from the sequence number to the mark before the payload. */
[[gnu::always_inline]] inline char *put_times(char *at, const _QorProfileReport &report,
                                              const decoder::device_clock &clock) {
    at = decoder::put_up_to_ten_digits(at, report.sequence_num());
    at = decoder::put_decimal(put_literal(at, ","), report.timestamp());
    at = put_literal(at, ",");
    if (clock.sync) {
        at = put_iso_wall_time(at, report.timestamp(), *clock.sync);
    }
    at = put_literal(at, ",");
    if (clock.boot_time) {
        at = decoder::put_microseconds(at, *clock.boot_time);
    }
    return put_literal(at, ",\"");
}

} // namespace

const std::string_view kCsvHeading = "category,category_id,component,component_id,event,event_id,type,type_id,"
                                     "sequence_num,timestamp,wall_time,boot_timestamp,payload\r\n";

void append_csv_line(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock,
                     const OwnerNames &names, bool has_raw) {
    append_named_row(out, [&](char *at) {
        const std::size_t payload = decoder::payload_index(report);
        at = put_times(put_named_start(at, report, names), report, clock);
        at = put_literal(put_named_payload_json_in_csv(at, report, payload, names), "\"");
        return put_literal(has_raw ? decoder::put_hexadecimal_pairs(put_literal(at, ","), report.bytes) : at, "\r\n");
    });
}

void append_csv_line(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock) {
    text_stream stream(out);
    char *at = put_start(stream.room(kRoomAroundPayload + kPayloadJsonRoom), report);
    at = put_payload_json_in_csv(put_times(at, report, clock), report, decoder::payload_index(report));
    stream.commit(put_literal(at, "\"\r\n"));
    stream.flush();
}

} // namespace cli
