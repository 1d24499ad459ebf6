#include "cli/reports/trace.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/reports/json_notation.h"
#include "cli/reports/marks.h"
#include "cli/reports/named_payload.h"
#include "cli/reports/payload_json.h"
#include "cli/terminal/json_values.h"
#include "decoder/digits.h"
#include "decoder/name_tables.h"
#include "decoder/payload_walk.h"
#include "host/utf8.h"
#include "qor/categories.h"

namespace cli {
namespace {

using decoder::put_literal;

/** Process ids of an input: one for all threads, then one for each category. */
constexpr unsigned kThreadsProcess = 1;
constexpr unsigned kFirstCategoryProcess = 10;
constexpr unsigned kProcessesOfInput = 1000;

/** The id of the type with this name. */
constexpr std::uint8_t type_of(std::string_view name) {
    return std::ranges::find(qor::kTypes, name, &qor::Type::name)->id;
}

constexpr std::uint8_t kEventType = type_of("event");
constexpr std::uint8_t kTriggerType = type_of("trigger");

constexpr qor::Field kSubject =
    *std::ranges::find(qor::kSSHBTrace.fields, std::string_view("trace"), &qor::Field::name);

/** The room for an event around its arguments, or for one that names a track. */
constexpr std::size_t kEventRoom = 1024;

/** The room for a name in JSON. */
constexpr std::size_t kNameRoom = OwnerName::kEscapedBytesAtMost + decoder::short_text::kCapacity;

/** Writes the event that gives a process or a thread its name, which must stand in JSON as it is. */
char *put_name_event(char *out, std::string_view kind, std::uint64_t process, std::uint64_t thread,
                     std::string_view name) {
    out = put_literal(out, "\n{\"ph\":\"M\",\"name\":\"");
    out = std::copy(kind.begin(), kind.end(), out);
    out = decoder::put_decimal(put_literal(out, "\",\"pid\":"), process);
    out = decoder::put_decimal(put_literal(out, ",\"tid\":"), thread);
    out = put_literal(out, ",\"args\":{\"name\":\"");
    out = std::copy(name.begin(), name.end(), out);
    return put_literal(out, "\"}}");
}

/** Appends the same after a comma. */
void append_name_event(text_buffer &out, std::string_view kind, std::uint64_t process, std::uint64_t thread,
                       std::string_view name) {
    text_stream stream(out);
    char *const event = put_literal(stream.room(kEventRoom + name.size()), ",");
    stream.commit(put_name_event(event, kind, process, thread, name));
    stream.flush();
}

bool is_sensor_value(const _QorProfileReport &report) {
    return report.type_id() == kEventType &&
           (report.category_id() == qor::kSensor || report.category_id() == qor::kVastrel);
}

/** Whether a field is one for `CounterEvents`, whatever the others are. */
bool is_shown_as_number(const qor::Field &field) {
    return field.how == qor::How::Number || field.how == qor::How::Constant || field.how == qor::How::FixedPoint;
}

/** Whether a payload has a vector, whose components are the only counters then. */
template <std::size_t payload>
constexpr bool kHasVector = [] {
    for (const qor::Layout *layout : decoder::kPayloads[payload]) {
        for (const qor::Field &field : layout->fields) {
            if (field.how == qor::How::FixedPoint) {
                return true;
            }
        }
    }
    return false;
}();

/**
 * A payload as counters, an event for each number: the components of the vector if there is one, otherwise every
 * number. Words are signed here: an axis crosses zero, and huge unsigned values would flatten everything else.
 */
struct CounterEvents {
    const TracePieces &pieces;
    decoder::text_of_at_most<32> time;

    template <typename Field>
    static constexpr std::size_t kRoom = sizeof(TracePieces) + 2 * Field::row.name.size() + 128;

