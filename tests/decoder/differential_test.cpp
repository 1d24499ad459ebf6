// The decoder and the oracle agree byte for byte on generated reports and clocks.

#include <gtest/gtest.h>

#include <algorithm>
#include <iomanip>
#include <sstream>
#include <string>

#include "tests/decoder/described_by_decoder.h"
#include "tests/decoder/oracle.h"
#include "tests/decoder/report_generator.h"
#include "tests/decoder/time_zone_environment.h"

namespace {

using oracle::Clock;
using oracle::Header;
using oracle::Report;
using oracle::ReportGenerator;

/** The number of reports to compare: `whole` in an optimised build, a tenth of it otherwise and under sanitizers. */
constexpr std::uint64_t share(std::uint64_t whole) {
    return std::max<std::uint64_t>(whole / QOR_COMPARISON_DIVISOR, 1);
}

// One header for each category and type, with random component and event.
constexpr std::uint64_t kCategoriesAndTypes = 256 * 256;
constexpr std::uint64_t kCategoryAndTypeRounds = share(4);

// Headers with named ids and their neighbours.
constexpr unsigned kNamedCategories = 12;
constexpr unsigned kNamedComponents = 9;
constexpr unsigned kNamedEvents = 22;
constexpr unsigned kNamedTypes = 15;
constexpr std::uint64_t kNamed = kNamedCategories * kNamedComponents * kNamedEvents * kNamedTypes;
constexpr std::uint64_t kNamedRounds = share(6);
constexpr std::uint64_t kEvents = kNamedCategories * kNamedComponents * 256;

constexpr std::uint64_t kGenericReports = share(400'000);
constexpr std::uint64_t kSshbReports = share(400'000);
constexpr std::uint64_t kVastrelReports = share(400'000);
constexpr std::uint64_t kWakeReports = share(150'000);
constexpr std::uint64_t kAnyReports = share(250'000);
constexpr std::uint64_t kReportsInTime = share(250'000);

static_assert(QOR_COMPARISON_DIVISOR *
                  (kCategoriesAndTypes * kCategoryAndTypeRounds + kNamed * kNamedRounds + kEvents + kGenericReports +
                   kSshbReports + kVastrelReports + kWakeReports + kAnyReports + kReportsInTime) >=
              2'000'000);

std::string hexadecimal(const Report &report) {
    std::ostringstream digits;
    for (const unsigned char byte : report) {
        digits << std::hex << std::setw(2) << std::setfill('0') << unsigned{byte};
    }
    return digits.str();
}

std::string text_of(const Clock &clock) {
    std::ostringstream text;
    if (clock.time_sync) {
        text << "qor=" << clock.time_sync->qor << ",calendar=" << clock.time_sync->calendar << ' ';
    }
    if (clock.boot_time) {
        text << "boot=" << *clock.boot_time;
    }
    return text.str();
}

class Differential : public testing::Test {
protected:
    void compare(const Report &report, const Clock &clock) {
        const std::string expected = oracle::describe(report.data(), clock);
        const std::string described = oracle::describe_with_decoder(report.data(), clock, _generator.below(64));
        if (described != expected && ++_disagreements <= kShownDisagreements) {
            ADD_FAILURE() << "report:  " << hexadecimal(report) << "\nclock:   " << text_of(clock)
                          << "\ndecoder: " << described << "\noracle:  " << expected;
        }
    }

    void compare(const Report &report) { compare(report, _generator.clock(report)); }

    void TearDown() override { EXPECT_EQ(_disagreements, 0u); }

    ReportGenerator _generator{20220915};

private:
    static constexpr std::uint64_t kShownDisagreements = 5;
    std::uint64_t _disagreements = 0;
};

TEST_F(Differential, EveryCategoryWithEveryType) {
    for (std::uint64_t i = 0; i < kCategoriesAndTypes * kCategoryAndTypeRounds; ++i) {
        Header header = _generator.header();
        header.type = static_cast<std::uint8_t>(i);
        header.category = static_cast<std::uint8_t>(i >> 8);

        compare(_generator.report(header));
    }
}

TEST_F(Differential, EveryNamedIdAndItsNeighbours) {
    for (std::uint64_t i = 0; i < kNamed * kNamedRounds; ++i) {
        std::uint64_t rest = i;
        const auto next = [&rest](std::uint64_t count) {
            const std::uint64_t id = rest % count;
            rest /= count;
            return static_cast<std::uint8_t>(id);
        };
        Header header{};
        header.type = next(kNamedTypes);
        header.event = next(kNamedEvents);
        header.component = next(kNamedComponents);
        header.category = next(kNamedCategories);

        compare(_generator.report(header));
    }
}

TEST_F(Differential, EveryEventOfEveryNamedComponent) {
    for (std::uint64_t i = 0; i < kEvents; ++i) {
        Header header = _generator.header();
        header.event = static_cast<std::uint8_t>(i);
        header.component = static_cast<std::uint8_t>(i / 256 % kNamedComponents);
        header.category = static_cast<std::uint8_t>(i / 256 / kNamedComponents);

        compare(_generator.report(header));
    }
}

TEST_F(Differential, GenericPayloads) {
    for (std::uint64_t i = 0; i < kGenericReports; ++i) {
        compare(_generator.generic_report());
    }
}

TEST_F(Differential, SshbPayloads) {
    for (std::uint64_t i = 0; i < kSshbReports; ++i) {
        compare(_generator.sshb_report());
    }
}

TEST_F(Differential, VastrelPayloads) {
    for (std::uint64_t i = 0; i < kVastrelReports; ++i) {
        compare(_generator.vastrel_report());
    }
}

TEST_F(Differential, WakePayloads) {
    for (std::uint64_t i = 0; i < kWakeReports; ++i) {
        compare(_generator.wake_report());
    }
}

TEST_F(Differential, AnyReport) {
    for (std::uint64_t i = 0; i < kAnyReports; ++i) {
        Report report = _generator.report(_generator.header());
        if (i % 2 == 0) {
            std::generate(report.begin(), report.end(),
                          [this] { return static_cast<unsigned char>(_generator.below(256)); });
        }

        compare(report);
    }
}

// Successive reports share a second, a minute or neither, go back in time, and cross the hours in which daylight saving
// time begins and ends.
TEST_F(Differential, ReportsInChronologicalOrder) {
    constexpr std::uint64_t kSteps[] = {0, 1, 999, 250'000, 999'999, 1'000'000, 59'000'000, 3'600'000'000};
    Clock clock;
    std::uint64_t timestamp = 0;
    for (std::uint64_t i = 0; i < kReportsInTime; ++i) {
        Report report = _generator.report({0, 0, 0, 0});
        if (i % 100 == 0) {
            clock = {_generator.time_sync(report), i};
        }
        const std::uint64_t step = kSteps[_generator.below(std::size(kSteps))];
        timestamp = _generator.below(8) == 0 ? timestamp - step : timestamp + step;
        for (std::size_t byte = 0; byte < 8; ++byte) {
            report[8 + byte] = static_cast<unsigned char>(timestamp >> (8 * byte));
        }

        compare(report, clock);
    }
}

// A zone with daylight saving time that needs no zone file.
const testing::Environment *const kZone =
    testing::AddGlobalTestEnvironment(new TimeZoneEnvironment("CET-1CEST,M3.5.0,M10.5.0/3"));

} // namespace
