#include "cli/comparison/measure.h"

#include <array>
#include <utility>

#include "cli/dumps/function_call.h"
#include "cli/terminal/hex.h"
#include "host/utf8.h"
#include "qor/payload_layouts.h"

namespace cli {
namespace {

constexpr std::array<std::string_view, kMeasureKinds> kNames = {
    "missing numbers", "restarts", "gaps",    "function duration", "event share", "event rate",       "wake reason",
    "distribution",    "scalar",   "latency", "payload field",     "interval",    "function nesting", "setting"};

constexpr std::size_t kWakeReasonField = field_number(qor::kWakeRequest, "wake_reason");

struct Path {
    std::uint8_t category;
    std::uint8_t component;
    std::uint8_t event;
    std::uint8_t type;
};

Path path_of(std::uint32_t header) {
    const auto byte = [header](unsigned shift) { return static_cast<std::uint8_t>(header >> shift & 0xFF); };
    return {byte(24), byte(16), byte(8), byte(0)};
}

/** A text under `key`, or its bytes under `key` with "_hex" appended. */
AboutEntry text_entry(const std::string &key, std::string_view text) {
    return host::is_utf8(text) ? AboutEntry{key, std::nullopt, std::string(text)}
                               : AboutEntry{key + "_hex", std::nullopt, hex(text)};
}

AboutEntry number_entry(std::string key, std::uint64_t number) { return {std::move(key), number, ""}; }

/** What `MeasureId::text` is. */
std::string key_of_text(MeasureKind kind) {
    switch (kind) {
    case MeasureKind::FunctionDuration:
    case MeasureKind::FunctionNesting:
        return "function";
    case MeasureKind::PayloadField:
        return "field";
    case MeasureKind::Latency:
        return "latency";
    case MeasureKind::Setting:
        return "setting";
    default:
        return "key";
    }
}

bool is_of_wakes(const MeasureId &measure) { return measure.kind == MeasureKind::WakeReason; }

/** The owner's name of a function or of a wake's reason; null for none. */
const OwnerName *name_of_number(const MeasureId &measure, const OwnerNames &names) {
    return names.value(is_of_wakes(measure) ? kWakeReasonField : kFunctionIdField, *measure.number);
}

} // namespace

std::string_view name_of(MeasureKind kind) { return kNames[static_cast<std::size_t>(kind)]; }

bool follows_from_counts(MeasureKind kind) {
    switch (kind) {
    case MeasureKind::MissingNumbers:
    case MeasureKind::Restarts:
    case MeasureKind::Gaps:
    case MeasureKind::EventShare:
    case MeasureKind::EventRate:
    case MeasureKind::WakeReason:
        return true;
    default:
        return false;
    }
}

bool has_one_value(MeasureKind kind) {
    return follows_from_counts(kind) || kind == MeasureKind::Scalar || kind == MeasureKind::Latency;
}

std::vector<AboutEntry> describe(const MeasureId &measure, const OwnerNames &names) {
    std::vector<AboutEntry> about;
    if (measure.path) {
        const auto [category, component, event, type] = path_of(*measure.path);
        about.push_back(text_entry("category", names.category_name(category)));
        about.push_back(number_entry("category_id", category));
        about.push_back(text_entry("component", names.component_name(category, component)));
        about.push_back(number_entry("component_id", component));
        about.push_back(text_entry("event", names.event_name(category, component, event)));
        about.push_back(number_entry("event_id", event));
        about.push_back(text_entry("type", names.type_name(type)));
        about.push_back(number_entry("type_id", type));
    }
    if (measure.number) {
        about.push_back(number_entry(is_of_wakes(measure) ? "wake_reason" : "function_id", *measure.number));
        if (const OwnerName *name = name_of_number(measure, names)) {
            about.push_back(text_entry(is_of_wakes(measure) ? "wake_reason_name" : "function", name->plain));
        }
    }
    if (!measure.layout.empty()) {
        about.push_back(text_entry("layout", measure.layout));
    }
    const bool is_text_of_function = key_of_text(measure.kind) == "function" && !measure.number;
    if (!measure.text.empty() || is_text_of_function) {
        about.push_back(text_entry(key_of_text(measure.kind), measure.text));
    }
    return about;
}

std::string label_of(const MeasureId &measure, const OwnerNames &names) {
    std::string label;
    if (measure.path) {
        const auto [category, component, event, type] = path_of(*measure.path);
        label += std::string(names.category_name(category)) + " " +
                 std::string(names.component_name(category, component)) + " " +
                 std::string(names.event_name(category, component, event)) + " " + std::string(names.type_name(type));
    }
    if (measure.number) {
        const OwnerName *name = name_of_number(measure, names);
        label += name != nullptr ? name->plain : std::to_string(*measure.number);
    }
    if (!measure.text.empty()) {
        label += (label.empty() ? "" : " ") + text_entry("", measure.text).text;
    }
    return label;
}

std::string_view unit_of(MeasureKind kind) {
    switch (kind) {
    case MeasureKind::FunctionDuration:
    case MeasureKind::Interval:
        return "us";
    case MeasureKind::Latency:
        return "ticks";
    case MeasureKind::EventRate:
        return "per second";
    default:
        return "";
    }
}

} // namespace cli
