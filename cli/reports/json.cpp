#include "cli/reports/json.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

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

/** The room for a line without its payload: keys and marks, 4 names, 4 ids, 3 numbers and a time. */
constexpr std::size_t kRoomAroundPayload = 192 + 4 * (decoder::short_text::kCapacity + 4) + 3 * 24 + kIsoWallTimeRoom;

char *put_all(char *out, std::string_view text) { return std::copy(text.begin(), text.end(), out); }

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

/** The same with the owner's names. */
char *put_named_start(char *out, const _QorProfileReport &report, const OwnerNames &names) {
    static constexpr std::array<std::string_view, 4> kKeys{"category", "component", "event", "type"};
    const auto ids = names.id_names(report);
    for (std::size_t i = 0; i < kKeys.size(); ++i) {
        out = put_all(put_literal(out, i == 0 ? "{\"" : ",\""), kKeys[i]);
        out = put_literal(out, "\":");
        out = ids[i].owner == nullptr ? decoder::put(out, ids[i].system)
                                      : put_literal(put_all(put_literal(out, "\""), ids[i].owner->json), "\"");
        out = put_all(put_literal(out, ",\""), kKeys[i]);
        out = put_id(put_literal(out, "_id\":"), ids[i].id);
    }
    return out;
}

/** Writes everything from the sequence number to the key of the payload. */
[[gnu::always_inline]] inline char *put_times(char *at, const _QorProfileReport &report,
                                              const decoder::device_clock &clock) {
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
    return put_literal(at, ",\"payload\":");
}

} // namespace

void append_json_line(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock) {
    text_stream stream(out);
    char *at = put_start(stream.room(kRoomAroundPayload + kPayloadJsonRoom), report);
    at = put_payload_json(put_times(at, report, clock), report, decoder::payload_index(report));
    stream.commit(put_literal(at, "}\n"));
    stream.flush();
}

void append_json_line(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock,
                      const OwnerNames &names, bool has_raw) {
    append_named_row(out, [&](char *at) {
        at = put_times(put_named_start(at, report, names), report, clock);
        at = put_named_payload_json(at, report, decoder::payload_index(report), names);
        if (has_raw) {
            at = put_literal(decoder::put_hexadecimal_pairs(put_literal(at, ",\"raw\":\""), report.bytes), "\"");
        }
        return put_literal(at, "}\n");
    });
}

} // namespace cli
