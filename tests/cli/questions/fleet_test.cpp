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

TEST(Fleet, RefusesToReplaceAStore) {
    const cli_tests::TemporaryFolder folder;
    bench::write_fleet(kFleet, folder.path());

    EXPECT_THROW(bench::write_fleet(kFleet, folder.path()), host::Error);
}

} // namespace
