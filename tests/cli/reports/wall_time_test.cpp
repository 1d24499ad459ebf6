#include "cli/reports/wall_time.h"

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

#include "decoder/device_clock.h"
#include "tests/decoder/time_zone_environment.h"

using cli::iso_wall_time;

namespace {

// Half an hour beyond whole hours, and west of Greenwich.
[[maybe_unused]] const auto *const kZone =
    testing::AddGlobalTestEnvironment(new TimeZoneEnvironment("QST+03:30")); // NOLINT: owned by the framework

constexpr std::uint64_t kSecond = 1'000'000;

/** Firmware time is that of the epoch. */
constexpr decoder::time_sync kEpoch{0, 0};

TEST(IsoWallTimeTest, HasMicrosecondsAndTheZonesDistance) {
    EXPECT_EQ(iso_wall_time(1'700'000'000 * kSecond + 7, kEpoch), "2023-11-14T18:43:20.000007-03:30");
    EXPECT_EQ(iso_wall_time(0, {500'000'000, 1'700'000'000'750'000'000}), "2023-11-14T18:43:20.250000-03:30");
}

TEST(IsoWallTimeTest, EverySecondDiffersFromTheOneBefore) {
    EXPECT_EQ(iso_wall_time(59 * kSecond, kEpoch), "1969-12-31T20:30:59.000000-03:30");
    EXPECT_EQ(iso_wall_time(60 * kSecond, kEpoch), "1969-12-31T20:31:00.000000-03:30");
    EXPECT_EQ(iso_wall_time(59 * kSecond + 1, kEpoch), "1969-12-31T20:30:59.000001-03:30");
}

TEST(IsoWallTimeTest, TextsOfLinesAndOfJsonDoNotMix) {
    EXPECT_EQ(decoder::wall_time_text(59 * kSecond), "Dec 31 20:30:59.000000");
    EXPECT_EQ(iso_wall_time(59 * kSecond, kEpoch), "1969-12-31T20:30:59.000000-03:30");
    EXPECT_EQ(decoder::wall_time_text(59 * kSecond), "Dec 31 20:30:59.000000");
}

/** The format has no seconds in a distance from UTC, so a zone with them would be off by up to a minute. */
TEST(IsoWallTimeTest, AZoneWithSecondsInItsDistanceGivesUtc) {
    ASSERT_EQ(setenv("TZ", "MMT+00:44:30", 1), 0); // NOLINT(concurrency-mt-unsafe): no other thread runs
    tzset();
    const std::string text = iso_wall_time(86'399 * kSecond + 250'000, kEpoch);
    ASSERT_EQ(setenv("TZ", "QST+03:30", 1), 0); // NOLINT(concurrency-mt-unsafe): as above
    tzset();

    EXPECT_EQ(text, "1970-01-01T23:59:59.250000Z");
}

TEST(IsoWallTimeTest, IsOfTheZoneThatTheProcessHasNow) {
    const std::string before = iso_wall_time(59 * kSecond, kEpoch);
    ASSERT_EQ(setenv("TZ", "QST-01:00", 1), 0); // NOLINT(concurrency-mt-unsafe): as above
    tzset();
    const std::string after = iso_wall_time(59 * kSecond, kEpoch);
    ASSERT_EQ(setenv("TZ", "QST+03:30", 1), 0); // NOLINT(concurrency-mt-unsafe): as above
    tzset();

    EXPECT_EQ(before, "1969-12-31T20:30:59.000000-03:30");
    EXPECT_EQ(after, "1970-01-01T01:00:59.000000+01:00");
}

TEST(IsoWallTimeTest, TheLastTimeFits) { EXPECT_EQ(iso_wall_time(0, {1, 0}), "2554-07-21T20:04:33.709551-03:30"); }

} // namespace
