#include "cli/dumps/wall_time.h"

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "cli/arguments/time_text.h"
#include "cli/arguments/wrong_use.h"
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

/** Changes the process's time zone while it exists. */
class InZone {
public:
    explicit InZone(const char *zone) { enter(zone); }
    ~InZone() { enter("QST+03:30"); }
    InZone(const InZone &) = delete;
    InZone &operator=(const InZone &) = delete;

private:
    static void enter(const char *zone) {
        EXPECT_EQ(setenv("TZ", zone, 1), 0); // NOLINT(concurrency-mt-unsafe): no other thread runs
        tzset();
    }
};

constexpr const char *kSummerTime = "CET-1CEST,M3.5.0,M10.5.0/3";

std::string refusal(const std::string &text) {
    try {
        cli::since_epoch(cli::parse_wall_time(text));
    } catch (const cli::WrongUse &error) {
        return error.what();
    }
    return "";
}

TEST(SinceEpochTest, ATimeWithoutADistanceIsOfTheProcessesZone) {
    EXPECT_EQ(cli::since_epoch(cli::parse_wall_time("2023-11-14 18:43:20.000007")), 1'700'000'000 * kSecond + 7);
    EXPECT_EQ(cli::since_epoch(cli::parse_wall_time("2023-11-14 22:13:20Z")), 1'700'000'000 * kSecond);
    const InZone zone(kSummerTime);
    EXPECT_EQ(cli::since_epoch(cli::parse_wall_time("2025-10-09 10:53:21")), 1'760'000'001 * kSecond) << "summer";
    EXPECT_EQ(cli::since_epoch(cli::parse_wall_time("2025-12-09 09:53:21")), 1'765'270'401 * kSecond) << "winter";
    EXPECT_EQ(cli::since_epoch(cli::parse_wall_time("2025-03-30 01:59:59")), 1'743'296'399 * kSecond) << "the last";
    EXPECT_EQ(cli::since_epoch(cli::parse_wall_time("2025-03-30 03:00:00")), 1'743'296'400 * kSecond) << "the next";
}

TEST(SinceEpochTest, ATimeThatTheZoneSkipsOrShowsTwiceNeedsADistance) {
    const InZone zone(kSummerTime);
    EXPECT_EQ(refusal("2025-03-30 02:30:00"), "the clocks of this time zone skip 2025-03-30 02:30:00: add its distance "
                                              "from UTC, such as +02:00");
    EXPECT_EQ(refusal("2025-10-26 02:30:00"), "the clocks of this time zone show twice the time 2025-10-26 02:30:00: "
                                              "add its distance from UTC, such as +02:00");
    EXPECT_EQ(cli::since_epoch(cli::parse_wall_time("2025-10-26 02:30:00+02:00")), 1'761'438'600 * kSecond);
}

TEST(SinceEpochTest, NothingIsBeforeTheEpoch) {
    EXPECT_EQ(refusal("1970-01-01 00:30:00+01:00"), "the time 1970-01-01 00:30:00 is before 1970 in UTC");
    EXPECT_EQ(cli::since_epoch(cli::parse_wall_time("1970-01-01 01:00:00+01:00")), 0u);
}

RC_GTEST_PROP(SinceEpochTest, TakesBackWhatIsShown, ()) {
    const auto microseconds = *rc::gen::inRange<std::uint64_t>(0, 9'214'560'000 * kSecond);
    const InZone zone(kSummerTime);

    RC_ASSERT(cli::since_epoch(cli::parse_wall_time(iso_wall_time(microseconds, kEpoch))) == microseconds);
}

} // namespace
