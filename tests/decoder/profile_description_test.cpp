// The C entry points, with the clock that the platform provides.

#include "decoder/ProfileDescription.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "decoder/ZELLogDecoder.h"
#include "host/fault_points.h"
#include "platform/Owned.h"
#include "platform/RvKernel.h"
#include "tests/decoder/oracle.h"
#include "tests/decoder/report_generator.h"
#include "tests/decoder/time_sync_service.h"
#include "tests/decoder/time_zone_environment.h"

namespace {

using oracle::Report;
using oracle::TimeSync;
using platform::OwnedValue;
using testing::HasSubstr;
using testing::Not;

constexpr TimeSync kSync{5'000'000'000, 1'700'000'000'000'000'000};

/** The result of `CopyProfileDescription`; no value for null. */
std::optional<std::string> copy_description(const Report &report) {
    const OwnedValue description(CopyProfileDescription(report.data()));
    if (!description) {
        return std::nullopt;
    }
    return std::string(TvStringGetCString(description.get()), TvStringGetLength(description.get()));
}

std::uint64_t kernel_boot_time() {
    std::int64_t seconds = 0;
    std::int32_t microseconds = 0;
    EXPECT_TRUE(RvKernelGetBootTime(&seconds, &microseconds));
    return static_cast<std::uint64_t>(seconds) * 1'000'000 + static_cast<std::uint64_t>(std::int64_t{microseconds});
}

/** A stop report with this time stamp. Its line is short. */
Report report_at(std::uint64_t timestamp) {
    Report report{};
    for (std::size_t i = 0; i < 8; ++i) {
        report[8 + i] = static_cast<unsigned char>(timestamp >> (8 * i));
    }
    return report;
}

/** Whether text is UTF-8: no overlong forms, no surrogates, at most U+10FFFF. */
bool is_utf8(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i++]);
        if (lead < 0x80) {
            continue;
        }
        const std::size_t following = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
        constexpr std::uint32_t kSmallest[] = {0x80, 0x800, 0x10000};
        if (lead < 0xC0 || lead > 0xF7 || text.size() - i < following) {
            return false;
        }
        std::uint32_t code_point = lead & (0x3Fu >> following);
        for (std::size_t end = i + following; i < end; ++i) {
            const auto next = static_cast<unsigned char>(text[i]);
            if ((next & 0xC0) != 0x80) {
                return false;
            }
            code_point = code_point << 6 | (next & 0x3Fu);
        }
        if (code_point < kSmallest[following - 1] || code_point > 0x10FFFF ||
            (code_point >= 0xD800 && code_point <= 0xDFFF)) {
            return false;
        }
    }
    return true;
}

TEST(CopyProfileDescription, AgreesWithTheOracleUnderThePlatformsClock) {
    constexpr std::uint64_t kReports = 60'000 / QOR_COMPARISON_DIVISOR;
    oracle::ReportGenerator generator(48);
    const TimeSyncService service;
    oracle::Clock clock{std::nullopt, kernel_boot_time()};
    std::uint64_t without_description = 0;
    for (std::uint64_t i = 0; i < kReports; ++i) {
        const Report report = i % 2 == 0 ? generator.generic_report() : generator.report(generator.header());
        if (i % 20 == 0) {
            clock.time_sync = generator.time_sync(report);
            service.publish(clock.time_sync->qor, clock.time_sync->calendar);
        }
        const std::string line = oracle::describe(report.data(), clock);
        const std::optional<std::string> expected = is_utf8(line) ? std::optional(line) : std::nullopt;
        without_description += expected ? 0 : 1;

        ASSERT_EQ(copy_description(report), expected) << line;
    }
    EXPECT_GT(without_description, kReports / 100);
    EXPECT_LT(without_description, kReports / 2);
}

TEST(CopyProfileDescription, IsNullForTextThatIsNotUtf8) {
    Report report{9};
    report[32] = 0xC3;
    EXPECT_EQ(copy_description(report), std::nullopt);

    report[33] = 0xA9;
    const std::optional<std::string> description = copy_description(report);
    ASSERT_TRUE(description);
    EXPECT_THAT(*description, HasSubstr(" 'function':      '\xC3\xA9',"));
}

