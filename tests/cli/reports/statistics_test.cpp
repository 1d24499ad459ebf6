#include "cli/reports/statistics.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <random>
#include <span>
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
        watch.see(std::array{as_report(report(kAccelData, number, 0))}, offset);
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

TEST(SequenceWatchTest, GapsAreTheSameHoweverTheReportsAreCut) {
    const std::vector<std::uint32_t> numbers = {7, 8, 10, 11, 3, 4, 4, 5, 0xFFFFFFFF, 0, 2};
    std::vector<_QorProfileReport> reports;
    for (const std::uint32_t number : numbers) {
        reports.push_back(as_report(report(kAccelData, number, 0)));
    }
    const SequenceWatch one_by_one = watch_all(numbers);

    for (std::size_t cut = 0; cut <= reports.size(); ++cut) {
        const std::span<const _QorProfileReport> all(reports);
        SequenceWatch watch;
        watch.see(all.first(cut), 0);
        watch.see(all.subspan(cut), cut * 48);

        EXPECT_EQ(watch.gap_count(), 5u);
        EXPECT_EQ(watch.gap_count(), one_by_one.gap_count());
        EXPECT_EQ(watch.missing_count(), one_by_one.missing_count());
        ASSERT_EQ(watch.first_gaps().size(), one_by_one.first_gaps().size());
        for (std::size_t gap = 0; gap < watch.first_gaps().size(); ++gap) {
            EXPECT_EQ(watch.first_gaps()[gap].offset, one_by_one.first_gaps()[gap].offset);
            EXPECT_EQ(watch.first_gaps()[gap].before, one_by_one.first_gaps()[gap].before);
            EXPECT_EQ(watch.first_gaps()[gap].after, one_by_one.first_gaps()[gap].after);
        }
    }
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
                statistics.count(std::array{as_report(report(ids, 0, 0))});
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

using Counts = std::map<std::vector<unsigned>, std::uint64_t>;

/** The counts of an array of JSON by the ids under `keys`. */
Counts counts_in(const nlohmann::json &rows, const std::vector<std::string> &keys) {
    Counts counts;
    for (const auto &row : rows) {
        std::vector<unsigned> ids;
        for (const std::string &key : keys) {
            ids.push_back(row.at(key + "_id"));
        }
        counts[ids] += row.at("count").get<std::uint64_t>();
    }
    return counts;
}

TEST(DumpStatisticsTest, CountsAreThoseOfEachReportByItself) {
    std::mt19937 random(5);
    DumpStatistics statistics;
    Counts categories;
    Counts components;
    Counts events;
    Counts types;
    std::uint64_t earliest = ~std::uint64_t{0};
    std::uint64_t latest = 0;
    for (std::size_t size = 0; size < 200; ++size) {
        std::vector<_QorProfileReport> block;
        for (std::size_t i = 0; i < size; ++i) {
            // Few enough for repetitions, and more than the places for recent headers.
            const Ids ids{static_cast<std::uint8_t>(random() % 4 * 80), static_cast<std::uint8_t>(random() % 3 * 120),
                          static_cast<std::uint8_t>(random() % 40 * 6), static_cast<std::uint8_t>(random() % 5 * 60)};
            const std::uint64_t time = 1000 + random() % 1'000'000;
            block.push_back(as_report(report(ids, 0, time)));
            ++categories[{ids.category}];
            ++components[{ids.category, ids.component}];
            ++events[{ids.category, ids.component, ids.event}];
            ++types[{ids.type}];
            earliest = std::min(earliest, time);
            latest = std::max(latest, time);
        }
        statistics.count(block);
    }

    for (int round = 0; round < 2; ++round) {
        const auto json = nlohmann::json::parse(statistics.json({}, {}));

        EXPECT_EQ(counts_in(json["categories"], {"category"}), categories);
        EXPECT_EQ(counts_in(json["components"], {"category", "component"}), components);
        EXPECT_EQ(counts_in(json["events"], {"category", "component", "event"}), events);
        EXPECT_EQ(counts_in(json["types"], {"type"}), types);
        EXPECT_EQ(json["reports"], 199 * 200 / 2);
        EXPECT_EQ(json["earliest"], earliest);
        EXPECT_EQ(json["latest"], latest);
        EXPECT_EQ(json["other_events"], 0);
    }
}

TEST(DumpStatisticsTest, EventsBeyondTheMostThatAreToldApartAreCountedTogether) {
    DumpStatistics statistics;
    for (std::uint32_t ids = 0; ids < 10'100; ++ids) {
        const Ids each{static_cast<std::uint8_t>(ids >> 16), static_cast<std::uint8_t>(ids >> 8),
                       static_cast<std::uint8_t>(ids), 3};
        statistics.count(std::array{as_report(report(each, 0, 0))});
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
