#include "cli/reports/statistics.h"

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "cli/terminal/progress_bar.h"
#include "tests/cli/reports.h"

using cli::DumpStatistics;
using cli::SequenceWatch;
using cli_tests::as_report;
using cli_tests::Ids;
using cli_tests::kAccelData;
using cli_tests::report;

namespace {

SequenceWatch watch_all(const std::vector<std::uint32_t> &numbers) {
    SequenceWatch watch;
    std::uint64_t offset = 0;
    for (const std::uint32_t number : numbers) {
        watch.see(as_report(report(kAccelData, number, 0)), offset);
        offset += 48;
    }
    return watch;
}

TEST(SequenceWatchTest, NumbersThatGoOnByOneHaveNoGaps) {
    EXPECT_EQ(watch_all({}).gap_count(), 0u);
    EXPECT_EQ(watch_all({17}).gap_count(), 0u);
    EXPECT_EQ(watch_all({4294967294, 4294967295, 0, 1}).gap_count(), 0u);
}

TEST(SequenceWatchTest, AStepForwardPassesOverNumbers) {
    EXPECT_EQ(watch_all({1, 5}).missing_count(), 3u);
    EXPECT_EQ(watch_all({4294967295, 2}).missing_count(), 2u);
}

TEST(SequenceWatchTest, AStepBackOrARepetitionIsAGapWithNothingMissing) {
    for (const std::vector<std::uint32_t> &numbers : {std::vector<std::uint32_t>{5, 1}, {5, 5}, {0, 4294967295}}) {
        EXPECT_EQ(watch_all(numbers).gap_count(), 1u);
        EXPECT_EQ(watch_all(numbers).missing_count(), 0u);
    }
}

TEST(SequenceWatchTest, OnlyTheFirstGapsAreKept) {
    std::vector<std::uint32_t> numbers;
    for (std::uint32_t i = 0; i < 100; ++i) {
        numbers.push_back(2 * i);
    }

    const SequenceWatch watch = watch_all(numbers);

    EXPECT_EQ(watch.gap_count(), 99u);
    ASSERT_EQ(watch.first_gaps().size(), SequenceWatch::kGapsKept);
    EXPECT_EQ(watch.first_gaps()[0].offset, 48u);
    EXPECT_EQ(watch.first_gaps()[0].before, 0u);
    EXPECT_EQ(watch.first_gaps()[0].after, 2u);
}

TEST(DumpStatisticsTest, OneGapIsOneGap) {
    const std::string text = DumpStatistics().text(watch_all({1, 5}), {});

    EXPECT_NE(text.find("\nsequence numbers: 1 gap, 3 missing\n"), std::string::npos) << text;
}

TEST(DumpStatisticsTest, CountsOfEventsWithTheSameShortcutDoNotMix) {
    DumpStatistics statistics;
    for (int round = 0; round < 3; ++round) {
        for (unsigned category = 0; category < 256; ++category) {
            for (unsigned event = 0; event < 256; event += 16) {
                const Ids ids{static_cast<std::uint8_t>(category), 1, static_cast<std::uint8_t>(event), 3};
                statistics.count(as_report(report(ids, 0, 0)));
            }
        }
    }

    const auto json = nlohmann::json::parse(statistics.json({}, {}));

    ASSERT_EQ(json["events"].size(), 256u * 16u);
    for (const auto &event : json["events"]) {
        ASSERT_EQ(event["count"], 3);
    }
    EXPECT_EQ(json["other_events"], 0);
}

TEST(DumpStatisticsTest, EventsBeyondTheMostThatAreToldApartAreCountedTogether) {
    DumpStatistics statistics;
    for (std::uint32_t ids = 0; ids < 10'100; ++ids) {
        const Ids each{static_cast<std::uint8_t>(ids >> 16), static_cast<std::uint8_t>(ids >> 8),
                       static_cast<std::uint8_t>(ids), 3};
        statistics.count(as_report(report(each, 0, 0)));
    }

    const auto json = nlohmann::json::parse(statistics.json({}, {}));

    EXPECT_EQ(json["events"].size(), 10'000u);
    EXPECT_EQ(json["other_events"], 100);
    EXPECT_EQ(json["reports"], 10'100);
}

TEST(ProgressLineTest, FillsAsBytesAreDone) {
    EXPECT_EQ(cli::progress_line(0, 100), "[" + std::string(53, ' ') + "]   0%");
    EXPECT_EQ(cli::progress_line(50, 100), "[" + std::string(26, '#') + std::string(27, ' ') + "]  50%");
    EXPECT_EQ(cli::progress_line(100, 100), "[" + std::string(53, '#') + "] 100%");
}

TEST(ProgressLineTest, AGrownFileStaysWhole) {
    EXPECT_EQ(cli::progress_line(150, 100), cli::progress_line(100, 100));
    EXPECT_EQ(cli::progress_line(0, 0), cli::progress_line(100, 100));
}

} // namespace
