// The C library cannot convert a time to local time. A separate program, because it replaces `localtime_r`.

#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <string>

#include "decoder/device_clock.h"
#include "decoder/profile_decoder.h"
#include "decoder/report_line.h"
#include "tests/decoder/report_builder.h"
#include "tests/decoder/time_sync_service.h"

// NOLINTBEGIN(bugprone-reserved-identifier): the name that the linker redirects calls to
extern "C" std::tm *__wrap_localtime_r(const std::time_t *time, std::tm *local);

extern "C" std::tm *__wrap_localtime_r(const std::time_t * /*time*/, std::tm * /*local*/) { return nullptr; }
// NOLINTEND(bugprone-reserved-identifier)

namespace {

constexpr decoder::time_sync kSync{5'000'000'000, 1'700'000'000'000'000'000};
constexpr std::uint64_t kBootTime = 1'600'000'000'123'456;

std::string line_of(const _QorProfileReport &report, const decoder::device_clock &clock) {
    text_buffer buffer;
    decoder::append_line(buffer, report, clock);
    return std::string(buffer.text());
}

TEST(NoLocalTime, GivesAnEmptyText) { EXPECT_EQ(decoder::wall_time_text(1'700'000'000'000'000), ""); }

TEST(NoLocalTime, LeavesTheCalendarTimeOutOfALine) {
    const _QorProfileReport report = ReportBuilder(0, 0, 0, 255).u64(8, 5'250'000);

    EXPECT_EQ(line_of(report, {kSync, kBootTime}), line_of(report, {{}, kBootTime}));
    EXPECT_EQ(line_of(report, {kSync, {}}), line_of(report, {{}, {}}));
}

TEST(NoLocalTime, LeavesTheCallersText) {
    const TimeSyncService service;
    service.publish(static_cast<std::int64_t>(kSync.qor), static_cast<std::int64_t>(kSync.calendar));
    ASSERT_TRUE(decoder::read_time_sync());
    std::string text = "untouched";

    EXPECT_FALSE(profile_decoder::qor_time_to_wall_time(5'250'000, text));

    EXPECT_EQ(text, "untouched");
}

} // namespace
