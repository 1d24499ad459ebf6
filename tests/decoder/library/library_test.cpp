// The C library of the decoder against the oracle, the decoder's JSON, and its own tables.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <dlfcn.h>
#include <nlohmann/json.hpp>

#include "cli/reports/payload_json.h"
#include "decoder/library/qordecoder.h"
#include "decoder/name_tables.h"
#include "decoder/payload_choice.h"
#include "host/utf8.h"
#include "qor/meanings.h"
#include "tests/decoder/oracle.h"
#include "tests/decoder/report_generator.h"
#include "tests/decoder/time_zone_environment.h"

namespace {

using Json = nlohmann::ordered_json;
using oracle::Clock;
using oracle::Report;
using oracle::ReportGenerator;
using testing::ElementsAre;
using testing::StartsWith;

/** How often memory was asked for by the operator, also by the library, which uses the program's. */
std::size_t allocations = 0;

/** How often a time was converted to local time. */
std::size_t conversions = 0;

} // namespace

void *operator new[](std::size_t size) {
    ++allocations;
    if (void *const memory = std::malloc(size)) { // NOLINT(cppcoreguidelines-no-malloc): what the operator is for
        return memory;
    }
    throw std::bad_alloc();
}
void operator delete[](void *memory) noexcept { std::free(memory); }
void operator delete[](void *memory, std::size_t) noexcept { std::free(memory); }

/** In the place of the C library's, which it counts, also for the library: the loader looks here first. */
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the names there are reserved
extern "C" std::tm *localtime_r(const std::time_t *time, std::tm *local) noexcept {
    static auto *const original = reinterpret_cast<decltype(&localtime_r)>(dlsym(RTLD_NEXT, "localtime_r"));
    ++conversions;
    return original(time, local);
}

