#include "cli/reports/selection.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cli/arguments/wrong_use.h"
#include "tests/cli/reports.h"

using cli::LastReports;
using cli::ReportSelector;
using cli::Selection;
using cli_tests::as_report;
using cli_tests::kAccelData;
using cli_tests::kFunction;
using cli_tests::kGyroData;
using cli_tests::report;

namespace {

std::string wrong_use_of(const Selection &selection) {
    try {
        const ReportSelector selector(selection);
    } catch (const cli::WrongUse &wrong) {
        return wrong.what();
    }
    return "";
}

/** Whether the next report of the dump is selected. */
bool selects(ReportSelector &selector, const _QorProfileReport &report) {
    cli::ReportBlock selected;
    selector.select({.reports = std::span(&report, 1)}, selector.filter().limits_in({}), selected, false);
    selector.count_selected(selected.size());
    return !selected.empty();
}

TEST(ReportSelectorTest, SelectsEverythingWithoutAWish) {
    ReportSelector selector({});

    EXPECT_TRUE(selector.wants_more());
    EXPECT_TRUE(selects(selector, as_report(report(kFunction, 1, 0))));
    EXPECT_TRUE(selector.wants_more());
    EXPECT_FALSE(selector.filter().has_conditions());
}

TEST(ReportSelectorTest, TheFirstAreCountedAmongThoseThatPass) {
    Selection selection;
    selection.filter.categories = {"sensor"};
    selection.first = 2;
    ReportSelector selector(selection);

    EXPECT_TRUE(selects(selector, as_report(report(kAccelData, 1, 0))));
    EXPECT_FALSE(selects(selector, as_report(report(kFunction, 2, 0))));
    EXPECT_TRUE(selector.wants_more());
    EXPECT_TRUE(selects(selector, as_report(report(kGyroData, 3, 0))));
    EXPECT_FALSE(selector.wants_more());
}

TEST(ReportSelectorTest, NoneAreWantedOfTheFirstZero) {
    Selection selection;
    selection.first = 0;

    EXPECT_FALSE(ReportSelector(selection).wants_more());
}

TEST(ReportSelectorTest, TimesAreIncluded) {
    Selection selection;
    selection.filter.since = cli::FirmwareTime{100};
    selection.filter.until = cli::FirmwareTime{200};
    ReportSelector selector(selection);

    std::vector<std::uint64_t> times;
    for (const std::uint64_t time : {99U, 100U, 200U, 201U}) {
        if (selects(selector, as_report(report(kAccelData, 1, time)))) {
            times.push_back(time);
        }
    }

    EXPECT_EQ(times, (std::vector<std::uint64_t>{100, 200}));
}

TEST(ReportSelectorTest, FirstAndLastTogetherAreWrongUse) {
    Selection selection;
    selection.first = 1;
    selection.last = 1;

    EXPECT_EQ(wrong_use_of(selection), "--first excludes --last");
}

TEST(ReportSelectorTest, AnUnknownNameIsWrongUse) {
    Selection selection;
    selection.filter.components = {"acel"};

    EXPECT_NE(wrong_use_of(selection), "");
}

/** The sequence numbers that are left of 1 to 5. */
std::vector<std::uint32_t> last_of_five(std::uint64_t count) {
    LastReports last(count);
    for (std::uint32_t number = 1; number <= 5; ++number) {
        last.add(as_report(report(kAccelData, number, 0)));
    }
    cli::ReportBlock block;
    while (last.size() != 0) {
        last.give_oldest(block);
    }
    std::vector<std::uint32_t> numbers;
    for (const _QorProfileReport &report : block.reports) {
        numbers.push_back(report.sequence_num());
    }
    return numbers;
}

TEST(LastReportsTest, AreTakenFromTheOldestOn) {
    EXPECT_EQ(last_of_five(0), std::vector<std::uint32_t>{});
    EXPECT_EQ(last_of_five(1), std::vector<std::uint32_t>{5});
    EXPECT_EQ(last_of_five(3), (std::vector<std::uint32_t>{3, 4, 5}));
    EXPECT_EQ(last_of_five(5), (std::vector<std::uint32_t>{1, 2, 3, 4, 5}));
    EXPECT_EQ(last_of_five(9), (std::vector<std::uint32_t>{1, 2, 3, 4, 5}));
}

TEST(LastReportsTest, AreAtMostAMillion) {
    EXPECT_NO_THROW(LastReports(1'000'000));
    EXPECT_THROW(LastReports(1'000'001), cli::WrongUse);
}

} // namespace