    template <typename Field>
    char *put(char *out, decoder::number_value value) const {
        if constexpr (kHasVector<Field::payload>) {
            return out;
        } else {
            const auto number = static_cast<std::int32_t>(static_cast<std::uint32_t>(value.number));
            out = put_start<Field>(out);
            *out = '-';
            out += number < 0 ? 1 : 0;
            const std::int64_t wide = number;
            out = decoder::put_up_to_ten_digits(out, static_cast<std::uint64_t>(wide < 0 ? -wide : wide));
            return put_literal(out, "}}");
        }
    }

    template <typename Field>
    char *put(char *out, decoder::real_value value) const {
        return put_literal(json_numbers::put_real(put_start<Field>(out), value.number), "}}");
    }

    template <typename Field, typename Value>
    char *put(char *out, const Value &) const {
        return out;
    }

private:
    template <typename Field>
    [[gnu::always_inline]] char *put_start(char *out) const {
        static constexpr decoder::text_of_at_most<48> kEndOfName{{Field::row.name, "\",\"ts\":"}};
        static constexpr decoder::text_of_at_most<48> kKey{{"{\"", Field::row.name, "\":"}};
        out = decoder::put_constant<kEndOfName>(decoder::put(out, pieces.start));
        out = decoder::put(decoder::put(out, time), pieces.track);
        return decoder::put_constant<kKey>(out);
    }
};

/**
 * The same counters, prepared for all reports with a header; for none if a number is no word of the payload.
 * @param payload  of the header's reports.
 */
decoder::prepared_text prepare_counters(const TracePieces &pieces, std::size_t payload) {
    using decoder::prepared_text;
    std::vector<prepared_text::piece> texts;
    for (const qor::Layout *layout : decoder::kPayloads[payload]) {
        for (const qor::Field &field : layout->fields) {
            if (!is_shown_as_number(field)) {
                continue;
            }
            if (!decoder::is_word_of_payload(field)) {
                return {};
            }
            texts.insert(texts.end(), {{prepared_text::kind::text, pieces.start.view()},
                                       {prepared_text::kind::text, field.name},
                                       {prepared_text::kind::text, "\",\"ts\":"},
                                       {prepared_text::kind::number},
                                       {prepared_text::kind::text, pieces.track.view()},
                                       {prepared_text::kind::text, "{\""},
                                       {prepared_text::kind::text, field.name},
                                       {prepared_text::kind::text, "\":"},
                                       {prepared_text::kind::word, {}, decoder::word_of_payload(field)},
                                       {prepared_text::kind::text, "}}"}});
        }
    }
    return prepared_text(texts, prepared_text::words::are_signed);
}

/** The index of the payload that shows a function with an id, and nothing else. */
constexpr std::size_t kFunctionPayload =
    static_cast<std::size_t>(std::ranges::find_if(decoder::kPayloads,
                                                  [](const decoder::payload &shown) {
                                                      return shown[0] == &qor::kFunction && shown[1] == &qor::kNoLayout;
                                                  }) -
                             decoder::kPayloads.begin());

/**
 * A function's slice, prepared for all functions with an id: its first number is the beginning, the second the
 * duration. For none where functions have names.
 * @param process  what stands between the duration and the thread.
 */
decoder::prepared_text prepare_slice(std::string_view process, const OwnerNames *names) {
    using decoder::prepared_text;
    static constexpr const auto &kArguments =
        decoder::payload_walks::kRun<JsonMembers<JsonForDoubles>, kFunctionPayload, 0>;
    static_assert(kArguments.size() == qor::kFunction.fields.size());
    if (names != nullptr) {
        return {};
    }
    const std::size_t id = decoder::word_of_payload(function_calls::kId);
    const std::size_t thread = decoder::word_of_payload(function_calls::kThread);
    std::vector<prepared_text::piece> texts{{prepared_text::kind::text, ",\n{\"ph\":\"X\",\"name\":\"function "},
                                            {prepared_text::kind::word, {}, id},
                                            {prepared_text::kind::text, "\",\"ts\":"},
                                            {prepared_text::kind::number, {}, 0},
                                            {prepared_text::kind::text, ",\"dur\":"},
                                            {prepared_text::kind::number, {}, 1},
                                            {prepared_text::kind::text, process},
                                            {prepared_text::kind::word, {}, thread},
                                            {prepared_text::kind::text, ",\"args\":{"}};
    for (const decoder::shown_word &argument : kArguments) {
        const std::string_view key = argument.look.before.view();
        texts.push_back({prepared_text::kind::text, key.substr(&argument == &kArguments[0] ? 1 : 0)});
        texts.push_back({prepared_text::kind::word, {}, argument.number});
    }
    texts.push_back({prepared_text::kind::text, "}}"});
    return prepared_text(texts, prepared_text::words::are_unsigned);
}

/** Writes a text, or its bytes in hexadecimal if it is not UTF-8. */
char *put_text_or_hex(char *out, std::string_view text) {
    if (host::is_utf8(text)) {
        return put_json_text(out, text, "\"");
    }
    const auto *bytes = static_cast<const std::uint8_t *>(static_cast<const void *>(text.data()));
    return decoder::put_hexadecimal_pairs(out, {bytes, text.size()});
}

char *put_all(char *out, std::string_view text) { return std::copy(text.begin(), text.end(), out); }

/** A trace is named by its subject, because its event is always the same. Writes the name between its marks. */
char *put_subject(char *out, const _QorProfileReport &report, const OwnerNames *names) {
    const auto id = static_cast<std::uint32_t>(qor::load_number(report.bytes, kSubject));
    if (const decoder::short_text *name = decoder::sshb_subtype_table(report.component_id()).find_json(id)) {
        return decoder::put(out, *name);
    }
    if (const OwnerName *name = names != nullptr ? names->subject(report.component_id(), id) : nullptr) {
        return put_literal(put_all(put_literal(out, "\""), name->json), "\"");
    }
    return put_literal(decoder::put_up_to_ten_digits(put_literal(out, "\"trace "), id), "\"");
}

/** The process whose tracks are the components of the report's category. */
std::uint64_t category_process(std::uint64_t first_process, const _QorProfileReport &report) {
    return first_process + kFirstCategoryProcess + report.category_id();
}

/** Writes the inside of a JSON string: the name of an id, else the owner's, else its number. */
char *put_name(char *out, const decoder::name_table &table, std::uint8_t id, const OwnerName *name) {
    return name != nullptr && table.find_json(id) == nullptr
               ? put_all(out, name->json)
               : decoder::put_inside_of_quotes(out, decoder::json_name(table, id));
}

} // namespace

void fill_trace_pieces(TracePieces &pieces, const _QorProfileReport &report, TraceInput input) {
    const OwnerNames *const owner = input.names;
    const std::uint8_t component = report.component_id();
    const decoder::category_names &names = decoder::names_of_category(report.category_id());
    const bool is_trigger = report.type_id() == kTriggerType;
    const bool is_counter = is_sensor_value(report);

    char *const start = pieces.start.characters.data();
    char *at = put_literal(start, is_counter ? ",\n{\"ph\":\"C\",\"name\":\"" : ",\n{\"ph\":\"i\",\"name\":\"");
    if (is_trigger || is_counter) {
        at = put_name(at, names.components, component,
                      owner != nullptr ? owner->component(report.category_id(), component) : nullptr);
        *at++ = ' ';
    }
    at = put_name(at, names.events(component), report.event_id(),
                  owner != nullptr ? owner->event(report.category_id(), component, report.event_id()) : nullptr);
    at = is_counter ? put_literal(at, " ") : put_literal(at, "\",\"ts\":");
    pieces.start.size = static_cast<std::uint16_t>(at - start);

    // A trigger concerns the whole category, so viewers draw it across all of its tracks.
    char *const track = pieces.track.characters.data();
    at = is_counter ? track : put_literal(track, is_trigger ? ",\"s\":\"p\"" : ",\"s\":\"t\"");
    at = decoder::put_decimal(put_literal(at, ",\"pid\":"), category_process(input.first_process, report));
    at = decoder::put_up_to_eight_digits(put_literal(at, ",\"tid\":"), component);
    at = put_literal(at, ",\"args\":");
    pieces.track.size = static_cast<std::uint16_t>(at - track);
    // The four ids alone choose the payload of an event.
    pieces.counters = is_counter ? prepare_counters(pieces, decoder::payload_index(report)) : decoder::prepared_text();
}

std::string trace_start() { return "{\"displayTimeUnit\":\"ms\",\"traceEvents\":["; }

std::string trace_end() { return "\n]}\n"; }

TraceEvents::TraceEvents(const OwnerNames *names) : TraceEvents(TraceInput{names, 0}, "") {}

TraceEvents::TraceEvents(std::size_t number, std::string_view file, const OwnerNames *names)
    : TraceEvents(TraceInput{names, kProcessesOfInput * std::uint64_t{number}}, json_text_or_hex(file) + ": ") {}

TraceEvents::TraceEvents(TraceInput input, std::string name_start)
    : _input(input), _name_start(std::move(name_start)),
      _slice_process({",\"pid\":", std::to_string(input.first_process + kThreadsProcess), ",\"tid\":"}),
      _slice(prepare_slice(_slice_process.view(), input.names)) {}

void TraceEvents::begin(text_buffer &out, bool is_first) const {
    text_buffer event;
    append_process_name(event, _input.first_process + kThreadsProcess, "threads");
    out.append(event.text().substr(is_first ? 1 : 0));
}

void TraceEvents::append_process_name(text_buffer &out, std::uint64_t process, std::string_view name) const {
    append_name_event(out, "process_name", process, 0, _name_start + std::string(name));
}

void TraceEvents::append(text_buffer &out, const _QorProfileReport &report) {
    const std::size_t payload = decoder::payload_index(report);
    if (const std::optional<FunctionCall> call = function_call_of(report, payload)) {
        append_slice(out, report, payload, *call);
        return;
    }
    if (!_named_categories.test(report.category_id())) [[unlikely]] {
        name_category(out, report);
    }
    if (is_sensor_value(report)) {
        append_counters(out, report, payload);
    } else {
        append_instant(out, report, payload);
    }
}

void TraceEvents::append_mark(text_buffer &out, const Mark &mark) const {
    const SequenceBreak &what = mark.what;
    out.append(",\n{\"ph\":\"i\",\"name\":\"" + break_text(what) + "\",\"ts\":" + std::to_string(what.time) +
               ",\"s\":\"g\",\"pid\":" + std::to_string(_input.first_process + kThreadsProcess) +
               ",\"tid\":0,\"args\":{\"sequence_num\":" + std::to_string(what.number) + ",\"sequence_num_before\":" +
               std::to_string(what.number_before) + ",\"timestamp_before\":" + std::to_string(what.time_before) +
               ",\"further_breaks\":" + std::to_string(mark.further) + "}}");
}

void TraceEvents::append_slice(text_buffer &out, const _QorProfileReport &report, std::size_t payload,
                               const FunctionCall &call) {
    const auto [slice, is_first] = _slices.fit(call.thread, call.slice);
    if (is_first) {
        std::array<char, 32> number;
        const char *const end = decoder::put_decimal(put_literal(number.data(), "thread "), call.thread);
        const OwnerName *name = name_of(call.thread_field, call.thread);
        append_name_event(out, "thread_name", _input.first_process + kThreadsProcess, call.thread,
                          name != nullptr ? std::string_view(name->json) : std::string_view(number.data(), end));
    }
    text_stream stream(out);
    if (_slice.shows_anything() && payload == kFunctionPayload && decoder::can_be_prepared(slice.end)) {
        stream.commit(_slice.put(stream.room(_slice.room()), report, std::array{slice.begin, slice.end - slice.begin}));
        stream.flush();
        return;
    }
    char *at = stream.room(kEventRoom + (_input.names != nullptr ? kNamedPayloadJsonRoom : kPayloadJsonRoom));
    at = put_function_name(put_literal(at, ",\n{\"ph\":\"X\",\"name\":\""), call);
    at = decoder::put_decimal(put_literal(at, "\",\"ts\":"), slice.begin);
    at = decoder::put_decimal(put_literal(at, ",\"dur\":"), slice.end - slice.begin);
    at = decoder::put_up_to_ten_digits(decoder::put(at, _slice_process), call.thread);
    at = put_arguments(put_literal(at, ",\"args\":"), report, payload);
    stream.commit(put_literal(at, "}"));
    stream.flush();
}

char *TraceEvents::put_function_name(char *out, const FunctionCall &call) const {
    if (!call.has_id) {
        return put_text_or_hex(out, call.text);
    }
    const OwnerName *name = name_of(kFunctionIdField, call.id);
    return name != nullptr ? put_all(out, name->json) : decoder::put_decimal(put_literal(out, "function "), call.id);
}

void TraceEvents::append_counters(text_buffer &out, const _QorProfileReport &report, std::size_t payload) {
    const TracePieces &pieces = _pieces.of(report, _input);
    text_stream stream(out);
    if (pieces.counters.shows_anything() && decoder::can_be_prepared(report.timestamp())) {
        char *const at = stream.room(pieces.counters.room());
        stream.commit(pieces.counters.put(at, report, std::array{report.timestamp()}));
        stream.flush();
        return;
    }
    CounterEvents counters{pieces, {}};
    char *const time = counters.time.characters.data();
    counters.time.size = static_cast<std::uint16_t>(decoder::put_decimal(time, report.timestamp()) - time);
    stream.commit(decoder::put_payload_fields(stream.room(decoder::kPayloadRooms<CounterEvents>[payload]), report,
                                              payload, counters));
    stream.flush();
}

void TraceEvents::append_instant(text_buffer &out, const _QorProfileReport &report, std::size_t payload) {
    if (!_named_components.test(component_place(report))) [[unlikely]] {
        name_component(out, report);
    }
    const TracePieces &pieces = _pieces.of(report, _input);
    text_stream stream(out);
    char *at = stream.room(kEventRoom + (_input.names != nullptr ? kNamedPayloadJsonRoom : kPayloadJsonRoom));
    if (begins_with(payload, qor::kSSHBTrace)) {
        at = put_literal(put_subject(put_literal(at, ",\n{\"ph\":\"i\",\"name\":"), report, _input.names), ",\"ts\":");
    } else {
        at = decoder::put(at, pieces.start);
    }
    at = decoder::put(decoder::put_decimal(at, report.timestamp()), pieces.track);
    at = put_arguments(at, report, payload);
    stream.commit(put_literal(at, "}"));
    stream.flush();
}

char *TraceEvents::put_arguments(char *out, const _QorProfileReport &report, std::size_t payload) const {
    return _input.names != nullptr ? put_named_payload_json_for_doubles(out, report, payload, *_input.names)
                                   : put_payload_json_for_doubles(out, report, payload);
}

void TraceEvents::name_category(text_buffer &out, const _QorProfileReport &report) {
    const std::uint8_t category = report.category_id();
    _named_categories.set(category);
    const OwnerName *name = _input.names != nullptr ? _input.names->category(category) : nullptr;
    std::array<char, kNameRoom> text;
    const char *const end = put_name(text.data(), decoder::kCategoryTable, category, name);
    append_process_name(out, category_process(_input.first_process, report), {text.data(), end});
}

void TraceEvents::name_component(text_buffer &out, const _QorProfileReport &report) {
    const std::uint8_t category = report.category_id();
    const std::uint8_t component = report.component_id();
    _named_components.set(component_place(report));
    const OwnerName *name = _input.names != nullptr ? _input.names->component(category, component) : nullptr;
    std::array<char, kNameRoom> text;
    const char *const end = put_name(text.data(), decoder::names_of_category(category).components, component, name);
    append_name_event(out, "thread_name", category_process(_input.first_process, report), component,
                      {text.data(), end});
}

} // namespace cli
