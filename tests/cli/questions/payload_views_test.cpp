// The views of payloads beside the decoder's choice and the fields of its layouts.

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <numeric>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "cli/questions/payload_views.h"
#include "tests/cli/reports/generated_reports.h"

namespace {

using cli::ColumnType;
using cli::PayloadView;
using cli::ViewColumn;
using cli::ViewCondition;
using testing::ElementsAre;
using testing::IsEmpty;

bool hold(const std::vector<ViewCondition> &conditions, const _QorProfileReport &report) {
    return std::ranges::any_of(conditions, [&](const ViewCondition &condition) {
        return condition.holds.holds_for(report) && std::ranges::none_of(condition.unless, [&](const auto &exception) {
                   return exception.holds_for(report);
               });
    });
}

const PayloadView &view(std::string_view name) {
    return *std::ranges::find(cli::payload_views(), name, [](const PayloadView &row) { return row.name; });
}

const ViewColumn &column(std::string_view view_name, std::string_view name) {
    return *std::ranges::find(view(view_name).columns, name, [](const ViewColumn &row) { return row.name; });
}

void expect_views_of_decoder(const _QorProfileReport &report) {
    const std::size_t index = decoder::payload_index(report);
    for (const PayloadView &row : cli::payload_views()) {
        const auto &shown = decoder::kPayloads[index];
        const bool is_shown = shown[0]->name == row.layout->name || shown[1]->name == row.layout->name;
        EXPECT_EQ(hold(row.conditions, report), is_shown) << row.name << " " << std::hex << report.header();
        EXPECT_EQ(row.shows(index), is_shown) << row.name << " " << std::hex << report.header();
    }
}

TEST(PayloadViewsTest, ThereIsOneForEachLayoutThatAReportCanHave) {
    std::set<std::string_view> layouts;
    for (const PayloadView &row : cli::payload_views()) {
        layouts.insert(row.layout->name);
        EXPECT_FALSE(row.conditions.empty()) << row.name;
        EXPECT_FALSE(row.meaning.empty()) << row.name;
    }
    std::set<std::string_view> shown;
    for (const decoder::payload &payload : decoder::kPayloads) {
        for (const qor::Layout *layout : payload) {
            if (!layout->fields.empty()) {
                shown.insert(layout->name);
            }
        }
    }
    EXPECT_EQ(layouts, shown);
    EXPECT_EQ(layouts.size(), cli::payload_views().size());
}

TEST(PayloadViewsTest, ConditionsAgreeWithTheDecoderOnEveryHeader) {
    // Every id that a rule or a table names, with the ids beside it and the greatest.
    const auto up_to = [](std::uint8_t last) {
        std::vector<std::uint8_t> ids(last + std::size_t{1});
        std::iota(ids.begin(), ids.end(), std::uint8_t{0});
        ids.push_back(255);
        return ids;
    };
    _QorProfileReport report{};
    for (const std::uint8_t category : up_to(12)) {
        for (const std::uint8_t component : up_to(2)) {
            for (const std::uint8_t event : up_to(5)) {
                for (const std::uint8_t type : up_to(14)) {
                    const std::uint64_t header = std::uint64_t{category} << 24 | std::uint64_t{component} << 16 |
                                                 std::uint64_t{event} << 8 | type;
                    for (const std::uint32_t version : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 0x0103u, 0xFFFFu}) {
                        qor::store_little_endian(report.bytes, header, 4);
                        qor::store_little_endian(report.bytes + qor::kPayloadOffset, version, 2);
                        expect_views_of_decoder(report);
                    }
                    if (HasFailure()) {
                        return;
                    }
                }
            }
        }
    }
}

TEST(PayloadViewsTest, ConditionsAgreeWithTheDecoderOnGeneratedReports) {
    cli_tests::for_each_generated_report(
        [](const _QorProfileReport &report, const decoder::device_clock &) { expect_views_of_decoder(report); });
}

TEST(PayloadViewsTest, EveryRuleOfTheChoiceLeadsToItsViews) {
    for (std::size_t index = 0; index < decoder::kPayloads.size(); ++index) {
        const decoder::payload &payload = decoder::kPayloads[index];
        for (const PayloadView &row : cli::payload_views()) {
            const int expected = payload[0]->name == row.layout->name   ? 1
                                 : payload[1]->name == row.layout->name ? 2
                                                                        : 0;
            EXPECT_EQ(row.places[index], expected) << row.name << " " << index;
        }
    }
    const auto places_of = [](std::string_view name) {
        std::set<int> places;
        for (const std::uint8_t place : view(name).places) {
            places.insert(place);
        }
        return places;
    };
    EXPECT_THAT(places_of("event"), ElementsAre(0, 1, 2));      // behind traces and incoming data
    EXPECT_THAT(places_of("short_data"), ElementsAre(0, 1, 2)); // behind input packets; twice counts as first
    EXPECT_THAT(places_of("sshb_trace"), ElementsAre(0, 1));
}

