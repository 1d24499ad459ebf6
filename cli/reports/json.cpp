#include "cli/reports/json.h"

#include <cstdint>
#include <string>
#include <string_view>

#include "cli/reports/json_values.h"
#include "cli/reports/payload_json.h"
#include "cli/reports/wall_time.h"
#include "decoder/name_tables.h"

namespace cli {
namespace {

void append_member(text_buffer &out, std::string_view quoted_key, std::string_view name, std::uint64_t id,
                   std::string_view quoted_id_key) {
    out.append(quoted_key);
    append_json_string(out, name);
    out.append(quoted_id_key);
    append_number(out, id);
}

} // namespace

void append_json_line(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock) {
    const std::uint8_t category = report.category_id();
    const std::uint8_t component = report.component_id();
    const std::uint8_t event = report.event_id();
    append_member(out, "{\"category\":", decoder::category_name(category), category, ",\"category_id\":");
    append_member(out, ",\"component\":", decoder::component_name(category, component), component,
                  ",\"component_id\":");
    append_member(out, ",\"event\":", decoder::event_name(category, component, event), event, ",\"event_id\":");
    append_member(out, ",\"type\":", decoder::type_name(report.type_id()), report.type_id(), ",\"type_id\":");
    out.append(",\"sequence_num\":");
    append_number(out, report.sequence_num());
    out.append(",\"timestamp\":");
    append_number(out, report.timestamp());
    if (const std::string wall = clock.sync ? iso_wall_time(report.timestamp(), *clock.sync) : ""; !wall.empty()) {
        out.append(",\"wall_time\":");
        append_json_string(out, wall);
    }
    if (clock.boot_time) {
        out.append(",\"boot_timestamp\":");
        append_number(out, *clock.boot_time);
    }
    out.append(",\"payload\":");
    append_payload_json(out, report);
    out.append("}\n");
}

} // namespace cli
