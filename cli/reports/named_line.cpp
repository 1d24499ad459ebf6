#include "cli/reports/named_line.h"

#include <cstdint>
#include <string>

#include "cli/reports/named_payload.h"
#include "decoder/payload_choice.h"
#include "decoder/report_line.h"

namespace cli {

void append_named_line(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock,
                       const OwnerNames &names) {
    const auto quoted = [](std::string_view name) { return "'" + std::string(name) + "'"; };
    const std::uint8_t category = report.category_id();
    const std::uint8_t component = report.component_id();
    const auto put_fields = [&](text_stream &stream) {
        stream.commit(
            put_named_payload_line(stream.room(kNamedPayloadLineRoom), report, decoder::payload_index(report), names));
    };
    decoder::append_line(out,
                         {quoted(names.category_name(category)), quoted(names.component_name(category, component)),
                          quoted(names.event_name(category, component, report.event_id())),
                          quoted(names.type_name(report.type_id()))},
                         put_fields, report, clock);
}

} // namespace cli
