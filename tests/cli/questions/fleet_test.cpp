#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bench/fleet.h"
#include "cli/dumps/sequence_break.h"
#include "host/error.h"
#include "host/store/analytics_store.h"
#include "qor/field.h"
#include "qor/report.h"
#include "tests/cli/program.h"

namespace {

std::vector<_QorProfileReport> reports_of(const std::vector<std::uint8_t> &bytes) {
    EXPECT_EQ(bytes.size() % 48, 0U);
    std::vector<_QorProfileReport> reports(bytes.size() / 48);
    std::memcpy(reports.data(), bytes.data(), reports.size() * 48);
    return reports;
}

struct Breaks {
    std::size_t gaps = 0;
    std::size_t restarts = 0;
    std::size_t backwards = 0;
};

Breaks breaks_of(const std::vector<std::uint8_t> &bytes) {
    Breaks breaks;
    cli::BreakWatch watch;
    watch.see(reports_of(bytes), [&](std::size_t, const cli::SequenceBreak &step) {
        breaks.gaps += step.is_gap();
        breaks.restarts += step.is_restart();
        breaks.backwards += step.goes_back_in_time();
    });
    return breaks;
}

constexpr bench::Fleet kFleet = {.seed = 7, .devices = 3, .reports = 20'000};

TEST(Fleet, TheSameSeedGivesTheSameBytes) {
    EXPECT_EQ(bench::dump_of(kFleet, 2), bench::dump_of(kFleet, 2));
    EXPECT_EQ(bench::store_of(kFleet, 2), bench::store_of(kFleet, 2));
}

TEST(Fleet, OtherSeedsAndDevicesGiveOtherBytes) {
    const bench::Fleet other = {.seed = 8, .devices = 3, .reports = 20'000};

    EXPECT_NE(bench::dump_of(kFleet, 2), bench::dump_of(kFleet, 3));
    EXPECT_NE(bench::dump_of(kFleet, 2), bench::dump_of(other, 2));
    EXPECT_NE(bench::store_of(kFleet, 2), bench::store_of(kFleet, 3));
    EXPECT_NE(bench::store_of(kFleet, 2), bench::store_of(other, 2));
}

TEST(Fleet, ADumpHasAsManyReportsAsAskedFor) {
    EXPECT_EQ(bench::dump_of(kFleet, 1).size(), 20'000U * 48);
    EXPECT_TRUE(bench::dump_of({.seed = 1, .devices = 1, .reports = 0}, 1).empty());
    EXPECT_EQ(bench::dump_of({.seed = 1, .devices = 1, .reports = 1}, 1).size(), 48U);
}

TEST(Fleet, TimeOnlyGoesBackWhereADeviceRestarts) {
    const Breaks steady = breaks_of(bench::dump_of(kFleet, 1));
    const Breaks restarted = breaks_of(bench::dump_of(kFleet, 3));

    EXPECT_EQ(steady.backwards, 0U);
    EXPECT_EQ(steady.restarts, 0U);
    EXPECT_GT(steady.gaps, 0U);
    EXPECT_EQ(restarted.backwards, 1U);
    EXPECT_EQ(restarted.restarts, 1U);
}

TEST(Fleet, ADumpHasEveryKindOfReport) {
    std::map<std::uint32_t, std::size_t> kinds; // by category and type
    for (const _QorProfileReport &report : reports_of(bench::dump_of(kFleet, 1))) {
        ++kinds[report.category_id() * 256U + report.type_id()];
    }

    constexpr std::size_t kFunctions = 0 * 256 + 5;
    EXPECT_GT(kinds[kFunctions], 20'000U * 4 / 10);
    EXPECT_LT(kinds[kFunctions], 20'000U * 6 / 10);
    for (const std::uint32_t kind :
         {0U * 256 + 3,  0U * 256 + 9, 2U * 256 + 2,  2U * 256 + 3,  2U * 256 + 4,   2U * 256 + 8,  2U * 256 + 11,
          2U * 256 + 12, 3U * 256 + 3, 4U * 256 + 3,  5U * 256 + 3,  6U * 256 + 1,   6U * 256 + 2,  7U * 256 + 2,
          7U * 256 + 3,  7U * 256 + 4, 7U * 256 + 10, 10U * 256 + 3, 10U * 256 + 13, 14U * 256 + 20}) {
        EXPECT_GT(kinds[kind], 0U) << "category " << kind / 256 << ", type " << kind % 256;
    }
}

bench::Fleet planted(bench::Planted what, std::uint32_t size) {
    bench::Fleet fleet = kFleet;
    fleet.plant = {.what = what, .size = size, .devices = 2};
    return fleet;
}

std::uint32_t word_of(const _QorProfileReport &report, std::size_t offset) {
    return qor::load_little_endian<std::uint32_t>(report.bytes + offset);
}

bool is_function(const _QorProfileReport &report) { return report.category_id() == 0 && report.type_id() == 5; }

bool is_new_event(const _QorProfileReport &report) {
    return report.category_id() == 2 && report.component_id() == 6 && report.event_id() == 7 && report.type_id() == 3;
}

TEST(Fleet, APlantIsOnTheFirstDevicesAlone) {
    for (const bench::Planted what :
         {bench::Planted::SlowerFunction, bench::Planted::NewEvent, bench::Planted::LostReports}) {
        bench::Fleet fleet = planted(what, 50);
        EXPECT_NE(bench::dump_of(fleet, 1), bench::dump_of(kFleet, 1));
        EXPECT_NE(bench::dump_of(fleet, 2), bench::dump_of(kFleet, 2));
        EXPECT_EQ(bench::dump_of(fleet, 3), bench::dump_of(kFleet, 3));
        EXPECT_EQ(bench::store_of(fleet, 1), bench::store_of(kFleet, 1));

        fleet.first = 2;
        EXPECT_NE(bench::dump_of(fleet, 3), bench::dump_of(kFleet, 3));
        EXPECT_EQ(bench::dump_of(fleet, 4), bench::dump_of(kFleet, 4));
    }
}

TEST(Fleet, ASlowerFunctionIsTheOnlyOneThatTakesLonger) {
    const std::vector<_QorProfileReport> usual = reports_of(bench::dump_of(kFleet, 1));
    const std::vector<_QorProfileReport> slow =
        reports_of(bench::dump_of(planted(bench::Planted::SlowerFunction, 100), 1));

    ASSERT_EQ(slow.size(), usual.size());
    std::size_t slower = 0;
    for (std::size_t i = 0; i < usual.size(); ++i) {
        ASSERT_EQ(slow[i].sequence_num(), usual[i].sequence_num());
        if (!is_function(usual[i])) {
            continue;
        }
        const std::uint32_t own = word_of(usual[i], 36) - word_of(usual[i], 28); // without functions within
        EXPECT_EQ(word_of(slow[i], 16), word_of(usual[i], 16));
        const bool is_slower = word_of(usual[i], 16) == 0x2144;
        EXPECT_EQ(word_of(slow[i], 28), word_of(usual[i], 28) + (is_slower ? own : 0));
        slower += is_slower;
    }
    EXPECT_GT(slower, 100U);
}

TEST(Fleet, ANewEventIsReportedAsOftenAsAskedFor) {
    const auto new_events = [](const bench::Fleet &fleet) {
        return std::ranges::count_if(reports_of(bench::dump_of(fleet, 1)), is_new_event);
    };

    EXPECT_EQ(new_events(kFleet), 0);
    const auto some = new_events(planted(bench::Planted::NewEvent, 20)); // in 20,000 reports, about 9,000 steps
    EXPECT_GT(some, 100);
    EXPECT_LT(some, 300);
    const auto more = new_events(planted(bench::Planted::NewEvent, 200));
    EXPECT_GT(more, 6 * some);
    EXPECT_LT(more, 14 * some);
}

TEST(Fleet, LostReportsAreMoreGaps) {
    const std::size_t usual = breaks_of(bench::dump_of(kFleet, 1)).gaps;
    const std::size_t lossy = breaks_of(bench::dump_of(planted(bench::Planted::LostReports, 20), 1)).gaps;

    EXPECT_LT(usual, 20U);
    EXPECT_GT(lossy, 100U);
    EXPECT_LT(lossy, 300U);
}

TEST(Fleet, AShiftedStoreHasTheSameCountsOfGreaterValues) {
    const bench::Fleet fleet = planted(bench::Planted::ShiftedStore, 50);
    std::size_t shifted = 0;
    for (const std::size_t device : {1U, 2U, 3U}) {
        host::StoreContents expected = bench::store_of(kFleet, device);
        const auto values = expected.distributions.find(std::string(bench::kShiftedKey));
        if (device != 3 && values != expected.distributions.end()) {
            host::Distribution greater;
            for (const auto &[value, count] : values->second) {
                greater[value * 1.5] += count;
            }
            values->second = greater;
            ++shifted;
        }
        EXPECT_EQ(bench::store_of(fleet, device), expected);
        EXPECT_EQ(bench::dump_of(fleet, device), bench::dump_of(kFleet, device));
    }
    EXPECT_GT(shifted, 0U);
}

TEST(Fleet, WritesADumpAndAStoreForEachDevice) {
    const cli_tests::TemporaryFolder folder;
    bench::write_fleet(kFleet, folder.path() / "fleet");

    for (const std::size_t device : {1U, 2U, 3U}) {
        const std::filesystem::path path = folder.path() / "fleet" / ("device-000" + std::to_string(device));
        const std::vector<std::uint8_t> dump = bench::dump_of(kFleet, device);
        EXPECT_EQ(cli_tests::content_of(path.string() + ".bin"), std::string(dump.begin(), dump.end()));
        EXPECT_EQ(host::read_analytics_store(path.string() + ".db"), bench::store_of(kFleet, device));
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path() / "fleet"), {}), 6);
}

TEST(Fleet, NumbersDevicesFromTheFirst) {
    const cli_tests::TemporaryFolder folder;
    bench::Fleet fleet = {.seed = 7, .devices = 2, .reports = 10, .first = 41};
    bench::write_fleet(fleet, folder.path());

    const std::vector<std::uint8_t> dump = bench::dump_of({.seed = 7, .devices = 50, .reports = 10}, 42);
    EXPECT_EQ(cli_tests::content_of(folder.path() / "device-0042.bin"), std::string(dump.begin(), dump.end()));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 4);
}

TEST(Fleet, RefusesToReplaceAStore) {
    const cli_tests::TemporaryFolder folder;
    bench::write_fleet(kFleet, folder.path());

    EXPECT_THROW(bench::write_fleet(kFleet, folder.path()), host::Error);
}

} // namespace
