#include "decoder/library/qordecoder.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string_view>

#include "decoder/name_tables.h"
#include "decoder/payload_choice.h"
#include "decoder/payload_walk.h"
#include "decoder/remembered_second.h"
#include "decoder/report_line.h"
#include "qor/meanings.h"

static_assert(QORDECODER_REPORT_SIZE == qor::kReportSize && QORDECODER_HEADER_FIELDS == std::size(qor::kHeaderFields));
static_assert(QORDECODER_LINE_ROOM >= decoder::kLineRoom && QORDECODER_ANY_VERSION == qor::kAnyVersion);

namespace {

// The tables of the interface, made from those of the decoder at compile time.

constexpr const char *c_string(std::string_view literal) {
    return literal.data()[literal.size()] == '\0' ? literal.data() : throw "a text of the tables must be a literal";
}

constexpr const char *stated(std::string_view text) {
    return text == qor::kNotStated ? nullptr : text == qor::kNoUnit ? "" : c_string(text);
}

constexpr std::uint8_t kind_of(qor::How how) {
    switch (how) {
    case qor::How::Number:
        return QORDECODER_NUMBER;
    case qor::How::Constant:
        return QORDECODER_CONSTANT;
    case qor::How::Hexadecimal:
        return QORDECODER_HEXADECIMAL;
    case qor::How::Text:
        return QORDECODER_TEXT;
    case qor::How::Bytes:
        return QORDECODER_BYTES;
    case qor::How::CountedBytes:
        return QORDECODER_COUNTED_BYTES;
    case qor::How::FixedPoint:
        return QORDECODER_FIXED_POINT;
    case qor::How::Subject:
        return QORDECODER_SUBJECT;
    case qor::How::Signed:
        break;
    }
    throw "fields of this kind need a kind in the interface";
}

constexpr qordecoder_field field_of(const qor::Field &row, const qor::FieldMeaning &meaning, std::uint8_t width) {
    return {.name = c_string(row.name),
            .unit = stated(meaning.unit),
            .meaning = stated(meaning.meaning),
            .offset = row.offset,
            .size = row.size,
            .kind = kind_of(row.how),
            .parameter = row.parameter,
            .width = width,
            .reserved = 0};
}

constexpr std::size_t kLayoutCount = std::size(qor::kLayoutMeanings);

/** The fields of all layouts, one layout after the other. */
constexpr auto kFields = [] {
    constexpr std::size_t kCount = [] {
        std::size_t count = 0;
        for (const qor::LayoutMeaning &row : qor::kLayoutMeanings) {
            count += row.layout->fields.size();
        }
        return count;
    }();
    std::array<qordecoder_field, kCount> fields{};
    auto *end = fields.data();
    for (const qor::LayoutMeaning &row : qor::kLayoutMeanings) {
        for (std::size_t i = 0; i < row.fields.size(); ++i) {
            const qor::Field &field = row.layout->fields[i];
            *end++ = field_of(field, row.fields[i], row.layout->width_of(field));
        }
    }
    return fields;
}();

constexpr auto kLayouts = [] {
    std::array<qordecoder_layout, kLayoutCount> layouts{};
    const qordecoder_field *fields = kFields.data();
    for (std::size_t i = 0; i < kLayoutCount; ++i) {
        const qor::LayoutMeaning &row = qor::kLayoutMeanings[i];
        layouts[i] = {c_string(row.layout->name), stated(row.meaning), fields, row.fields.size()};
        fields += row.fields.size();
    }
    return layouts;
}();

constexpr auto kHeaderFields = [] {
    std::array<qordecoder_field, QORDECODER_HEADER_FIELDS> fields{};
    for (std::size_t i = 0; i < fields.size(); ++i) {
        fields[i] = field_of(qor::kHeaderFields[i], qor::kHeaderMeanings[i], 0);
    }
    return fields;
}();

constexpr qordecoder_layout kHeaderLayout = {"header", "The header of every report", kHeaderFields.data(),
                                             kHeaderFields.size()};

constexpr std::size_t index_of(const qor::Layout &layout) {
    for (std::size_t i = 0; i < kLayoutCount; ++i) {
        if (qor::kLayoutMeanings[i].layout->name == layout.name) {
            return i;
        }
    }
    throw "every layout with fields has its meanings";
}

constexpr qordecoder_rule rule_of(std::uint32_t mask, std::uint32_t header, int version,
                                  const decoder::payload &payload) {
    qordecoder_rule rule{mask, header, version, 0, {}};
    for (const qor::Layout *layout : payload) {
        if (!layout->fields.empty()) {
            rule.layouts[rule.layout_count++] = &kLayouts[index_of(*layout)];
        }
    }
    return rule;
}

/** Where the rules for types begin, behind those of categories. */
constexpr std::size_t kTypeRules = decoder::payload_tables::kRuleCount;

/** The rules of categories in their order, with the category in the mask, then one rule for each type. */
constexpr auto kRules = [] {
    constexpr unsigned kCategoryShift = 24;
    std::array<qordecoder_rule, kTypeRules + decoder::payload_tables::kTypeCount> rules{};
    auto *end = rules.data();
    for (const qor::Category &category : qor::kCategories) {
        for (const qor::PayloadRule &rule : category.payloads) {
            const std::uint32_t id = category.id;
            *end++ = rule_of(rule.mask | 0xFFU << kCategoryShift, rule.header | id << kCategoryShift, rule.version,
                             rule.layouts);
        }
    }
    for (const qor::Type &type : qor::kTypes) {
        *end++ = rule_of(qor::kTypeAlone, type.id, qor::kAnyVersion, {type.layout, &qor::kNoLayout});
    }
    return rules;
}();

/** The occurrences of the fields of each rule's layouts, which stand one after the other. */
constexpr auto kOccurrences = [] {
    std::array<std::array<std::uint8_t, QORDECODER_MOST_FIELDS - QORDECODER_HEADER_FIELDS>, kRules.size()> all{};
    for (std::size_t rule = 0; rule < kRules.size(); ++rule) {
        std::array<std::string_view, QORDECODER_MOST_FIELDS - QORDECODER_HEADER_FIELDS> names{};
        auto *end = names.begin();
        for (std::size_t layout = 0; layout < kRules[rule].layout_count; ++layout) {
            for (const qordecoder_field &field :
                 std::span(kRules[rule].layouts[layout]->fields, kRules[rule].layouts[layout]->field_count)) {
                *end++ = field.name; // does not compile if a report has more than the most fields
                all[rule][static_cast<std::size_t>(end - names.begin()) - 1] =
                    static_cast<std::uint8_t>(std::count(names.begin(), end, end[-1]));
            }
        }
    }
    return all;
}();

/** The rule for an index into `decoder::kPayloads`, which has no payload first, then the types and the rules. */
const qordecoder_rule *rule_at(std::size_t payload) {
    using decoder::payload_tables::kTypeCount;
    if (payload == 0) {
        return nullptr;
    }
    return payload <= kTypeCount ? &kRules[kTypeRules + payload - 1] : &kRules[payload - 1 - kTypeCount];
}

decoder::device_clock device_clock_of(const qordecoder_clock *clock) {
    decoder::device_clock converted;
    if (clock != nullptr && clock->has_sync != 0) {
        converted.sync = decoder::time_sync{clock->sync_qor_ns, clock->sync_calendar_ns};
    }
    if (clock != nullptr && clock->has_boot_time != 0) {
        converted.boot_time = clock->boot_time_us;
    }
    return converted;
}

/** The name of an id as a C string; null if it has none. */
const char *name_in(const decoder::name_table &table, std::uint32_t id) {
    const decoder::short_text *const found = table.find(id);
    return found != nullptr ? table.entries[static_cast<std::size_t>(found - table.quoted_names)].name : nullptr;
}

std::size_t list(const decoder::name_table &table, qordecoder_name *names, std::size_t capacity) {
    const std::size_t count = std::min(table.entries.size(), capacity);
    std::transform(table.entries.begin(), table.entries.begin() + static_cast<std::ptrdiff_t>(count), names,
                   [](const qor::NamedId &row) {
                       return qordecoder_name{row.name, row.id, 0};
                   });
    return table.entries.size();
}

const decoder::name_table &events_of(std::uint32_t category, std::uint32_t component) {
    return decoder::names_of_category(category).events(component);
}

void set_name(qordecoder_value &value, const char *name) {
    value.text = name;
    value.size = name != nullptr ? std::strlen(name) : 0;
}

/** Appends fields to an array, and counts those that it has no room for as well. */
class FieldList {
public:
    FieldList(const std::uint8_t *report, qordecoder_value *values, std::size_t capacity)
        : _report(report), _values(values), _capacity(capacity) {}

