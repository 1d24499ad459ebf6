/** Exact counts of many durations. */
#include "cli/page/counted_durations.h"

#include <cstdint>
#include <map>
#include <random>
#include <vector>

#include <gtest/gtest.h>

using cli::CountedDurations;

namespace {

TEST(CountedDurationsTest, CountsEveryDurationExactly) {
    std::mt19937 random(7); // NOLINT(cert-msc51-cpp): the same durations on every run
    std::map<std::uint64_t, std::uint64_t> expected;
    CountedDurations durations;
    for (std::size_t i = 0; i < 20'000; ++i) {
        // Many of few, and a few of many.
        const std::uint64_t duration = i % 5 != 0 ? random() % 50 : random() % 10'000;
        durations.add(duration);
        ++expected[duration];
        if (i % 7'000 == 0) {
            EXPECT_EQ(durations.counted(), std::vector<CountedDurations::Counted>(expected.begin(), expected.end()));
        }
    }
    EXPECT_EQ(durations.counted(), std::vector<CountedDurations::Counted>(expected.begin(), expected.end()));
}

TEST(CountedDurationsTest, OfNothingHasNothing) { EXPECT_TRUE(CountedDurations().counted().empty()); }

} // namespace