TEST(PayloadViewsTest, ConditionsAreAsShortAsTheyCanBe) {
    EXPECT_THAT(view("function").conditions, ElementsAre(ViewCondition{{0x05, qor::kTypeAlone, qor::kAnyVersion}, {}}));
    EXPECT_THAT(view("short_data").conditions,
                ElementsAre(ViewCondition{{0x02, qor::kTypeAlone, qor::kAnyVersion}, {}}));
    EXPECT_THAT(view("event").conditions,
                ElementsAre(ViewCondition{{0x03, qor::kTypeAlone, qor::kAnyVersion},
                                          {{0x04000103, qor::kWholeHeader, qor::kAnyVersion},
                                           {0x0A000203, qor::kWholeHeader, qor::kAnyVersion}}}));
    EXPECT_THAT(view("sshb_button").conditions,
                ElementsAre(ViewCondition{{0x07000202, 0xFF00FFFF, qor::kAnyVersion}, {}}));
    EXPECT_THAT(view("sshb_context_5").conditions, ElementsAre(ViewCondition{{0x0700000A, 0xFF0000FF, 5}, {}}));
}

TEST(PayloadViewsTest, ColumnsAreTheFieldsInTheirOrder) {
    for (const PayloadView &row : cli::payload_views()) {
        std::vector<const qor::Field *> fields;
        for (const ViewColumn &made : row.columns) {
            if (!made.is_hex_of_text) {
                fields.push_back(made.field);
            }
            EXPECT_EQ(made.may_be_null, made.field->how == qor::How::Text) << row.name << " " << made.name;
            EXPECT_FALSE(made.unit.empty()) << row.name << " " << made.name;
            EXPECT_FALSE(made.meaning.empty()) << row.name << " " << made.name;
        }
        ASSERT_EQ(fields.size(), row.layout->fields.size()) << row.name;
        for (std::size_t i = 0; i < fields.size(); ++i) {
            EXPECT_EQ(fields[i], &row.layout->fields[i]) << row.name;
        }
    }
}

TEST(PayloadViewsTest, ColumnsHaveTheTypesOfTheirFields) {
    EXPECT_EQ(column("long_data", "packet_size").type, ColumnType::Unsigned16);
    EXPECT_EQ(column("long_data", "raw_data").type, ColumnType::Text);
    EXPECT_EQ(column("short_data", "data_length").type, ColumnType::Unsigned8);
    EXPECT_EQ(column("event", "xarg1").type, ColumnType::Unsigned32);
    EXPECT_EQ(column("annotation", "global_id").type, ColumnType::Unsigned64);
    EXPECT_EQ(column("sensorinfo", "connected").type, ColumnType::Unsigned8);
    EXPECT_EQ(column("sshb_trace", "trace").type, ColumnType::Text);
    EXPECT_EQ(column("vastrel_data_in", "x").type, ColumnType::Real);
}

TEST(PayloadViewsTest, ATextIsFollowedByItsBytes) {
    std::vector<std::string> names;
    for (const ViewColumn &made : view("annotation").columns) {
        names.push_back(made.name);
    }
    EXPECT_THAT(names, ElementsAre("global_id", "entry_id", "entry", "entry_hex", "arg1", "arg2"));
    EXPECT_TRUE(column("annotation", "entry_hex").is_hex_of_text);
    EXPECT_EQ(column("annotation", "entry_hex").field, column("annotation", "entry").field);
    EXPECT_EQ(column("annotation", "entry_hex").meaning,
              "the bytes of entry in hexadecimal where they are not UTF-8; null where they are");
}

TEST(PayloadViewsTest, NoTwoColumnsOfAViewHaveOneName) {
    std::vector<std::string> renamed;
    for (const PayloadView &row : cli::payload_views()) {
        std::multiset<std::string> names;
        const auto lower = [](std::string name) {
            std::ranges::transform(name, name.begin(), [](unsigned char c) { return std::tolower(c); });
            return name;
        };
        for (const cli::Column &made : cli::kHeaderColumns) {
            names.insert(lower(std::string(made.name)));
        }
        for (const ViewColumn &made : row.columns) {
            names.insert(lower(made.name));
            std::string plain(made.field->name);
            std::ranges::replace(plain, '-', '_');
            if (made.name != plain + (made.is_hex_of_text ? "_hex" : "")) {
                renamed.push_back(std::string(row.name) + "." + made.name);
            }
        }
        for (const std::string &name : names) {
            EXPECT_EQ(names.count(name), 1u) << row.name << " " << name;
        }
    }
    // A layout that brings a name of the header has to be looked at here: questions are asked by these names.
    EXPECT_THAT(renamed, IsEmpty());
}

} // namespace
