#include "decoder/remembered_second.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <thread>

#include "decoder/device_clock.h"
#include "decoder/report_line.h"
#include "tests/decoder/report_builder.h"

namespace {

constexpr std::uint64_t kJuly2026 = 1'784'000'000; // seconds

/** The process's time zone as long as it exists; then the one before. No other thread may use local time meanwhile. */
class Zone {
public:
    explicit Zone(const char *zone) {
        if (const char *before = std::getenv("TZ")) { // NOLINT(concurrency-mt-unsafe)
            _before = before;
        }
        enter(zone);
    }
    ~Zone() {
        if (_before) {
            enter(_before->c_str());
        } else {
            unsetenv("TZ"); // NOLINT(concurrency-mt-unsafe)
            tzset();
        }
    }
    Zone(const Zone &) = delete;
    Zone &operator=(const Zone &) = delete;

    static void enter(const char *zone) {
        setenv("TZ", zone, 1); // NOLINT(concurrency-mt-unsafe)
        tzset();
    }

private:
    std::optional<std::string> _before;
};

std::string calendar_time() {
    text_buffer line;
    decoder::append_line(line, ReportBuilder(0, 0, 0, 255), {decoder::time_sync{0, kJuly2026 * 1'000'000'000}, {}});
    const std::string_view text = line.text();
    return std::string(text.substr(text.find("'calendar-time':") + 17, 15));
}

TEST(ZoneOfALine, IsThatOfTheProcessAtEveryReportOfASecond) {
    const Zone zone("JST-9");
    EXPECT_EQ(calendar_time(), "Jul 14 12:33:20");
    Zone::enter("EST+5");
    EXPECT_EQ(calendar_time(), "Jul 13 22:33:20");
    Zone::enter("JST-9");
    EXPECT_EQ(calendar_time(), "Jul 14 12:33:20");
}

/** The C library names and counts both alike: they differ in the months of their summer time alone. */
TEST(ZoneOfALine, IsThatOfTheProcessAlsoWhenNothingButItsRulesHasChanged) {
    const Zone zone("AAA+3BBB,M3.5.0,M10.5.0");
    EXPECT_EQ(calendar_time(), "Jul 14 01:33:20");
    Zone::enter("AAA+3BBB,M10.5.0,M12.5.0");
    EXPECT_EQ(calendar_time(), "Jul 14 00:33:20");
}

int conversions = 0;

int count_conversion(const std::tm &time) {
    ++conversions;
    return time.tm_sec;
}

int second_of(std::uint64_t second) { return decoder::remembered_second<count_conversion>(second); }

/** How often local time is asked for while `run` runs. */
template <typename Run>
int conversions_of(const Run &run) {
    const int before = conversions;
    run();
    return conversions - before;
}

TEST(RememberedSecond, IsConvertedOnceUnderAnUnchangingZone) {
    EXPECT_EQ(conversions_of([] {
                  const decoder::unchanging_zone zone;
                  for (int i = 0; i < 10; ++i) {
                      EXPECT_EQ(second_of(kJuly2026), 20);
                  }
              }),
              1);
}

TEST(RememberedSecond, OfEachKindIsTheLastOne) {
    const decoder::unchanging_zone zone;
    EXPECT_EQ(conversions_of([] {
                  EXPECT_EQ(second_of(kJuly2026), 20);
                  EXPECT_EQ(second_of(kJuly2026 + 1), 21);
                  EXPECT_EQ(second_of(kJuly2026), 20);
              }),
              3);
}

TEST(RememberedSecond, IsForgottenWhereTheZoneMayChange) {
    EXPECT_EQ(conversions_of([] {
                  second_of(kJuly2026);
                  second_of(kJuly2026);
              }),
              2)
        << "nobody promises anything";
    EXPECT_EQ(conversions_of([] {
                  for (int i = 0; i < 2; ++i) {
                      const decoder::unchanging_zone zone;
                      second_of(kJuly2026);
                  }
                  second_of(kJuly2026);
              }),
              3)
        << "one promise has ended before the next";
}

TEST(RememberedSecond, OutlastsAPromiseWithinAnother) {
    EXPECT_EQ(conversions_of([] {
                  const decoder::unchanging_zone outer;
                  second_of(kJuly2026);
                  {
                      const decoder::unchanging_zone inner;
                      second_of(kJuly2026);
                  }
                  second_of(kJuly2026);
              }),
              1);
}

TEST(RememberedSecond, IsThatOfItsThread) {
    const decoder::unchanging_zone zone;
    second_of(kJuly2026);
    std::thread([] {
        EXPECT_EQ(conversions_of([] {
                      second_of(kJuly2026);
                      second_of(kJuly2026);
                  }),
                  2)
            << "another thread's promise";
    }).join();
}

TEST(RememberedSecond, ZeroIsASecond) {
    const decoder::unchanging_zone zone;
    EXPECT_EQ(conversions_of([] { second_of(0); }), 1);
}

} // namespace