namespace {

constexpr int kReports = 20'000;

qordecoder_clock clock_of(const Clock &clock) {
    qordecoder_clock converted{};
    if (clock.time_sync) {
        converted.has_sync = 1;
        converted.sync_qor_ns = static_cast<std::uint64_t>(clock.time_sync->qor);
        converted.sync_calendar_ns = static_cast<std::uint64_t>(clock.time_sync->calendar);
    }
    if (clock.boot_time) {
        converted.has_boot_time = 1;
        converted.boot_time_us = *clock.boot_time;
    }
    return converted;
}

/** Reports of all kinds, one after the other. */
Report next_report(ReportGenerator &generator) {
    return generator.report_of_kind(generator.below(ReportGenerator::kKinds));
}

std::vector<qordecoder_value> fields_of(const Report &report) {
    std::vector<qordecoder_value> values(QORDECODER_MOST_FIELDS);
    values.resize(qordecoder_fields(report.data(), values.data(), values.size()));
    return values;
}

std::string describe(const Report &report, const qordecoder_clock *clock) {
    std::string text(QORDECODER_LINE_ROOM, '\0');
    text.resize(qordecoder_describe(report.data(), clock, text.data(), text.size()));
    return text;
}

TEST(QorDecoderDescribe, IsTheLineOfTheOracle) {
    ReportGenerator generator(1);
    for (int i = 0; i < kReports; ++i) {
        const Report report = next_report(generator);
        const Clock clock = generator.clock(report);
        const qordecoder_clock converted = clock_of(clock);

        ASSERT_EQ(describe(report, &converted), oracle::describe(report.data(), clock));
    }
}

TEST(QorDecoderDescribe, TakesNoClockAsOneOfWhichNothingIsKnown) {
    const Report report = ReportGenerator(2).generic_report();
    const qordecoder_clock unknown{};

    EXPECT_EQ(describe(report, nullptr), oracle::describe(report.data(), {}));
    EXPECT_EQ(describe(report, &unknown), oracle::describe(report.data(), {}));
}

TEST(QorDecoderDescribe, ShowsTheBootTimeOfTheClock) {
    qordecoder_clock clock{};
    clock.has_boot_time = 1;
    clock.boot_time_us = 1'759'992'798'520'000;

    EXPECT_THAT(describe(Report{}, &clock), testing::EndsWith(", 'boot-timestamp':1759992798520000}"));
}

TEST(QorDecoderDescribe, TakesAnyNumberButZeroAsYes) {
    const Report report = ReportGenerator(2).generic_report();
    qordecoder_clock clock = clock_of({oracle::TimeSync{0, 1'700'000'000'000'000'000}, 5});
    const std::string line = describe(report, &clock);
    EXPECT_NE(line, describe(report, nullptr));

    clock.has_sync = 255;
    clock.has_boot_time = 2;
    EXPECT_EQ(describe(report, &clock), line);
    std::uint64_t time = 0;
    EXPECT_TRUE(qordecoder_calendar_time(&clock, 1, &time));
}

TEST(QorDecoderDescribe, WritesNothingBehindTheSizeAndTellsTheWholeLength) {
    const Report report = ReportGenerator(3).sshb_report();
    const std::string line = describe(report, nullptr);
    for (std::size_t size = 0; size <= line.size() + 2; ++size) {
        std::string text(line.size() + 64, '#');

        EXPECT_EQ(qordecoder_describe(report.data(), nullptr, text.data(), size), line.size());

        const std::size_t kept = size == 0 ? 0 : std::min(size - 1, line.size());
        const std::string_view end = size == 0 ? std::string_view() : std::string_view("\0", 1);
        EXPECT_EQ(text.substr(0, kept + end.size()), line.substr(0, kept) + std::string(end)) << size;
        EXPECT_EQ(text.find_first_not_of('#', kept + end.size()), std::string::npos) << size;
    }
    EXPECT_EQ(qordecoder_describe(report.data(), nullptr, nullptr, 0), line.size());
}

TEST(QorDecoderDescribe, OfNoReportIsAnEmptyText) {
    char text[] = "#";

    EXPECT_EQ(qordecoder_describe(nullptr, nullptr, text, sizeof text), 0u);
    EXPECT_STREQ(text, "");
}

TEST(QorDecoderDescribe, NeedsNoMemoryFromTheHeap) {
    ReportGenerator generator(4);
    std::vector<char> text(QORDECODER_LINE_ROOM);
    for (int i = 0; i < kReports / 10; ++i) {
        const Report report = next_report(generator);
        const qordecoder_clock clock = clock_of(generator.clock(report));
        std::size_t length = 0;
        allocations = 0;
        (void)qordecoder_describe(report.data(), &clock, text.data(), text.size());
        (void)qordecoder_describe_many(report.data(), 1, &clock, text.data(), text.size(), &length);

        ASSERT_EQ(allocations, 0u);
    }
    const std::unique_ptr<char[]> counted(new char[1]);
    EXPECT_EQ(allocations, 1u);
}

class QorDecoderDescribeMany : public testing::Test {
protected:
    static constexpr std::size_t kCount = 500;

    QorDecoderDescribeMany() {
        ReportGenerator generator(5);
        for (std::size_t i = 0; i < kCount; ++i) {
            const Report report = next_report(generator);
            dump.insert(dump.end(), report.begin(), report.end());
            lines.push_back(describe(report, &clock) + "\n");
        }
    }

