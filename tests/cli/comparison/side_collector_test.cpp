#include "cli/comparison/side_collector.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cli/comparison/measure.h"
#include "tests/cli/reports.h"

namespace {

using cli::MeasureKind;
using cli::Side;
using cli::SideCollector;
using cli_tests::Ids;
using cli_tests::kFunction;
using cli_tests::little_endian;
using cli_tests::report;

constexpr std::uint32_t kBeyond = 3;
constexpr Ids kWakeRequest{10, 0, 1, 13};

/** The side of one device with two reports of each number below `count`, one by one: first all, and then all again. */
template <typename MakeReport>
Side side_of(std::size_t count, const MakeReport &make_report) {
    SideCollector collector;
    collector.begin_recording("device");
    for (std::uint32_t sequence = 0; sequence < 2 * count; ++sequence) {
        const std::vector<_QorProfileReport> reports = {
            cli_tests::as_report(make_report(static_cast<std::uint32_t>(sequence % count), sequence))};
        collector.add_reports(reports);
    }
    return collector.finish();
}

std::ptrdiff_t count_measures(const Side &side, MeasureKind kind) {
    return std::ranges::count(side.measures, kind, [](const cli::SideMeasure &measure) { return measure.id.kind; });
}

TEST(SideCollector, CountsReportsOfIdPathsBeyondTheLimit) {
    const Side side = side_of(SideCollector::kMostPaths + kBeyond, [](std::uint32_t number, std::uint32_t sequence) {
        const Ids ids{static_cast<std::uint8_t>(100 + (number >> 14)), static_cast<std::uint8_t>(number >> 7 & 0x7F),
                      static_cast<std::uint8_t>(number & 0x7F), 3};
        return report(ids, sequence, sequence);
    });
    EXPECT_EQ(side.not_compared, 2 * kBeyond);
    EXPECT_EQ(side.devices.at(0).reports, 2 * (SideCollector::kMostPaths + kBeyond));
    EXPECT_EQ(side.devices.at(0).paths.size(), SideCollector::kMostPaths);
    EXPECT_EQ(side.devices.at(0).paths.begin()->second, 2U);
    EXPECT_EQ(count_measures(side, MeasureKind::Interval), std::ptrdiff_t{SideCollector::kMostPaths});
}

TEST(SideCollector, CountsReportsOfFunctionsBeyondTheLimit) {
    const Side side =
        side_of(SideCollector::kMostFunctions + kBeyond, [](std::uint32_t number, std::uint32_t sequence) {
            return report(kFunction, sequence, 100 + sequence,
                          little_endian(number, 4) + little_endian(0, 4) + little_endian(1, 4) + little_endian(1, 4));
        });
    EXPECT_EQ(side.not_compared, 2 * kBeyond);
    EXPECT_EQ(count_measures(side, MeasureKind::FunctionDuration), std::ptrdiff_t{SideCollector::kMostFunctions});
    EXPECT_EQ(side.devices.at(0).paths.begin()->second, 2 * (SideCollector::kMostFunctions + kBeyond));
}

TEST(SideCollector, CountsReportsOfWakeReasonsBeyondTheLimit) {
    const Side side = side_of(SideCollector::kMostReasons + kBeyond, [](std::uint32_t number, std::uint32_t sequence) {
        return report(kWakeRequest, sequence, sequence, little_endian(number, 4));
    });
    EXPECT_EQ(side.not_compared, 2 * kBeyond);
    EXPECT_EQ(side.devices.at(0).reasons.size(), SideCollector::kMostReasons);
    EXPECT_EQ(side.devices.at(0).reasons.at(0), 2U);
    EXPECT_EQ(side.devices.at(0).wakes, 2 * (SideCollector::kMostReasons + kBeyond));
}

} // namespace
