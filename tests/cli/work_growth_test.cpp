// The work of merges and of report statistics grows with what they are given, not faster.

#include <cstddef>
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "cli/reports/statistics.h"
#include "host/store/analytics_store.h"
#include "tests/cli/reports.h"
#include "tests/work_ratio.h"

namespace {

using cli_tests::as_report;
using cli_tests::Ids;
using cli_tests::report;

/** `count` keys of both kinds and one distribution of `count` values, shifted by `first`. */
host::StoreContents contents_of(std::size_t count, std::size_t first) {
    host::StoreContents contents;
    for (std::size_t i = first; i < first + count; ++i) {
        const std::string key = "key." + std::to_string(i);
        contents.scalars[key] = 1;
        contents.distributions[key] = {{1, 1}};
        contents.distributions["values"][static_cast<double>(i)] = 1;
    }
    return contents;
}

TEST(WorkGrowth, OfAMergeIsThatOfTheContents) {
    const auto merge = [](std::size_t count) {
        host::StoreContents sum = contents_of(count, 0);
        host::merge_into(sum, contents_of(count, count / 2));
        EXPECT_EQ(sum.distributions.at("values").size(), count + count / 2);
    };

    EXPECT_LT(tests::growth_of(merge, 200), tests::kMostGrowth);
}

TEST(WorkGrowth, OfManyMergesIsTheirNumber) {
    const host::StoreContents each = contents_of(20, 0);
    const auto merge = [&each](std::size_t count) {
        host::StoreContents sum;
        for (std::size_t i = 0; i < count; ++i) {
            host::merge_into(sum, each);
        }
        EXPECT_EQ(sum.scalars.at("key.0"), static_cast<std::int64_t>(count));
    };

    EXPECT_LT(tests::growth_of(merge, 50), tests::kMostGrowth);
}

/** Counts `count` reports of `events` events, each with a gap before it. */
void count_and_show(std::size_t count, std::size_t events) {
    cli::DumpStatistics statistics;
    cli::SequenceWatch sequence;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t event = i % events;
        const Ids ids{0, static_cast<std::uint8_t>(event >> 8), static_cast<std::uint8_t>(event), 3};
        const _QorProfileReport each = as_report(report(ids, static_cast<std::uint32_t>(2 * i), i));
        sequence.see({&each, 1}, 48 * i);
        statistics.count({&each, 1});
    }
    EXPECT_EQ(sequence.gap_count(), count - 1);
    EXPECT_FALSE(statistics.text(sequence, {}).empty());
    EXPECT_FALSE(statistics.json(sequence, {}).empty());
}

TEST(WorkGrowth, OfReportStatisticsIsThatOfTheReports) {
    EXPECT_LT(tests::growth_of([](std::size_t count) { count_and_show(count, 3); }, 2000), tests::kMostGrowth);
}

TEST(WorkGrowth, OfReportStatisticsIsThatOfTheEvents) {
    EXPECT_LT(tests::growth_of([](std::size_t count) { count_and_show(count, count); }, 300), tests::kMostGrowth);
}

TEST(WorkGrowth, OfASquareIsFound) {
    const auto square = [](std::size_t size) {
        volatile std::size_t sum = 0;
        for (std::size_t i = 0; i < size * size; ++i) {
            sum = sum + i;
        }
    };

    EXPECT_GT(tests::growth_of(square, 300), tests::kMostGrowth);
}

} // namespace
