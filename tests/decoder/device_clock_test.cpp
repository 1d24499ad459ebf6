#include "decoder/device_clock.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "decoder/profile_decoder.h"
#include "host/fault_points.h"
#include "platform/RvKernel.h"
#include "tests/decoder/time_sync_service.h"
#include "tests/decoder/time_zone_environment.h"

namespace {

// Five hours and 45 minutes ahead of UTC, so that hours, minutes and days all differ from it.
[[maybe_unused]] const auto *const kZone =
    testing::AddGlobalTestEnvironment(new TimeZoneEnvironment("QST-05:45")); // NOLINT: owned by the framework

constexpr std::uint64_t kSecond = 1'000'000;

std::string text_of(std::uint64_t microseconds) { return decoder::wall_time_text(microseconds); }

struct WallTimeRow {
    const char *meaning;
    std::uint64_t timestamp;
    decoder::time_sync sync;
    std::uint64_t wall_time;
};

constexpr std::uint64_t kAll64 = std::numeric_limits<std::uint64_t>::max();

const WallTimeRow kWallTimes[] = {
    {"the point of synchronisation", 5'000'000, {5'000'000'000, 1'700'000'000'000'000'000}, 1'700'000'000'000'000},
    {"seven microseconds later", 5'000'007, {5'000'000'000, 1'700'000'000'000'000'000}, 1'700'000'000'000'007},
    {"nanoseconds are truncated, not rounded", 1, {1, 0}, 0},
    {"a later synchronisation wraps", 0, {1, 0}, kAll64 / 1000},
    {"a time stamp whose nanoseconds wrap", kAll64, {0, 1000}, 0},
};

TEST(WallTime, IsCountedFromTheSynchronisation) {
    for (const WallTimeRow &row : kWallTimes) {
        SCOPED_TRACE(row.meaning);

        EXPECT_EQ(decoder::wall_time(row.timestamp, row.sync), row.wall_time);
    }
}

struct TextRow {
    const char *meaning;
    std::uint64_t microseconds;
    const char *text;
};

const TextRow kTexts[] = {
    {"a whole second", 1'700'000'000 * kSecond, "Nov 15 03:58:20.000000"},
    {"seven microseconds", 1'700'000'000 * kSecond + 7, "Nov 15 03:58:20.000007"},
    {"the last microsecond", 1'700'000'000 * kSecond + 999'999, "Nov 15 03:58:20.999999"},
    {"a day of one digit", (1'730'776'087 - 5 * 3600 - 45 * 60) * kSecond + 250'000, "Nov 05 03:08:07.250000"},
    {"the epoch", 0, "Jan 01 05:45:00.000000"},
    {"a leap day", 1'709'164'800 * kSecond, "Feb 29 05:45:00.000000"},
    {"the last time that microseconds of wrapped nanoseconds can give", kAll64 / 1000, "Jul 22 05:19:33.709551"},
};

TEST(WallTimeText, IsLocalTimeWithMicroseconds) {
    for (const TextRow &row : kTexts) {
        SCOPED_TRACE(row.meaning);

        EXPECT_EQ(text_of(row.microseconds), row.text);
    }
}

TEST(WallTimeText, MonthsHaveTheirEnglishNames) {
    const char *const months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    constexpr std::uint64_t kFifthOfJanuary2023 = 1'672'876'800;

    for (std::uint64_t month = 0; month < 12; ++month) {
        // 30 days and 10.5 hours are a twelfth of a year.
        const std::string text = text_of((kFifthOfJanuary2023 + month * 2'628'000) * kSecond);
        EXPECT_EQ(text.substr(0, 3), months[month]) << text;
    }
}

TEST(WallTimeText, SuccessiveTimesAreToldApart) {
    EXPECT_EQ(text_of(59 * kSecond), "Jan 01 05:45:59.000000");
    EXPECT_EQ(text_of(60 * kSecond), "Jan 01 05:46:00.000000");
    EXPECT_EQ(text_of(59 * kSecond + 1), "Jan 01 05:45:59.000001");
}

TEST(WallTimeText, AcceptsEveryTime) {
    for (unsigned bit = 0; bit < 64; ++bit) {
        const std::string text = text_of(kAll64 >> bit);
        EXPECT_TRUE(text.empty() || text.size() == 22) << text;
    }
}

TEST(TimeSync, IsAbsentWithoutItsService) {
    std::string text = "untouched";

    EXPECT_FALSE(decoder::read_time_sync());
    EXPECT_FALSE(profile_decoder::qor_time_to_wall_time(0, text));
    EXPECT_EQ(text, "untouched");
}

TEST(TimeSync, IsReadAgainOnEveryCall) {
    const TimeSyncService service;
    std::string text;

    service.publish(5'000'000'000, 1'700'000'000'000'000'000);
    EXPECT_TRUE(profile_decoder::qor_time_to_wall_time(5'000'000, text));
    EXPECT_EQ(text, "Nov 15 03:58:20.000000");
    service.publish(5'000'000'000, 1'700'000'001'000'000'000);
    EXPECT_TRUE(profile_decoder::qor_time_to_wall_time(5'000'000, text));
    EXPECT_EQ(text, "Nov 15 03:58:21.000000");
}

TEST(TimeSync, MayBeNegative) {
    const TimeSyncService service;

    service.publish(-1, std::numeric_limits<std::int64_t>::min());

    ASSERT_TRUE(decoder::read_time_sync());
    EXPECT_EQ(decoder::read_time_sync()->qor, kAll64);
    EXPECT_EQ(decoder::read_time_sync()->calendar, std::uint64_t{1} << 63);
}

TEST(TimeSync, IsAbsentWithoutBothNumbers) {
    const TimeSyncService service;

    EXPECT_FALSE(decoder::read_time_sync());
    service.publish_value(time_sync_dictionary(nullptr, number(1)));
    EXPECT_FALSE(decoder::read_time_sync());
    service.publish_value(time_sync_dictionary(number(1), nullptr));
    EXPECT_FALSE(decoder::read_time_sync());
    service.publish_value(time_sync_dictionary(string("1"), number(1)));
    EXPECT_FALSE(decoder::read_time_sync());
    service.publish_value(time_sync_dictionary(number(1), string("1")));
    EXPECT_FALSE(decoder::read_time_sync());
    service.publish_value(number(1));
    EXPECT_FALSE(decoder::read_time_sync());
    service.publish_value(time_sync_dictionary(number(1), number(1)));
    EXPECT_TRUE(decoder::read_time_sync());
}

TEST(TimeSync, ReleasesEveryReference) {
    const TimeSyncService service;
    service.publish(1, 2);

    for (int reading = 0; reading < 3; ++reading) {
        EXPECT_TRUE(decoder::read_time_sync());
    }
    service.publish_value({});
    EXPECT_FALSE(decoder::read_time_sync());

    EXPECT_EQ(service.reference_count(), 0u);
}

TEST(TimeSync, IsAbsentWhenThePlatformFails) {
    const TimeSyncService service;
    service.publish(1, 2);

    for (const char *operation : {"RvRegistryCopyServiceMatchingClass", "RvRegistryEntryCopyProperty"}) {
        host::arm_fault(operation, 0, host::Strikes::Once);
        EXPECT_FALSE(decoder::read_time_sync()) << operation;
        EXPECT_TRUE(decoder::read_time_sync()) << operation;
        host::disarm_faults();
    }
    EXPECT_EQ(service.reference_count(), 0u);
}

TEST(BootTime, IsTheKernelsInMicroseconds) {
    std::int64_t seconds = 0;
    std::int32_t microseconds = 0;
    ASSERT_TRUE(RvKernelGetBootTime(&seconds, &microseconds));
    std::uint64_t boot_time = 0;

    EXPECT_TRUE(profile_decoder::get_boot_time(boot_time));

    EXPECT_EQ(boot_time, static_cast<std::uint64_t>(seconds * 1'000'000 + microseconds));
}

TEST(BootTime, IsAbsentWhenThePlatformFails) {
    std::uint64_t boot_time = 77;
    host::arm_fault("RvKernelGetBootTime", 0, host::Strikes::Once);

    EXPECT_FALSE(profile_decoder::get_boot_time(boot_time));

    EXPECT_EQ(boot_time, 77u);
    host::disarm_faults();
}

} // namespace
