#include "cli/arguments/time_text.h"

#include <cstdint>
#include <ctime>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "cli/arguments/wrong_use.h"

using cli::AfterFirstReport;
using cli::BeforeLastReport;
using cli::FirmwareTime;
using cli::parse_duration;
using cli::parse_time;
using cli::parse_wall_time;
using cli::SaidTime;
using cli::WallTime;

namespace {

constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();

/** Why the text is refused; empty when it is not. */
template <typename Parse>
std::string refusal(const Parse &parse, const std::string &text) {
    try {
        parse(text);
    } catch (const std::invalid_argument &error) {
        return error.what();
    }
    return "";
}

TEST(DurationTest, IsANumberWithAUnit) {
    const std::vector<std::pair<std::string, std::uint64_t>> kDurations = {
        {"12us", 12},
        {"500ms", 500'000},
        {"7200s", 7'200'000'000},
        {"7200.5s", 7'200'500'000},
        {"3m", 180'000'000},
        {"2h", 7'200'000'000},
        {"1d", 86'400'000'000},
        {"0.25h", 900'000'000},
        {"0.000001s", 1},
        {"0.0000000025h", 9},
        {"00.50000000000000000000000000000ms", 500},
        {"0s", 0},
        {"18446744073709551615us", kMost},
        {"18446744073709.551615s", kMost},
    };
    for (const auto &[text, microseconds] : kDurations) {
        EXPECT_EQ(parse_duration(text), microseconds) << text;
    }
}

TEST(DurationTest, OfAnotherFormIsRefusedWithItsReason) {
    const std::vector<std::pair<std::string, std::string>> kRefused = {
        {"", "it is no time"},
        {"soon", "it is no time"},
        {".5s", "it is no time"},
        {" 5s", "it is no time"},
        {"-5s", "it is no time"},
        {"5", "it has no unit"},
        {"5.5", "it has no unit"},
        {"5.s", "digits are missing behind its point"},
        {"5 s", "its unit is not us, ms, s, m, h or d"},
        {"5S", "its unit is not us, ms, s, m, h or d"},
        {"5e3s", "its unit is not us, ms, s, m, h or d"},
        {"0x5s", "its unit is not us, ms, s, m, h or d"},
        {"0.5us", "it is finer than a microsecond"},
        {"0.0000001s", "it is finer than a microsecond"},
        {"0.00000000025h", "it is finer than a microsecond"},
        {"18446744073709551616us", "it is beyond 64 bits of microseconds"},
        {"18446744073709.551616s", "it is beyond 64 bits of microseconds"},
        {"18446744073710s", "it is beyond 64 bits of microseconds"},
        {"99999999999999999999999d", "it is beyond 64 bits of microseconds"},
    };
    for (const auto &[text, reason] : kRefused) {
        EXPECT_EQ(refusal(parse_duration, text), reason) << text;
    }
}

RC_GTEST_PROP(DurationTest, KeepsEveryMicrosecond, ()) {
    const auto microseconds = *rc::gen::arbitrary<std::uint64_t>();
    const auto zeros = *rc::gen::inRange<std::size_t>(0, 20);
    std::string fraction = std::to_string(microseconds % 1'000'000);
    fraction.insert(0, 6 - fraction.size(), '0');
    const std::string seconds =
        std::to_string(microseconds / 1'000'000) + "." + fraction + std::string(zeros, '0') + "s";

    RC_ASSERT(parse_duration(seconds) == microseconds);
    RC_ASSERT(parse_duration(std::to_string(microseconds) + "us") == microseconds);
}

/** Any text of the characters that times have. */
rc::Gen<std::string> near_times() {
    return rc::gen::container<std::string>(rc::gen::elementOf(std::string("0123456789.:-+TZ smhud")));
}

RC_GTEST_PROP(SaidTimeTest, AnyTextIsReadOrRefusedWithAReason, ()) {
    const std::string text = *near_times();
    try {
        parse_time(text);
    } catch (const std::invalid_argument &error) {
        RC_ASSERT(std::string(error.what()).starts_with("it") || std::string(error.what()).starts_with("there") ||
                  std::string(error.what()).starts_with("digits"));
    }
}

TEST(SaidTimeTest, TheSignSaysWhatItIsMeasuredFrom) {
    EXPECT_EQ(std::get<FirmwareTime>(parse_time("7200015000")).microseconds, 7'200'015'000u);
    EXPECT_EQ(std::get<FirmwareTime>(parse_time("007")).microseconds, 7u);
    EXPECT_EQ(std::get<FirmwareTime>(parse_time("18446744073709551615")).microseconds, kMost);
    EXPECT_EQ(std::get<FirmwareTime>(parse_time("7200.5s")).microseconds, 7'200'500'000u);
    EXPECT_EQ(std::get<AfterFirstReport>(parse_time("+500ms")).microseconds, 500'000u);
    EXPECT_EQ(std::get<BeforeLastReport>(parse_time("-10m")).microseconds, 600'000'000u);
    EXPECT_TRUE(std::holds_alternative<WallTime>(parse_time("2025-10-09 08:53:21")));
}

TEST(SaidTimeTest, ASignNeedsAUnit) {
    EXPECT_EQ(refusal(parse_time, "+500"), "it has no unit");
    EXPECT_EQ(refusal(parse_time, "-1"), "it has no unit");
    EXPECT_EQ(refusal(parse_time, "+-1s"), "it is no time");
    EXPECT_EQ(refusal(parse_time, ""), "it is no time");
    EXPECT_EQ(refusal(parse_time, "18446744073709551616"), "it is beyond 64 bits of microseconds");
}

TEST(SaidTimeTest, AWrongOneShowsThreeRightOnes) {
    std::optional<SaidTime> time;
    const cli::ValueReader read = cli::time_reader(time);
    try {
        read("--since", "tomorrow");
        FAIL() << "it is refused";
    } catch (const cli::WrongUse &error) {
        EXPECT_STREQ(error.what(), "invalid value \"tomorrow\" for --since: it is no time; expected a time such as "
                                   "7200.5s, -10m or 2025-10-09T08:53:21+02:00");
    }
    EXPECT_FALSE(time);
    for (const char *const text : {"7200.5s", "-10m", "2025-10-09T08:53:21+02:00"}) {
        EXPECT_NO_THROW(read("--since", text)) << text;
    }
}

/** Microseconds since the epoch, for a time with a distance from UTC. */
std::int64_t utc_of(const std::string &text) {
    const WallTime time = parse_wall_time(text);
    return time.microseconds - std::int64_t{time.utc_distance.value()} * 1'000'000;
}

TEST(WallTimeTest, IsADateAndATimeOfDay) {
    EXPECT_EQ(utc_of("2025-10-09T08:53:21Z"), 1'760'000'001'000'000);
    EXPECT_EQ(utc_of("2025-10-09 08:53:21.25Z"), 1'760'000'001'250'000);
    EXPECT_EQ(utc_of("2025-10-09 10:53:21.000001+02:00"), 1'760'000'001'000'001);
    EXPECT_EQ(utc_of("2025-10-09T03:23:21-0530"), 1'760'000'001'000'000);
    EXPECT_EQ(utc_of("2025-10-09 08:53Z"), 1'759'999'980'000'000);
    EXPECT_EQ(utc_of("1970-01-01T00:00:00Z"), 0);
    EXPECT_EQ(utc_of("2000-02-29T23:59:59.9999990Z"), 951'868'799'999'999);
    EXPECT_EQ(parse_wall_time("2025-10-09 08:53:21").microseconds, 1'760'000'001'000'000);
    EXPECT_FALSE(parse_wall_time("2025-10-09 08:53:21").utc_distance) << "its zone is not said";
}

TEST(WallTimeTest, OfAnotherFormIsRefusedWithItsReason) {
    const std::string kForm = "it is not of the form YYYY-MM-DD HH:MM:SS";
    const std::vector<std::pair<std::string, std::string>> kRefused = {
        {"2025-10-09", kForm},
        {"2025-10-9 08:53:21", kForm},
        {"2025-10-09  08:53:21", kForm},
        {"2025-10-09t08:53:21", kForm},
        {"2025-10-09 0853", kForm},
        {"2025-10-09 08:53:21 Z", kForm},
        {"2025-10-09 08:53:21+2", kForm},
        {"2025-10-09 08:53:21Zx", kForm},
        {"2025-13-09 08:53:21", "there is no such date"},
        {"2025-02-29 08:53:21", "there is no such date"},
        {"2025-00-01 08:53:21", "there is no such date"},
        {"2025-10-09 24:00:00", "there is no such time of day"},
        {"2025-10-09 08:60:00", "there is no such time of day"},
        {"2025-10-09 08:53:60", "there is no such time of day"},
        {"2025-10-09 08:53:21+24:00", "there is no such time of day"},
        {"2025-10-09 08:53:21.", "digits are missing behind its point"},
        {"2025-10-09 08:53:21.1234567", "it is finer than a microsecond"},
        {"1969-12-31 23:59:59", "its year is not from 1970 to 2261"},
        {"2262-01-01 00:00:00", "its year is not from 1970 to 2261"},
    };
    for (const auto &[text, reason] : kRefused) {
        EXPECT_EQ(refusal(parse_time, text), reason) << text;
    }
}

RC_GTEST_PROP(WallTimeTest, KeepsEveryMicrosecondOfEveryDay, ()) {
    constexpr std::int64_t kEnd2261 = 9'214'646'400; // 2262-01-01, seconds since the epoch
    const auto seconds = *rc::gen::inRange<std::int64_t>(0, kEnd2261);
    const auto microseconds = *rc::gen::inRange(0, 1'000'000);
    const std::time_t second = seconds;
    std::tm utc{};
    gmtime_r(&second, &utc);
    char date[64];
    const std::size_t size = std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &utc);
    std::string fraction = std::to_string(microseconds);
    fraction.insert(0, 6 - fraction.size(), '0');

    RC_ASSERT(utc_of(std::string(date, size) + "." + fraction + "Z") == seconds * 1'000'000 + microseconds);
}

} // namespace
