#include "cli/reports/filter.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "cli/arguments/wrong_use.h"
#include "decoder/name_tables.h"
#include "tests/cli/reports.h"

using cli::FilterWords;
using cli::FirmwareTime;
using cli::ReportFilter;
using cli_tests::as_report;
using cli_tests::Ids;
using cli_tests::kAccelData;
using cli_tests::kForeignInfo;
using cli_tests::kFunction;
using cli_tests::kGyroData;
using cli_tests::report;

namespace {

bool passes(const FilterWords &words, const Ids &ids, std::uint64_t timestamp = 0) {
    const ReportFilter filter(words);
    return filter.passes(as_report(report(ids, 1, timestamp)), filter.limits_in({}), std::nullopt);
}

std::string wrong_use_of(const FilterWords &words) {
    try {
        const ReportFilter filter(words);
    } catch (const cli::WrongUse &wrong) {
        return wrong.what();
    }
    return "";
}

TEST(ReportFilterTest, EverythingPassesWithoutConditions) {
    EXPECT_FALSE(ReportFilter({}).has_conditions());
    EXPECT_TRUE(passes({}, kAccelData));
    EXPECT_TRUE(passes({}, kForeignInfo, ~std::uint64_t{0}));
}

TEST(ReportFilterTest, WordsOfOneListAreAlternativesAndListsAreConditions) {
    FilterWords words;
    words.components = {"accel", "gyro"};
    words.categories = {"sensor"};

    EXPECT_TRUE(ReportFilter(words).has_conditions());
    EXPECT_TRUE(passes(words, kAccelData));
    EXPECT_TRUE(passes(words, kGyroData));
    EXPECT_FALSE(passes(words, kFunction));
    words.categories = {"exec"};
    EXPECT_FALSE(passes(words, kAccelData));
}

/** The same decision, from names and numbers of one report at a time. */
bool should_pass(const FilterWords &words, const _QorProfileReport &report) {
    const auto is_among = [](const std::vector<std::string> &named, std::string_view name, std::uint8_t id) {
        return std::any_of(named.begin(), named.end(),
                           [&](const std::string &word) { return word == name || word == std::to_string(id); });
    };
    const auto is_chosen = [&](const std::vector<std::string> &wanted, const std::vector<std::string> &unwanted,
                               std::string_view name, std::uint8_t id) {
        return (wanted.empty() || is_among(wanted, name, id)) && !is_among(unwanted, name, id);
    };
    const auto time_of = [](const std::optional<cli::SaidTime> &time, std::uint64_t otherwise) {
        return time ? std::get<FirmwareTime>(*time).microseconds : otherwise;
    };
    const std::uint8_t category = report.category_id();
    const std::uint8_t component = report.component_id();
    const std::uint8_t event = report.event_id();
    return is_chosen(words.categories, words.unwanted_categories, decoder::category_name(category), category) &&
           is_chosen(words.components, words.unwanted_components, decoder::component_name(category, component),
                     component) &&
           is_chosen(words.events, words.unwanted_events, decoder::event_name(category, component, event), event) &&
           is_chosen(words.types, words.unwanted_types, decoder::type_name(report.type_id()), report.type_id()) &&
           time_of(words.since, 0) <= report.timestamp() &&
           report.timestamp() <= time_of(words.until, report.timestamp());
}

TEST(ReportFilterTest, TakesFromManyReportsWhatItTakesOfEach) {
    std::vector<_QorProfileReport> reports;
    for (unsigned category = 0; category < 14; ++category) {
        for (unsigned component = 0; component < 10; ++component) {
            for (unsigned event = 0; event < 21; ++event) {
                const auto byte = [](unsigned id) { return static_cast<std::uint8_t>(id); };
                reports.push_back(
                    as_report(report({byte(category), byte(component), byte(event), byte((category + event) % 14)}, 0,
                                     category * event)));
            }
        }
    }
    const FilterWords kWishes[] = {
        {},
        {{"wake"}, {}, {}, {}, {}, {}},
        {{"sensor", "13"}, {}, {}, {"event", "0"}, {}, {}},
        {{}, {"gyro", "7", "sshb"}, {}, {}, {}, {}},
        {{}, {}, {"latency", "17"}, {}, {}, {}},
        {{"sensor", "exec"}, {"1", "accel"}, {"function", "2"}, {}, {}, {}},
        {{}, {}, {}, {"13"}, FirmwareTime{20}, FirmwareTime{60}},
        {{}, {}, {}, {}, FirmwareTime{100}, {}},
        {{}, {}, {}, {}, {}, {}, {"wake", "3"}, {}, {}, {}},
        {{}, {}, {}, {}, {}, {}, {}, {"gyro", "2"}, {}, {}},
        {{}, {}, {}, {}, {}, {}, {}, {}, {"data", "0", "latency"}, {}},
        {{}, {}, {}, {}, {}, {}, {}, {}, {}, {"event", "5"}},
        {{"sensor", "sshb"}, {}, {}, {}, {}, {}, {"sshb"}, {"accel"}, {"data"}, {"function"}},
        {{}, {"gyro", "sshb"}, {}, {}, {}, {}, {}, {"sshb"}, {"2"}, {}},
    };
    for (const FilterWords &words : kWishes) {
        std::vector<_QorProfileReport> expected;
        std::copy_if(reports.begin(), reports.end(), std::back_inserter(expected),
                     [&](const _QorProfileReport &each) { return should_pass(words, each); });
        ASSERT_FALSE(expected.empty());

        std::vector<_QorProfileReport> passing(1, reports.back());
        const ReportFilter filter(words);
        filter.append_passing(reports, filter.limits_in({}), std::nullopt, passing);

        ASSERT_EQ(passing.size(), 1 + expected.size());
        EXPECT_EQ(std::memcmp(passing.data() + 1, expected.data(), expected.size() * 48), 0);
    }
}

TEST(ReportFilterTest, IdsMayBeOfCategoriesWithoutAName) {
    FilterWords words;
    words.categories = {"200"};
    words.components = {"007"};
    words.events = {"9"};
    words.types = {"8"};

    EXPECT_TRUE(passes(words, kForeignInfo));
    EXPECT_FALSE(passes(words, {200, 7, 9, 3}));
    EXPECT_FALSE(passes(words, {200, 7, 8, 8}));
    EXPECT_FALSE(passes(words, {200, 8, 9, 8}));
    EXPECT_FALSE(passes(words, {201, 7, 9, 8}));
}

TEST(ReportFilterTest, ANameMeansTheComponentOfTheReportsOwnCategory) {
    FilterWords words;
    words.components = {"accel"};

    EXPECT_TRUE(passes(words, kAccelData)) << "component 0 of sensor";
    EXPECT_FALSE(passes(words, {0, 0, 2, 3})) << "component 0 of exec";
}

TEST(ReportFilterTest, LimitsOfTimeAreInclusive) {
    FilterWords words;
    words.since = FirmwareTime{100};
    words.until = FirmwareTime{200};

    EXPECT_FALSE(passes(words, kAccelData, 99));
    EXPECT_TRUE(passes(words, kAccelData, 100));
    EXPECT_TRUE(passes(words, kAccelData, 200));
    EXPECT_FALSE(passes(words, kAccelData, 201));
}

TEST(ReportFilterTest, AWordMayBeAListAndAnIdHexadecimal) {
    FilterWords words;
    words.categories = {"sensor,0x5", "0XC8"};
    words.unwanted_components = {"gyro,0x0d"};

    EXPECT_TRUE(passes(words, kAccelData));
    EXPECT_FALSE(passes(words, kGyroData));
    EXPECT_FALSE(passes(words, kFunction));
    EXPECT_TRUE(passes(words, {5, 1, 0, 5}));
    EXPECT_FALSE(passes(words, {5, 13, 0, 5}));
    EXPECT_TRUE(passes(words, kForeignInfo)) << "category 200";
}

TEST(ReportFilterTest, NoNameHasAComma) {
    for (unsigned category = 0; category < 256; ++category) {
        const auto byte = [](unsigned id) { return static_cast<std::uint8_t>(id); };
        ASSERT_EQ(decoder::category_name(byte(category)).find(','), std::string_view::npos);
        ASSERT_EQ(decoder::type_name(byte(category)).find(','), std::string_view::npos);
        for (unsigned component = 0; component < 256; ++component) {
            ASSERT_EQ(decoder::component_name(byte(category), byte(component)).find(','), std::string_view::npos);
        }
        for (unsigned event = 0; event < 256; ++event) {
            for (unsigned component = 0; component < 10; ++component) {
                ASSERT_EQ(decoder::event_name(byte(category), byte(component), byte(event)).find(','),
                          std::string_view::npos);
            }
        }
    }
}

TEST(ReportFilterTest, UnknownWordsAreWrongUse) {
    FilterWords unknown;
    unknown.events = {"dato"};
    FilterWords large;
    large.types = {"256"};

    EXPECT_EQ(wrong_use_of(unknown).rfind("invalid value \"dato\" for --event: unknown name; did you mean \"", 0), 0u)
        << wrong_use_of(unknown);
    EXPECT_EQ(wrong_use_of(large), "invalid value \"256\" for --type: expected 0 to 255 or a name");
    FilterWords unwanted;
    unwanted.unwanted_categories = {"sensor,waek"};
    EXPECT_EQ(wrong_use_of(unwanted),
              "invalid value \"waek\" for --not-category: unknown name; did you mean \"wake\"?");
    for (const std::string word : {"", "sensor,", ",sensor", "0x", "0xg", "-1"}) {
        FilterWords words;
        words.categories = {word};
        EXPECT_NE(wrong_use_of(words).find("for --category: unknown name"), std::string::npos) << word;
    }
    for (const std::string word : {"0x100", "0xffffffffff", "99999999999"}) {
        FilterWords words;
        words.unwanted_types = {word};
        EXPECT_EQ(wrong_use_of(words), "invalid value \"" + word + "\" for --not-type: expected 0 to 255 or a name");
    }
}

} // namespace