    std::size_t size() const { return _size; }

    /** @return the new element; null if there is no room for it. */
    qordecoder_value *add(const qordecoder_layout &layout, const qordecoder_field &field, std::uint32_t occurrence) {
        if (_size++ >= _capacity) {
            return nullptr;
        }
        qordecoder_value &value = _values[_size - 1];
        value = {&layout, &field, 0, 0, nullptr, nullptr, 0, occurrence, 0};
        set_value(value);
        return &value;
    }

private:
    void set_value(qordecoder_value &value) const {
        const qordecoder_field &field = *value.field;
        const std::uint8_t *const place = _report + field.offset;
        switch (field.kind) {
        case QORDECODER_CONSTANT:
            value.number = field.parameter;
            break;
        case QORDECODER_TEXT:
            value.text = static_cast<const char *>(static_cast<const void *>(place));
            value.size = ::strnlen(value.text, field.size);
            break;
        case QORDECODER_BYTES:
            value.bytes = place;
            value.size = field.size;
            break;
        case QORDECODER_COUNTED_BYTES:
            value.bytes = place;
            value.size = std::min(field.size, qor::load_little_endian<std::uint16_t>(_report + field.parameter));
            break;
        case QORDECODER_FIXED_POINT:
            value.real = static_cast<double>(static_cast<std::int32_t>(number_of(field))) /
                         static_cast<double>(1U << field.parameter);
            break;
        case QORDECODER_SUBJECT:
            value.number = number_of(field);
            set_name(value, qordecoder_subject_name(_report[qor::header::kComponentId.offset],
                                                    static_cast<std::uint32_t>(value.number)));
            break;
        default:
            value.number = number_of(field);
        }
    }