TEST(CopyProfileDescription, IsNullForANullReport) { EXPECT_EQ(CopyProfileDescription(nullptr), nullptr); }

TEST(CopyProfileDescription, ReadsAReportAtAnyAddress) {
    const Report report = report_at(77);
    const std::string expected = copy_description(report).value();
    for (std::size_t shift = 0; shift < 8; ++shift) {
        std::array<unsigned char, oracle::kReportSize + 8> bytes{};
        std::copy(report.begin(), report.end(), bytes.begin() + static_cast<std::ptrdiff_t>(shift));

        const OwnedValue description(CopyProfileDescription(bytes.data() + shift));

        EXPECT_EQ(TvStringGetCString(description.get()), expected) << shift;
    }
}

TEST(CopyProfileDescription, IsTheLineOfTheCategorysDecoder) {
    const Report report = report_at(5);

    EXPECT_EQ(copy_description(report), ZELLogDecoder::to_string(_QorProfileReport::copied_from(report.data())));
}

TEST(CopyProfileDescription, ShowsTheKernelsBootTime) {
    EXPECT_THAT(copy_description(report_at(0)).value(),
                testing::EndsWith(",0], 'boot-timestamp':" + std::to_string(kernel_boot_time()) + "}"));
}

TEST(CopyProfileDescription, LeavesTheBootTimeOutWhenTheKernelReportsNone) {
    host::arm_fault("RvKernelGetBootTime", 0, host::Strikes::ForGood);
    const std::optional<std::string> description = copy_description(report_at(0));
    host::disarm_faults();

    EXPECT_THAT(description.value(), testing::EndsWith(",0]}"));
}

TEST(CopyProfileDescription, LeavesTheCalendarTimeOutWithoutTheService) {
    EXPECT_THAT(copy_description(report_at(0)).value(), Not(HasSubstr("calendar-time")));
}

TEST(CopyProfileDescription, FollowsANewSynchronisationAtOnce) {
    const TimeSyncService service;
    service.publish(kSync.qor, kSync.calendar);
    EXPECT_THAT(copy_description(report_at(5'000'000)).value(),
                HasSubstr("], 'calendar-time':'Nov 14 22:13:20.000000', 'boot-timestamp':"));

    service.publish(kSync.qor, kSync.calendar + 1'000'000'000);
    EXPECT_THAT(copy_description(report_at(5'000'000)).value(),
                HasSubstr("], 'calendar-time':'Nov 14 22:13:21.000000', 'boot-timestamp':"));
}

TEST(CopyProfileDescription, ReleasesEveryRegistryReference) {
    const TimeSyncService service;
    service.publish(kSync.qor, kSync.calendar);
    const std::size_t before = service.reference_count();

    copy_description(report_at(0));

    EXPECT_EQ(service.reference_count(), before);
}

TEST(CopyProfileDescription, DoesNotDependOnTheDeltaFlag) {
    ASSERT_EQ(_qor_profile_delta_enabled, 0);
    const std::optional<std::string> before = copy_description(report_at(1));

    _qor_profile_delta_enabled = 1;
    const std::optional<std::string> after = copy_description(report_at(1));
    _qor_profile_delta_enabled = 0;

    EXPECT_EQ(after, before);
}

TEST(QorProfilePrint, WritesTheDescriptionAndOneNewline) {
    const Report report = report_at(1);

    testing::internal::CaptureStdout();
    qor_profile_print(report.data());
    const std::string output = testing::internal::GetCapturedStdout();

    EXPECT_EQ(output, copy_description(report).value() + "\n");
}

TEST(QorProfilePrint, WritesNothingWithoutADescription) {
    Report report{9};
    report[32] = 0xFF;

    testing::internal::CaptureStdout();
    qor_profile_print(report.data());

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

// The wall-clock texts above are in this time zone.
const testing::Environment *const kUniversalTime = testing::AddGlobalTestEnvironment(new TimeZoneEnvironment("UTC0"));

} // namespace
