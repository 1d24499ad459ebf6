#include "cli/reports/filter.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "cli/arguments/wrong_use.h"
#include "decoder/name_tables.h"
#include "tests/cli/reports.h"

using cli::FilterWords;
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
    return ReportFilter(words).passes(as_report(report(ids, 1, timestamp)));
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
    const auto is_wanted = [](const std::vector<std::string> &wanted, std::string_view name, std::uint8_t id) {
        return wanted.empty() || std::any_of(wanted.begin(), wanted.end(), [&](const std::string &word) {
                   return word == name || word == std::to_string(id);
               });
    };
    const std::uint8_t category = report.category_id();
    const std::uint8_t component = report.component_id();
    return is_wanted(words.categories, decoder::category_name(category), category) &&
           is_wanted(words.components, decoder::component_name(category, component), component) &&
           is_wanted(words.events, decoder::event_name(category, component, report.event_id()), report.event_id()) &&
           is_wanted(words.types, decoder::type_name(report.type_id()), report.type_id()) &&
           words.since.value_or(0) <= report.timestamp() &&
           report.timestamp() <= words.until.value_or(report.timestamp());
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
        {{}, {}, {}, {"13"}, 20, 60},
        {{}, {}, {}, {}, 100, {}},
    };
    for (const FilterWords &words : kWishes) {
        std::vector<_QorProfileReport> expected;
        std::copy_if(reports.begin(), reports.end(), std::back_inserter(expected),
                     [&](const _QorProfileReport &each) { return should_pass(words, each); });
        ASSERT_FALSE(expected.empty());

        std::vector<_QorProfileReport> passing(1, reports.back());
        ReportFilter(words).append_passing(reports, passing);

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
    words.since = 100;
    words.until = 200;

    EXPECT_FALSE(passes(words, kAccelData, 99));
    EXPECT_TRUE(passes(words, kAccelData, 100));
    EXPECT_TRUE(passes(words, kAccelData, 200));
    EXPECT_FALSE(passes(words, kAccelData, 201));
}

TEST(ReportFilterTest, UnknownWordsAreWrongUse) {
    FilterWords unknown;
    unknown.events = {"dato"};
    FilterWords large;
    large.types = {"256"};

    EXPECT_EQ(wrong_use_of(unknown).rfind("invalid value \"dato\" for --event: unknown name; did you mean \"", 0), 0u)
        << wrong_use_of(unknown);
    EXPECT_EQ(wrong_use_of(large), "invalid value \"256\" for --type: expected 0 to 255 or a name");
}

} // namespace
