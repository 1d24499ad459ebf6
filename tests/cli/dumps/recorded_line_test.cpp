#include "cli/dumps/recorded_line.h"

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "decoder/report_line.h"
#include "tests/cli/reports.h"
#include "tests/decoder/report_generator.h"

using cli::parse_recorded_line;
using cli::RecordedReport;
using cli_tests::as_report;
using cli_tests::kAccelData;
using cli_tests::kForeignInfo;
using cli_tests::report;

namespace {

constexpr std::uint64_t kSecond = 1'000'000;

/** Another time zone while the object lives. */
class InZone {
public:
    explicit InZone(const char *zone) : _former(std::getenv("TZ")) { // NOLINT(concurrency-mt-unsafe): one thread
        set(zone);
    }
    ~InZone() { set(_former.c_str()); }
    InZone(const InZone &) = delete;
    InZone &operator=(const InZone &) = delete;

private:
    static void set(const char *zone) {
        setenv("TZ", zone, 1); // NOLINT(concurrency-mt-unsafe): one thread
        tzset();
    }

    std::string _former; ///< that of the test program
};

std::string line_of(const _QorProfileReport &report, const decoder::device_clock &clock) {
    text_buffer text;
    decoder::append_line(text, report, clock);
    return std::string(text.text());
}

/** A clock that shows this instant, in microseconds, for a report at firmware time 5. */
decoder::device_clock clock_at(std::uint64_t instant, std::optional<std::uint64_t> boot_time) {
    return {decoder::time_sync{5000, instant * 1000}, boot_time};
}

std::uint64_t instant_of(const RecordedReport &recorded) {
    return decoder::wall_time(recorded.report.timestamp(), recorded.clock.sync.value());
}

/** Reads the line of a report that was written at this instant. */
std::optional<std::uint64_t> read_instant(std::uint64_t instant, std::optional<std::uint64_t> boot_time) {
    const std::optional<RecordedReport> recorded =
        parse_recorded_line(line_of(as_report(report(kAccelData, 1, 5)), clock_at(instant, boot_time)));
    return recorded && recorded->clock.sync ? std::optional(instant_of(*recorded)) : std::nullopt;
}

TEST(RecordedLineTest, EveryLineOfTheDecoderGivesItsReportAndItselfAgain) {
    oracle::ReportGenerator generator(11);
    for (int i = 0; i < 20'000; ++i) {
        const oracle::Report made = generator.report(generator.header());
        const auto described = _QorProfileReport::copied_from(made.data());
        const oracle::Clock given = generator.clock(made);
        decoder::device_clock clock{std::nullopt, given.boot_time};
        if (given.time_sync) {
            clock.sync = decoder::time_sync{static_cast<std::uint64_t>(given.time_sync->qor),
                                            static_cast<std::uint64_t>(given.time_sync->calendar)};
        }
        const std::string line = line_of(described, clock);

        const std::optional<RecordedReport> recorded = parse_recorded_line(line);

        ASSERT_TRUE(recorded) << line;
        ASSERT_EQ(std::string(made.begin(), made.end()),
                  std::string(recorded->report.bytes, recorded->report.bytes + 48));
        EXPECT_EQ(recorded->clock.boot_time, clock.boot_time);
        ASSERT_EQ(line_of(recorded->report, recorded->clock), line);
    }
}

TEST(RecordedLineTest, TheYearIsTheFirstThatIsNotBeforeTheBoot) {
    const InZone zone("Europe/Berlin");
    constexpr std::uint64_t kBoot = 1'760'000'000 * kSecond; // 2025-10-09 08:53:20 UTC
    for (const std::uint64_t after : {std::uint64_t{0}, std::uint64_t{1}, 3600 * kSecond, 100 * 86'400 * kSecond,
                                      364 * 86'400 * kSecond + 999'999}) {
        EXPECT_EQ(read_instant(kBoot + after, kBoot), kBoot + after);
    }
    EXPECT_EQ(read_instant(kBoot - 1, kBoot), kBoot + 365 * 86'400 * kSecond - 1);
}

TEST(RecordedLineTest, The29thOfFebruaryIsInALeapYear) {
    const InZone zone("UTC");
    constexpr std::uint64_t kLeapDay = 1'835'395'200 * kSecond; // 2028-02-29
    constexpr std::uint64_t kBoot = 1'709'251'200 * kSecond;    // 2024-03-01

    EXPECT_EQ(read_instant(kLeapDay, kBoot), kLeapDay);
}

TEST(RecordedLineTest, WithoutABootTimeTheYearIsTheLastThatIsNotAfterNow) {
    const InZone zone("UTC");
    const auto now = static_cast<std::uint64_t>(std::time(nullptr)) * kSecond;
    const std::uint64_t month = 30 * 86'400 * kSecond;

    EXPECT_EQ(read_instant(now - month, std::nullopt), now - month);
    const std::optional<std::uint64_t> later = read_instant(now + month, std::nullopt);
    ASSERT_TRUE(later);
    EXPECT_LT(*later, now);
    EXPECT_GT(*later, now - 366 * 86'400 * kSecond);
}

TEST(RecordedLineTest, ATextInTheReportIsNotTakenForItsBytes) {
    const std::string hostile = report(kForeignInfo, 1, 5, std::string(19, '\0') + "'binary-data':[");

    const std::optional<RecordedReport> recorded = parse_recorded_line(line_of(as_report(hostile), {}));

    ASSERT_TRUE(recorded);
    EXPECT_EQ(std::string(recorded->report.bytes, recorded->report.bytes + 48), hostile);
}

TEST(RecordedLineTest, WhatDoesNotEndInAReportIsRefused) {
    const InZone zone("UTC");
    const std::string line = line_of(as_report(report(kAccelData, 1, 5)), clock_at(kSecond, 7));
    ASSERT_TRUE(parse_recorded_line(line));
    ASSERT_TRUE(line.ends_with("0,0,0], 'calendar-time':'Jan 01 00:00:01.000000', 'boot-timestamp':7}")) << line;
    const auto replaced = [&](std::string_view part, std::string_view by) {
        std::string changed = line;
        return changed.replace(changed.rfind(part), part.size(), by);
    };

    for (std::size_t size = 0; size < line.size(); ++size) {
        EXPECT_FALSE(parse_recorded_line(std::string_view(line).substr(0, size))) << size;
    }
    for (const std::string &changed : {replaced("0,0,0]", "0,0]"),
                                       replaced("0,0,0]", "0,0,0,0]"),
                                       replaced("0,0,0]", "0,256,0]"),
                                       replaced("0,0,0]", "0,-1,0]"),
                                       replaced("0,0,0]", "0,,0]"),
                                       replaced("0,0,0]", "0,0x1,0]"),
                                       replaced("0,0,0]", "0, 0,0]"),
                                       replaced("Jan", "jan"),
                                       replaced("Jan 01", "Jan 1"),
                                       replaced("Jan 01", "Jan 32"),
                                       replaced("00:00:01", "24:00:01"),
                                       replaced("00:00:01", "00:60:01"),
                                       replaced("00:00:01", "00:00:+1"),
                                       replaced("01.000000", "01.00000"),
                                       replaced("01.000000", "01.-00001"),
                                       replaced("':7}", "':}"),
                                       replaced("':7}", "':-7}"),
                                       replaced("':7}", "':18446744073709551616}"),
                                       replaced(":7}", ":7}}"),
                                       replaced(":7}", ":7} "),
                                       std::string("'binary-data':["),
                                       std::string()}) {
        EXPECT_FALSE(parse_recorded_line(changed)) << changed;
    }
}

TEST(RecordedLineTest, ADateThatNoYearHasIsNoClock) {
    const InZone zone("UTC");
    std::string line = line_of(as_report(report(kAccelData, 1, 5)), clock_at(kSecond, 7));
    line.replace(line.find("Jan 01"), 6, "Feb 30");

    const std::optional<RecordedReport> recorded = parse_recorded_line(line);

    ASSERT_TRUE(recorded);
    EXPECT_FALSE(recorded->clock.sync);
    EXPECT_EQ(recorded->clock.boot_time, 7u);
}

} // namespace