    std::uint64_t number_of(const qordecoder_field &field) const {
        return qor::load_number(_report, {field.name, field.offset, field.size, qor::How::Number});
    }

    const std::uint8_t *_report;
    qordecoder_value *_values;
    std::size_t _capacity;
    std::size_t _size = 0;
};

/** The names of the header's fields, in their order; null for numbers that are no ids. */
std::array<const char *, QORDECODER_HEADER_FIELDS> header_names(const _QorProfileReport &report) {
    const std::uint32_t category = report.category_id();
    const std::uint32_t component = report.component_id();
    return {qordecoder_type_name(report.type_id()),
            qordecoder_event_name(category, component, report.event_id()),
            qordecoder_component_name(category, component),
            qordecoder_category_name(category),
            nullptr,
            nullptr};
}

} // namespace

const char *qordecoder_version() noexcept { return QORDECODER_VERSION; }

size_t qordecoder_describe(const void *report, const qordecoder_clock *clock, char *text, size_t size) noexcept {
    char storage[decoder::kLineRoom];
    text_buffer buffer(storage);
    if (report != nullptr) {
        decoder::append_line(buffer, _QorProfileReport::copied_from(report), device_clock_of(clock));
    }
    if (size > 0) {
        *std::copy_n(storage, std::min(buffer.size(), size - 1), text) = '\0';
    }
    return buffer.size();
}

