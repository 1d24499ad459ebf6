#include "cli/records/text.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "cli/records/assets.h"
#include "cli/records/latency.h"
#include "cli/records/profile.h"
#include "cli/records/sensor.h"
#include "cli/records/value_text.h"
#include "cli/terminal/hex.h"
#include "platform/RvStateCapture.h"

namespace cli {
namespace {

/** Nothing when the payload is not of the shape that its title promises. */
using PayloadRendering = std::optional<std::string> (*)(TvRef payload, const TextStyle &style);

struct TitleRow {
    std::string_view title; ///< a star at the end matches any rest
    PayloadRendering rendering;
};

constexpr std::array<TitleRow, 4> kTitles{{
    {"SSHB Statistics", latency_text},
    {"SSHB assets", assets_text},
    {"SensorInfo", sensor_text},
    {"ZEL Profile *", profile_text},
}};

bool matches(std::string_view title, std::string_view pattern) {
    if (pattern.back() != '*') {
        return title == pattern;
    }
    pattern.remove_suffix(1);
    return title.substr(0, pattern.size()) == pattern;
}

std::string payload_text(const host::StateRecord &record, const TextStyle &style) {
    const auto row = std::find_if(kTitles.begin(), kTitles.end(),
                                  [&](const TitleRow &candidate) { return matches(record.title, candidate.title); });
    if (row != kTitles.end()) {
        if (std::optional<std::string> text = row->rendering(record.payload.get(), style)) {
            return *std::move(text);
        }
    }
    return value_lines(record.payload.get(), 0, style);
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
