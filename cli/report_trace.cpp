#include "cli/report_trace.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string_view>

#include "cli/hex.h"
#include "cli/report_json.h"
#include "cli/utf8.h"
#include "decoder/name_tables.h"
#include "decoder/payload_values.h"

namespace cli {
namespace {

using decoder::payload_value;

/** Process ids of the trace: one for threads, then one for each category. */
constexpr unsigned kThreadsProcess = 1;
constexpr unsigned kFirstCategoryProcess = 10;

constexpr std::uint8_t kEventType = 3;
constexpr std::uint8_t kTriggerType = 4;
constexpr std::uint8_t kFunctionType = 5;
constexpr std::uint8_t kExtFunctionType = 9;

constexpr std::uint8_t kSensorCategory = 2;
constexpr std::uint8_t kVastrelCategory = 4;

constexpr unsigned kNamedCategories = 11;
constexpr unsigned kComponentIds = 256;

bool is_decimal(std::string_view name) { return name.find_first_not_of("0123456789") == std::string_view::npos; }

void append_metadata(std::string &out, std::string_view what, unsigned process, unsigned thread,
                     std::string_view name) {
    out += out.back() == '[' ? "\n" : ",\n";
    out += "{\"ph\":\"M\",\"name\":\"" + std::string(what) + "\",\"pid\":" + std::to_string(process) +
           ",\"tid\":" + std::to_string(thread) + ",\"args\":{\"name\":\"" + std::string(name) + "\"}}";
}

std::optional<payload_value> payload_value_of(const _QorProfileReport &report, std::string_view key) {
    std::optional<payload_value> found;
    decoder::for_each_payload_value(report, [&](const payload_value &value) {
        if (!found && value.key == key) {
            found = value;
        }
    });
    return found;
}

std::uint64_t number_of(const _QorProfileReport &report, std::string_view key) {
    const std::optional<payload_value> value = payload_value_of(report, key);
    return value ? value->number : 0;
}

std::string text_or_hex(std::string_view text) { return is_utf8(text) ? std::string(text) : hex(text); }

void append_start(text_buffer &out, std::string_view phase, std::string_view name, std::uint64_t time) {
    out.append(",\n{\"ph\":\"");
    out.append(phase);
    out.append("\",\"name\":");
    append_json_string(out, name);
    out.append(",\"ts\":");
    append_number(out, time);
}

void append_track(text_buffer &out, std::uint64_t process, std::uint64_t thread) {
    out.append(",\"pid\":");
    append_number(out, process);
    out.append(",\"tid\":");
    append_number(out, thread);
}

std::uint64_t category_process(const _QorProfileReport &report) {
    return kFirstCategoryProcess + std::uint64_t{report.category_id()};
}

void append_payload_arguments(text_buffer &out, const _QorProfileReport &report) {
    out.append(",\"args\":");
    append_payload_json(out, report);
    out.append("}");
}

void append_slice(text_buffer &out, const _QorProfileReport &report) {
    const bool is_plain = report.type_id() == kFunctionType;
    const std::uint64_t duration = std::min(number_of(report, "duration"), report.timestamp());
    const std::optional<payload_value> function = payload_value_of(report, "function");
    const std::string name = is_plain ? "function " + std::to_string(number_of(report, "function-id"))
                                      : text_or_hex(function ? function->text : std::string_view());
    append_start(out, "X", name, report.timestamp() - duration);
    out.append(",\"dur\":");
    append_number(out, duration);
    append_track(out, kThreadsProcess, number_of(report, is_plain ? "thread-id" : "thread"));
    append_payload_arguments(out, report);
}

/** "accel data" */
std::string component_and_event(const _QorProfileReport &report) {
    const std::uint8_t category = report.category_id();
    const std::uint8_t component = report.component_id();
    return std::string(decoder::component_name(category, component)) + " " +
           std::string(decoder::event_name(category, component, report.event_id()));
}

bool is_sensor_value(const _QorProfileReport &report) {
    return report.type_id() == kEventType &&
           (report.category_id() == kSensorCategory || report.category_id() == kVastrelCategory);
}

/** Vectors where the report has one, else every number; a counter's series are its arguments. */
void append_counter(text_buffer &out, const _QorProfileReport &report) {
    using Kind = payload_value::kind;
    const Kind series = payload_value_of(report, "x") ? Kind::real : Kind::number;
    append_start(out, "C", component_and_event(report), report.timestamp());
    append_track(out, category_process(report), report.component_id());
    out.append(",\"args\":{");
    bool is_first = true;
    decoder::for_each_payload_value(report, [&](const payload_value &value) {
        if (value.type == series) {
            out.append(is_first ? "" : ",");
            append_number_member(out, value);
            is_first = false;
        }
    });
    out.append("}}");
}

/** A trace's subject says more than its event, which is always the same. */
std::string instant_name(const _QorProfileReport &report) {
    const std::optional<payload_value> subject = payload_value_of(report, "trace");
    if (!subject) {
        return std::string(decoder::event_name(report.category_id(), report.component_id(), report.event_id()));
    }
    return subject->text.empty() ? "trace " + std::to_string(subject->number) : std::string(subject->text);
}

void append_instant(text_buffer &out, const _QorProfileReport &report) {
    append_start(out, "i", instant_name(report), report.timestamp());
    // A trigger marks a moment for the whole category, so viewers draw it across its tracks.
    out.append(report.type_id() == kTriggerType ? ",\"s\":\"p\"" : ",\"s\":\"t\"");
    append_track(out, category_process(report), report.component_id());
    append_payload_arguments(out, report);
}

} // namespace

std::string trace_start() {
    std::string start = "{\"displayTimeUnit\":\"ms\",\"traceEvents\":[";
    append_metadata(start, "process_name", kThreadsProcess, 0, "threads");
    for (unsigned category = 0; category < kNamedCategories; ++category) {
        const auto category_id = static_cast<std::uint8_t>(category);
        append_metadata(start, "process_name", kFirstCategoryProcess + category, 0,
                        decoder::category_name(category_id));
        for (unsigned component = 0; component < kComponentIds; ++component) {
            const std::string_view name = decoder::component_name(category_id, static_cast<std::uint8_t>(component));
            if (!is_decimal(name)) {
                append_metadata(start, "thread_name", kFirstCategoryProcess + category, component, name);
            }
        }
    }
    return start;
}

std::string trace_end() { return "\n]}\n"; }

void append_trace_event(text_buffer &out, const _QorProfileReport &report) {
    const bool is_slice = (report.type_id() == kFunctionType && payload_value_of(report, "function-id")) ||
                          (report.type_id() == kExtFunctionType && payload_value_of(report, "function"));
    if (is_slice) {
        append_slice(out, report);
    } else if (is_sensor_value(report)) {
        append_counter(out, report);
    } else {
        append_instant(out, report);
    }
}

} // namespace cli