size_t qordecoder_describe_many(const void *reports, size_t count, const qordecoder_clock *clock, char *text,
                                size_t size, size_t *length) noexcept {
    const decoder::unchanging_zone zone;
    const decoder::device_clock device_clock = device_clock_of(clock);
    const auto *report = static_cast<const std::uint8_t *>(reports);
    char storage[QORDECODER_LINE_ROOM];
    text_buffer line(storage);
    std::size_t described = 0;
    *length = 0;
    if (report == nullptr) {
        return 0;
    }
    for (; described < count; ++described, report += QORDECODER_REPORT_SIZE) {
        line.clear();
        decoder::append_line(line, _QorProfileReport::copied_from(report), device_clock);
        line.append("\n");
        if (line.size() > size - *length) {
            break;
        }
        std::copy_n(storage, line.size(), text + *length);
        *length += line.size();
    }
    return described;
}

bool qordecoder_calendar_time(const qordecoder_clock *clock, uint64_t timestamp_us, uint64_t *calendar_us) noexcept {
    if (clock == nullptr || clock->has_sync == 0) {
        return false;
    }
    *calendar_us = decoder::wall_time(timestamp_us, {clock->sync_qor_ns, clock->sync_calendar_ns});
    return true;
}

const qordecoder_layout *qordecoder_header_layout() noexcept { return &kHeaderLayout; }

const qordecoder_layout *qordecoder_layouts(size_t *count) noexcept {
    *count = kLayouts.size();
    return kLayouts.data();
}

const qordecoder_rule *qordecoder_rules(size_t *count) noexcept {
    *count = kRules.size();
    return kRules.data();
}

const qordecoder_rule *qordecoder_rule_of(const void *report) noexcept {
    return report != nullptr ? rule_at(decoder::payload_index(_QorProfileReport::copied_from(report))) : nullptr;
}

size_t qordecoder_fields(const void *report, qordecoder_value *values, size_t capacity) noexcept {
    if (report == nullptr) {
        return 0;
    }
    FieldList list(static_cast<const std::uint8_t *>(report), values, capacity);
    const auto names = header_names(_QorProfileReport::copied_from(report));
    for (std::size_t i = 0; i < kHeaderFields.size(); ++i) {
        if (qordecoder_value *const value = list.add(kHeaderLayout, kHeaderFields[i], 1)) {
            set_name(*value, names[i]);
        }
    }
    const qordecoder_rule *const rule = qordecoder_rule_of(report);
    if (rule == nullptr) {
        return list.size();
    }
    const std::uint8_t *occurrence = kOccurrences[static_cast<std::size_t>(rule - kRules.data())].data();
    for (const qordecoder_layout *layout : std::span(rule->layouts, rule->layout_count)) {
        for (const qordecoder_field &field : std::span(layout->fields, layout->field_count)) {
            list.add(*layout, field, *occurrence++);
        }
    }
    return list.size();
}

const char *qordecoder_category_name(uint32_t category) noexcept { return name_in(decoder::kCategoryTable, category); }

const char *qordecoder_component_name(uint32_t category, uint32_t component) noexcept {
    return name_in(decoder::names_of_category(category).components, component);
}

const char *qordecoder_event_name(uint32_t category, uint32_t component, uint32_t event) noexcept {
    return name_in(events_of(category, component), event);
}

const char *qordecoder_type_name(uint32_t type) noexcept { return name_in(decoder::kTypeTable, type); }

const char *qordecoder_subject_name(uint32_t component, uint32_t subject) noexcept {
    return name_in(decoder::sshb_subtype_table(component), subject);
}

size_t qordecoder_categories(qordecoder_name *names, size_t capacity) noexcept {
    return list(decoder::kCategoryTable, names, capacity);
}

size_t qordecoder_components(uint32_t category, qordecoder_name *names, size_t capacity) noexcept {
    return list(decoder::names_of_category(category).components, names, capacity);
}

size_t qordecoder_events(uint32_t category, uint32_t component, qordecoder_name *names, size_t capacity) noexcept {
    return list(events_of(category, component), names, capacity);
}

size_t qordecoder_types(qordecoder_name *names, size_t capacity) noexcept {
    return list(decoder::kTypeTable, names, capacity);
}

size_t qordecoder_subjects(uint32_t component, qordecoder_name *names, size_t capacity) noexcept {
    return list(decoder::sshb_subtype_table(component), names, capacity);
}
