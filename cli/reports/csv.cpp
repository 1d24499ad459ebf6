#include "cli/reports/csv.h"

#include "cli/reports/json_values.h"
#include "cli/reports/payload_json.h"
#include "cli/reports/wall_time.h"
#include "decoder/name_tables.h"

namespace cli {
namespace {

/** Names contain no commas, quotes or line ends, so only the payload needs quoting. */
void append_name_and_id(text_buffer &out, std::string_view name, std::uint8_t id) {
    out.append(name);
    out.append(",");
    append_number(out, id);
    out.append(",");
}

void append_quoted(text_buffer &out, std::string_view text) {
    out.append("\"");
    for (std::size_t quote = text.find('"'); quote != std::string_view::npos; quote = text.find('"')) {
        out.append(text.substr(0, quote + 1));
        out.append("\"");
        text.remove_prefix(quote + 1);
    }
    out.append(text);
    out.append("\"");
}

} // namespace

const std::string_view kCsvHeading = "category,category_id,component,component_id,event,event_id,type,type_id,"
                                     "sequence_num,timestamp,wall_time,boot_timestamp,payload\r\n";

void append_csv_line(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock) {
    const std::uint8_t category = report.category_id();
    const std::uint8_t component = report.component_id();
    const std::uint8_t event = report.event_id();
    append_name_and_id(out, decoder::category_name(category), category);
    append_name_and_id(out, decoder::component_name(category, component), component);
    append_name_and_id(out, decoder::event_name(category, component, event), event);
    append_name_and_id(out, decoder::type_name(report.type_id()), report.type_id());
    append_number(out, report.sequence_num());
    out.append(",");
    append_number(out, report.timestamp());
    out.append(",");
    if (clock.sync) {
        out.append(iso_wall_time(report.timestamp(), *clock.sync));
    }
    out.append(",");
    if (clock.boot_time) {
        append_number(out, *clock.boot_time);
    }
    out.append(",");
    char storage[4096];
    text_buffer payload(storage);
    append_payload_json(payload, report);
    append_quoted(out, payload.text());
    out.append("\r\n");
}

} // namespace cli