    std::vector<unsigned char> dump;
    qordecoder_clock clock = clock_of({oracle::TimeSync{0, 1'700'000'000'000'000'000}, 5});
    std::vector<std::string> lines;
};

TEST_F(QorDecoderDescribeMany, WritesAsManyWholeLinesAsFit) {
    for (const std::size_t size : {std::size_t{4096}, std::size_t{5000}, std::size_t{100'000}}) {
        std::string all;
        std::size_t done = 0;
        while (done < kCount) {
            std::string text(size + 1, '#');
            std::size_t length = 0;
            const std::size_t count = qordecoder_describe_many(dump.data() + done * QORDECODER_REPORT_SIZE,
                                                               kCount - done, &clock, text.data(), size, &length);

            ASSERT_GT(count, 0u);
            ASSERT_LE(length, size);
            EXPECT_EQ(text.find_first_not_of('#', length), std::string::npos);
            done += count;
            EXPECT_TRUE(done == kCount || length + lines[done].size() > size) << "one more would have fitted";
            all += text.substr(0, length);
        }
        std::string expected;
        for (const std::string &line : lines) {
            expected += line;
        }
        EXPECT_EQ(all, expected);
    }
}

TEST_F(QorDecoderDescribeMany, FillsARoomToItsLastByte) {
    std::string text(lines[0].size(), '#');
    std::size_t length = 1;

    EXPECT_EQ(qordecoder_describe_many(dump.data(), kCount, &clock, text.data(), text.size() - 1, &length), 0u);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(qordecoder_describe_many(dump.data(), kCount, &clock, text.data(), text.size(), &length), 1u);
    EXPECT_EQ(text, lines[0]);
}

TEST_F(QorDecoderDescribeMany, OfNoReportsWritesNothing) {
    std::size_t length = 1;

    EXPECT_EQ(qordecoder_describe_many(nullptr, kCount, &clock, nullptr, 0, &length), 0u);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(qordecoder_describe_many(dump.data(), 0, &clock, nullptr, 0, &length), 0u);
}

TEST_F(QorDecoderDescribeMany, ConvertsTheSecondThatNeighboursShareOnce) {
    const std::vector<unsigned char> zeros(std::size_t{20} * QORDECODER_REPORT_SIZE);
    std::string text(std::size_t{20} * QORDECODER_LINE_ROOM, '\0');
    std::size_t length = 0;
    conversions = 0;

    EXPECT_EQ(qordecoder_describe_many(zeros.data(), 20, &clock, text.data(), text.size(), &length), 20u);

    EXPECT_EQ(conversions, 1u);
}

// A dump in two time zones: no call remembers the zone of the one before it.
TEST_F(QorDecoderDescribeMany, LooksAtTheTimeZoneInEachCall) {
    std::array<std::string, 2> times;
    for (std::size_t i = 0; i < times.size(); ++i) {
        setenv("TZ", i == 0 ? "UTC0" : "XYZ-5", 1); // NOLINT(concurrency-mt-unsafe): no other thread
        tzset();
        std::string text(QORDECODER_LINE_ROOM, '\0');
        std::size_t length = 0;
        (void)qordecoder_describe_many(Report{}.data(), 1, &clock, text.data(), text.size(), &length);
        const std::size_t begin = text.find("'calendar-time':'");
        times[i] = text.substr(begin, text.find(',', begin) - begin);
    }
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1); // NOLINT(concurrency-mt-unsafe): no other thread
    tzset();

    EXPECT_THAT(times,
                ElementsAre("'calendar-time':'Nov 14 22:13:20.000000'", "'calendar-time':'Nov 15 03:13:20.000000'"));
}

TEST(QorDecoderCalendarTime, IsThatOfTheSynchronisation) {
    const qordecoder_clock clock = clock_of({oracle::TimeSync{2'000'000'500, 1'700'000'000'000'000'000}, {}});
    std::uint64_t time = 0;

    EXPECT_TRUE(qordecoder_calendar_time(&clock, 2'000'001, &time));
    EXPECT_EQ(time, 1'700'000'000'000'000u);
    EXPECT_TRUE(qordecoder_calendar_time(&clock, 5'000'000, &time));
    EXPECT_EQ(time, 1'700'000'002'999'999u);
}

TEST(QorDecoderCalendarTime, IsUnknownWithoutASynchronisation) {
    const qordecoder_clock unknown{};
    std::uint64_t time = 7;

    EXPECT_FALSE(qordecoder_calendar_time(nullptr, 1, &time));
    EXPECT_FALSE(qordecoder_calendar_time(&unknown, 1, &time));
    EXPECT_EQ(time, 7u);
}

/** The value as the decoder's JSON has it. */
Json json_of(const qordecoder_value &value) {
    switch (value.field->kind) {
    case QORDECODER_FIXED_POINT:
        return value.real;
    case QORDECODER_SUBJECT:
        return value.text != nullptr ? std::string(value.text, value.size) : std::to_string(value.number);
    case QORDECODER_TEXT:
        return std::string(value.text, value.size);
    case QORDECODER_BYTES:
    case QORDECODER_COUNTED_BYTES: {
        std::string digits;
        for (std::size_t i = 0; i < value.size; ++i) {
            static constexpr char kDigits[] = "0123456789abcdef";
            digits += {kDigits[value.bytes[i] / 16], kDigits[value.bytes[i] % 16]};
        }
        return digits;
    }
    default:
        return value.number;
    }
}

/** The payload from the library's fields, in the form of the decoder's JSON. */
Json payload_of(const Report &report) {
    Json payload = Json::object();
    const std::vector<qordecoder_value> values = fields_of(report);
    for (std::size_t i = QORDECODER_HEADER_FIELDS; i < values.size(); ++i) {
        const qordecoder_value &value = values[i];
        std::string key = value.field->name;
        key += value.occurrence > 1 ? "_" + std::to_string(value.occurrence) : "";
        if (value.field->kind == QORDECODER_TEXT && !host::is_utf8({value.text, value.size})) {
            qordecoder_field as_bytes = *value.field;
            as_bytes.kind = QORDECODER_BYTES;
            qordecoder_value bytes = value;
            bytes.field = &as_bytes;
            bytes.bytes = report.data() + value.field->offset;
            payload[key + "_hex"] = json_of(bytes);
        } else {
            payload[key] = json_of(value);
        }
    }
    return payload;
}

TEST(QorDecoderFields, AreThoseOfTheDecodersJson) {
    ReportGenerator generator(6);
    std::map<std::string, int> layouts;
    for (int i = 0; i < kReports; ++i) {
        const Report report = next_report(generator);
        const _QorProfileReport copy = _QorProfileReport::copied_from(report.data());
        std::string text(cli::kPayloadJsonRoom, '\0');
        text.resize(static_cast<std::size_t>(cli::put_payload_json(text.data(), copy, decoder::payload_index(copy)) -
                                             text.data()));
        Json expected = Json::parse(text);
        if (expected.begin().key() == "raw") {
            expected = Json::object();
        }

        ASSERT_EQ(payload_of(report), expected) << text;
        for (const qordecoder_value &value : fields_of(report)) {
            ++layouts[value.layout->name];
        }
    }
    std::size_t layout_count = 0;
    qordecoder_layouts(&layout_count);
    EXPECT_EQ(layouts.size(), layout_count + 1) << "every layout was reached, and the header's";
}

TEST(QorDecoderFields, BeginWithTheHeader) {
    Report report{};
    const unsigned char header[] = {3, 4, 3, 7, 0x78, 0x56, 0x34, 0x12, 1, 2, 3, 4, 5, 6, 7, 8};
    std::copy(std::begin(header), std::end(header), report.begin());

    const std::vector<qordecoder_value> values = fields_of(report);

    ASSERT_GE(values.size(), 6u);
    std::vector<std::string> shown;
    for (const qordecoder_value &value : std::span(values).first(6)) {
        shown.push_back(std::string(value.field->name) + "=" + std::to_string(value.number) + " " +
                        (value.text != nullptr ? std::string(value.text, value.size) : "-"));
        EXPECT_STREQ(value.layout->name, "header");
        EXPECT_EQ(value.occurrence, 1u);
    }
    EXPECT_THAT(shown, ElementsAre("type-id=3 event", testing::StartsWith("event-id=4 "), "component-id=3 latency",
                                   "category-id=7 sshb", "sequence_num=305419896 -", "timestamp=578437695752307201 -"));
    EXPECT_STREQ(values[5].field->unit, "microseconds");
    EXPECT_STREQ(values[0].field->unit, "");
}

TEST(QorDecoderFields, StoreNoMoreThanThereIsRoomFor) {
    const Report report = ReportGenerator(7).sshb_report();
    const std::vector<qordecoder_value> all = fields_of(report);
    ASSERT_GT(all.size(), 6u);
    for (std::size_t capacity = 0; capacity <= all.size(); ++capacity) {
        std::vector<qordecoder_value> values(all.size() + 1);

        EXPECT_EQ(qordecoder_fields(report.data(), values.data(), capacity), all.size());

        for (std::size_t i = 0; i < values.size(); ++i) {
            EXPECT_EQ(values[i].field, i < capacity ? all[i].field : nullptr);
        }
    }
    EXPECT_EQ(qordecoder_fields(report.data(), nullptr, 0), all.size());
    EXPECT_EQ(qordecoder_fields(nullptr, nullptr, 0), 0u);
}

/** The rule that applies, as the header file says it. */
const qordecoder_rule *find_rule(const Report &report) {
    std::size_t count = 0;
    const qordecoder_rule *const rules = qordecoder_rules(&count);
    const std::uint32_t header = report[0] | static_cast<std::uint32_t>(report[1]) << 8 |
                                 static_cast<std::uint32_t>(report[2]) << 16 |
                                 static_cast<std::uint32_t>(report[3]) << 24;
    const int version = report[16] | report[17] << 8;
    const qordecoder_rule *const found = std::find_if(rules, rules + count, [&](const qordecoder_rule &rule) {
        return (header & rule.header_mask) == rule.header && (rule.version == -1 || rule.version == version);
    });
    return found != rules + count ? found : nullptr;
}

TEST(QorDecoderRules, GiveEachReportTheLayoutsOfTheDecoder) {
    ReportGenerator generator(8);
    for (int i = 0; i < kReports; ++i) {
        const Report report = next_report(generator);
        const _QorProfileReport copy = _QorProfileReport::copied_from(report.data());
        std::vector<std::string_view> expected;
        for (const qor::Layout *layout : decoder::kPayloads[decoder::payload_index(copy)]) {
            if (!layout->fields.empty()) {
                expected.push_back(layout->name);
            }
        }

        const qordecoder_rule *const rule = find_rule(report);

        ASSERT_EQ(qordecoder_rule_of(report.data()), rule);
        std::vector<std::string_view> found;
        for (std::size_t layout = 0; rule != nullptr && layout < 2; ++layout) {
            ASSERT_EQ(rule->layouts[layout] != nullptr, layout < rule->layout_count);
            if (rule->layouts[layout] != nullptr) {
                found.emplace_back(rule->layouts[layout]->name);
            }
        }
        ASSERT_EQ(found, expected);
    }
    EXPECT_EQ(qordecoder_rule_of(nullptr), nullptr);
}

TEST(QorDecoderLayouts, HaveNamesOfTheirOwnAndStayInsideOfTheReport) {
    std::size_t count = 0;
    const qordecoder_layout *const layouts = qordecoder_layouts(&count);
    std::map<std::string, int> names;
    for (const qordecoder_layout &layout : std::span(layouts, count)) {
        EXPECT_EQ(++names[layout.name], 1) << layout.name;
        ASSERT_GT(layout.field_count, 0u);
        for (const qordecoder_field &field : std::span(layout.fields, layout.field_count)) {
            EXPECT_LE(field.offset + field.size, 48) << field.name;
            EXPECT_TRUE(field.unit == nullptr || std::string_view(field.unit) != "none") << field.name;
        }
    }
    EXPECT_EQ(names.count("sensorinfo"), 1u);
    EXPECT_EQ(names.count("header"), 0u);
}

/** A text of the tables as the interface has it. */
std::optional<std::string> told(std::string_view text) {
    return text == "not stated" ? std::nullopt : std::optional<std::string>(text == "none" ? "" : text);
}

std::optional<std::string> text_of(const char *text) {
    return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

/** @param width_of  the width of each field in lines. */
template <typename WidthOf>
void expect_fields(const qordecoder_layout &layout, std::span<const qor::Field> fields,
                   std::span<const qor::FieldMeaning> meanings, const WidthOf &width_of) {
    ASSERT_EQ(layout.field_count, fields.size());
    for (std::size_t i = 0; i < fields.size(); ++i) {
        SCOPED_TRACE(std::string(layout.name) + "." + layout.fields[i].name);
        const qordecoder_field &field = layout.fields[i];
        EXPECT_EQ(field.name, fields[i].name);
        EXPECT_EQ(text_of(field.unit), told(meanings[i].unit));
        EXPECT_EQ(text_of(field.meaning), told(meanings[i].meaning));
        EXPECT_EQ(field.offset, fields[i].offset);
        EXPECT_EQ(field.size, fields[i].size);
        EXPECT_EQ(field.parameter, fields[i].parameter);
        EXPECT_EQ(field.width, width_of(fields[i]));
        EXPECT_EQ(field.reserved, 0);
    }
}

TEST(QorDecoderLayouts, SayWhatTheTablesOfTheSystemSay) {
    std::size_t count = 0;
    const qordecoder_layout *const layouts = qordecoder_layouts(&count);
    ASSERT_EQ(count, std::size(qor::kLayoutMeanings));
    for (std::size_t i = 0; i < count; ++i) {
        const qor::LayoutMeaning &row = qor::kLayoutMeanings[i];
        EXPECT_EQ(layouts[i].name, row.layout->name);
        EXPECT_EQ(text_of(layouts[i].meaning), told(row.meaning));
        expect_fields(layouts[i], row.layout->fields, row.fields,
                      [&](const qor::Field &field) { return row.layout->width_of(field); });
    }

    const qordecoder_layout &header = *qordecoder_header_layout();
    EXPECT_STREQ(header.meaning, "The header of every report");
    expect_fields(header, qor::kHeaderFields, qor::kHeaderMeanings, [](const qor::Field &) { return 0; });
}

TEST(QorDecoderLayouts, TellWhereAFieldIsAndWhatItIs) {
    std::size_t count = 0;
    const qordecoder_layout *const layouts = qordecoder_layouts(&count);
    const auto *const long_data = std::find_if(
        layouts, layouts + count, [](const qordecoder_layout &l) { return std::string_view(l.name) == "long-data"; });
    ASSERT_NE(long_data, layouts + count);
    ASSERT_EQ(long_data->field_count, 5u);

    const qordecoder_field &subtype = long_data->fields[0];
    EXPECT_STREQ(subtype.name, "subtype");
    EXPECT_EQ(subtype.unit, nullptr);
    EXPECT_EQ(subtype.meaning, nullptr);
    EXPECT_EQ(subtype.offset, 16);
    EXPECT_EQ(subtype.size, 2);
    EXPECT_EQ(subtype.width, 10);
    const qordecoder_field &data = long_data->fields[4];
    EXPECT_STREQ(data.unit, "");
    EXPECT_THAT(data.meaning, StartsWith("the bytes themselves"));
    EXPECT_EQ(data.kind, QORDECODER_COUNTED_BYTES);
    EXPECT_EQ(data.parameter, 20);
    EXPECT_EQ(data.size, 24);
}

using NamesById = std::map<std::uint32_t, std::string>;

/** A list, taken in one go and again with room for one name less. */
template <typename List>
NamesById taken(const List &list) {
    const std::size_t count = list(nullptr, 0);
    std::vector<qordecoder_name> names(count + 1);
    EXPECT_EQ(list(names.data(), names.size()), count);
    EXPECT_EQ(names.back().name, nullptr);
    NamesById taken;
    for (std::size_t i = 0; i < count; ++i) {
        EXPECT_TRUE(i == 0 || names[i - 1].id < names[i].id);
        taken[names[i].id] = names[i].name;
    }
    if (count > 0) {
        names.assign(count, {});
        EXPECT_EQ(list(names.data(), count - 1), count);
        EXPECT_EQ(names.back().name, nullptr);
    }
    return taken;
}

/** The same by asking for every id up to 299 and one far behind. */
template <typename Look>
NamesById looked_up(const Look &look) {
    NamesById found;
    for (std::uint32_t id = 0; id < 300; ++id) {
        if (const char *const name = look(id)) {
            found[id] = name;
        }
    }
    EXPECT_EQ(look(0xFFFF'FFFF), nullptr);
    return found;
}

TEST(QorDecoderNames, AreTheSameInListsAndOneByOne) {
    EXPECT_EQ(taken(qordecoder_categories), looked_up(qordecoder_category_name));
    EXPECT_EQ(taken(qordecoder_types), looked_up(qordecoder_type_name));
    for (std::uint32_t category = 0; category < 13; ++category) {
        EXPECT_EQ(taken([=](qordecoder_name *names, std::size_t room) {
                      return qordecoder_components(category, names, room);
                  }),
                  looked_up([=](std::uint32_t id) { return qordecoder_component_name(category, id); }));
        for (std::uint32_t component = 0; component < 10; ++component) {
            EXPECT_EQ(taken([=](qordecoder_name *names, std::size_t room) {
                          return qordecoder_events(category, component, names, room);
                      }),
                      looked_up([=](std::uint32_t id) { return qordecoder_event_name(category, component, id); }));
        }
    }
}

TEST(QorDecoderNames, AreThoseOfLines) {
    const auto expect = [](const char *name, std::string_view shown, std::uint32_t id) {
        EXPECT_EQ(name != nullptr ? name : std::to_string(id), shown);
    };
    for (unsigned id = 0; id < 256; ++id) {
        const auto byte = static_cast<std::uint8_t>(id);
        expect(qordecoder_category_name(id), decoder::category_name(byte), id);
        expect(qordecoder_type_name(id), decoder::type_name(byte), id);
        for (std::uint8_t category = 0; category < 13; ++category) {
            expect(qordecoder_component_name(category, id), decoder::component_name(category, byte), id);
            for (std::uint8_t component = 0; component < 10; ++component) {
                expect(qordecoder_event_name(category, component, id), decoder::event_name(category, component, byte),
                       id);
            }
        }
    }
}

TEST(QorDecoderNames, OfSubjectsAreThoseOfTraces) {
    for (std::uint32_t component = 0; component < 10; ++component) {
        const NamesById subjects = taken(
            [=](qordecoder_name *names, std::size_t room) { return qordecoder_subjects(component, names, room); });
        for (const auto &[id, name] : subjects) {
            EXPECT_STREQ(qordecoder_subject_name(component, id), name.c_str());
            EXPECT_EQ(oracle::sshb_trace_name(component, id), name);
        }
        EXPECT_EQ(subjects.empty(), component > 4) << component;
        EXPECT_EQ(qordecoder_subject_name(component, 0x7FFF'FFFF), nullptr);
    }
}

TEST(QorDecoderNames, OfUnknownCategoriesAreNone) {
    EXPECT_EQ(qordecoder_components(0xFFFF'FFFF, nullptr, 0), 0u);
    EXPECT_EQ(qordecoder_events(0xFFFF'FFFF, 0xFFFF'FFFF, nullptr, 0), 0u);
    EXPECT_EQ(qordecoder_event_name(0xFFFF'FFFF, 0xFFFF'FFFF, 0), nullptr);
}

TEST(QorDecoderVersion, IsThatOfTheProject) { EXPECT_STREQ(qordecoder_version(), PROJECT_VERSION_UNDER_TEST); }

// A zone with daylight saving time that needs no zone file.
const testing::Environment *const kZone =
    testing::AddGlobalTestEnvironment(new TimeZoneEnvironment("CET-1CEST,M3.5.0,M10.5.0/3"));

} // namespace
