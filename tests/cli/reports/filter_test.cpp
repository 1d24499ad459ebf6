#include "cli/reports/filter.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "cli/arguments/wrong_use.h"
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
