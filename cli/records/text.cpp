#include "cli/records/text.h"

#include <optional>

#include "cli/records/assets.h"
#include "cli/records/drawn_record.h"
#include "cli/records/latency.h"
#include "cli/records/profile.h"
#include "cli/records/sensor.h"
#include "cli/records/value_text.h"
#include "cli/terminal/hex.h"
#include "platform/RvStateCapture.h"

namespace cli {
namespace {

/** Nothing when the payload is not of the shape that its title promises. */
std::optional<std::string> text_in_form(RecordForm form, TvRef payload, const TextStyle &style) {
    switch (form) {
    case RecordForm::Latency:
        return latency_text(payload, style);
    case RecordForm::Assets:
        return assets_text(payload, style);
    case RecordForm::Sensor:
        return sensor_text(payload, style);
    case RecordForm::Profile:
        return profile_text(payload, style);
    case RecordForm::Other:
        break;
    }
    return std::nullopt;
}

std::string payload_text(const host::StateRecord &record, const TextStyle &style) {
    std::optional<std::string> text = text_in_form(form_of(record.title), record.payload.get(), style);
    return text ? *std::move(text) : value_lines(record.payload.get(), 0, style);
}

std::string foreign_payload(const host::StateRecord &record, std::span<const std::byte> file) {
    const auto payload = file.subspan(record.offset, record.size).subspan(sizeof(RvStateCaptureRecord));
    return "type code " + std::to_string(record.type_code) + ": <" + hex(payload) + ">\n";
}

} // namespace

std::string record_text(const host::StateRecord &record, std::span<const std::byte> file, const TextStyle &style) {
    return style.heading(record.title) + "\n" +
           (record.payload ? payload_text(record, style) : foreign_payload(record, file));
}

} // namespace cli
