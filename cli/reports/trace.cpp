#include "cli/reports/trace.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "cli/reports/json_values.h"
#include "cli/reports/payload_json.h"
#include "cli/terminal/hex.h"
#include "decoder/name_tables.h"
#include "decoder/payload_values.h"
#include "host/utf8.h"
#include "qor/categories.h"

namespace cli {
namespace {

using decoder::payload_value;

/** Process ids of the trace: one for all threads, then one for each category. */
constexpr unsigned kThreadsProcess = 1;
constexpr unsigned kFirstCategoryProcess = 10;

/** The id of the type with this name. */
constexpr std::uint8_t type_of(std::string_view name) {
    return std::ranges::find(qor::kTypes, name, &qor::Type::name)->id;
}

constexpr std::uint8_t kEventType = type_of("event");
constexpr std::uint8_t kTriggerType = type_of("trigger");
constexpr std::uint8_t kFunctionType = type_of("function");
constexpr std::uint8_t kExtFunctionType = type_of("extfunction");

/** The event that gives a process or a thread its name. */
std::string name_event(std::string_view kind, std::uint64_t process, std::uint64_t thread, std::string_view name) {
    return "\n{\"ph\":\"M\",\"name\":\"" + std::string(kind) + "\",\"pid\":" + std::to_string(process) +
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

std::string text_or_hex(std::string_view text) { return host::is_utf8(text) ? std::string(text) : hex(text); }

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
    append_payload_json(out, report, BigNumbers::AsStrings);
    out.append("}");
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
           (report.category_id() == qor::kSensor || report.category_id() == qor::kVastrel);
}

/** Words are signed here: an axis crosses zero, and huge unsigned values would flatten everything else. */
void append_counter_value(text_buffer &out, const payload_value &value) {
    if (value.type == payload_value::kind::real) {
        append_number_member(out, value);
    } else {
        append_json_string(out, value.key);
        out.append(":" + std::to_string(static_cast<std::int32_t>(static_cast<std::uint32_t>(value.number))));
    }
}

void append_counter(text_buffer &out, const _QorProfileReport &report, const payload_value &value) {
    append_start(out, "C", component_and_event(report) + " " + std::string(value.key), report.timestamp());
    append_track(out, category_process(report), report.component_id());
    out.append(",\"args\":{");
    append_counter_value(out, value);
    out.append("}}");
}

/** The components of the vector if the report has one, otherwise every number. */
void append_counters(text_buffer &out, const _QorProfileReport &report) {
    using Kind = payload_value::kind;
    const Kind wanted = payload_value_of(report, "x") ? Kind::real : Kind::number;
    decoder::for_each_payload_value(report, [&](const payload_value &value) {
        if (value.type == wanted) {
            append_counter(out, report, value);
        }
    });
}

/** A trace is named by its subject, because its event is always the same. */
std::string instant_name(const _QorProfileReport &report) {
    if (report.type_id() == kTriggerType) {
        return component_and_event(report);
    }
    const std::optional<payload_value> subject = payload_value_of(report, "trace");
    if (!subject) {
        return std::string(decoder::event_name(report.category_id(), report.component_id(), report.event_id()));
    }
    return subject->text.empty() ? "trace " + std::to_string(subject->number) : std::string(subject->text);
}

bool is_slice(const _QorProfileReport &report) {
    return (report.type_id() == kFunctionType && payload_value_of(report, "function-id")) ||
           (report.type_id() == kExtFunctionType && payload_value_of(report, "function"));
}

} // namespace

std::string trace_start() {
    return "{\"displayTimeUnit\":\"ms\",\"traceEvents\":[" + name_event("process_name", kThreadsProcess, 0, "threads");
}

std::string trace_end() { return "\n]}\n"; }

void TraceEvents::append(text_buffer &out, const _QorProfileReport &report) {
    if (is_slice(report)) {
        append_slice(out, report);
        return;
    }
    name_category(out, report);
    if (is_sensor_value(report)) {
        append_counters(out, report);
    } else {
        append_instant(out, report);
    }
}

void TraceEvents::append_slice(text_buffer &out, const _QorProfileReport &report) {
    const bool is_plain = report.type_id() == kFunctionType;
    const std::uint64_t thread = number_of(report, is_plain ? "thread-id" : "thread");
    if (!_slices.knows(thread)) {
        out.append("," + name_event("thread_name", kThreadsProcess, thread, "thread " + std::to_string(thread)));
    }
    const std::uint64_t duration = std::min(number_of(report, "duration"), report.timestamp());
    const Slice slice = _slices.fit(thread, {report.timestamp() - duration, report.timestamp()});
    const std::optional<payload_value> function = payload_value_of(report, "function");
    const std::string name = is_plain ? "function " + std::to_string(number_of(report, "function-id"))
                                      : text_or_hex(function ? function->text : std::string_view());
    append_start(out, "X", name, slice.begin);
    out.append(",\"dur\":");
    append_number(out, slice.end - slice.begin);
    append_track(out, kThreadsProcess, thread);
    append_payload_arguments(out, report);
}

void TraceEvents::append_instant(text_buffer &out, const _QorProfileReport &report) {
    name_component(out, report);
    append_start(out, "i", instant_name(report), report.timestamp());
    // A trigger concerns the whole category, so viewers draw it across all of its tracks.
    out.append(report.type_id() == kTriggerType ? ",\"s\":\"p\"" : ",\"s\":\"t\"");
    append_track(out, category_process(report), report.component_id());
    append_payload_arguments(out, report);
}

void TraceEvents::name_category(text_buffer &out, const _QorProfileReport &report) {
    const std::uint8_t category = report.category_id();
    if (!_named_categories.test(category)) {
        _named_categories.set(category);
        out.append("," + name_event("process_name", category_process(report), 0, decoder::category_name(category)));
    }
}

void TraceEvents::name_component(text_buffer &out, const _QorProfileReport &report) {
    const std::uint8_t category = report.category_id();
    const std::uint8_t component = report.component_id();
    const std::size_t place = category * std::size_t{256} + component;
    if (!_named_components.test(place)) {
        _named_components.set(place);
        out.append("," + name_event("thread_name", category_process(report), component,
                                    decoder::component_name(category, component)));
    }
}

} // namespace cli
