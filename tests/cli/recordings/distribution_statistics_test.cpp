#include "cli/recordings/distribution_statistics.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

using cli::histogram;
using cli::percentile;
using cli::statistics_of;
using host::Distribution;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr std::uint64_t kLargestCount = std::numeric_limits<std::int64_t>::max();

/** Every value, repeated as often as it was counted. */
std::vector<double> spelled_out(const Distribution &distribution) {
    std::vector<double> values;
    for (const auto &[value, count] : distribution) {
        values.insert(values.end(), count, value);
    }
    return values;
}

/** Values with 16 fraction bits, as firmware publishes them, with repetitions. */
rc::Gen<Distribution> any_distribution() {
    const auto value = rc::gen::oneOf(rc::gen::arbitrary<std::int32_t>(), rc::gen::inRange(-3, 4));
    const auto entry =
        rc::gen::pair(rc::gen::map(value, [](std::int32_t fixed) { return static_cast<double>(fixed) / 65536; }),
                      rc::gen::inRange<std::uint64_t>(1, 40));
    return rc::gen::map(rc::gen::nonEmpty(rc::gen::container<std::vector<std::pair<double, std::uint64_t>>>(entry)),
                        [](const std::vector<std::pair<double, std::uint64_t>> &entries) {
                            Distribution made;
                            for (const auto &[number, count] : entries) {
                                made[number] += count;
                            }
                            return made;
                        });
}

RC_GTEST_PROP(DistributionStatistics, APercentileIsTheLeastValueThatSoManyPercentDoNotExceed, ()) {
    const Distribution distribution = *any_distribution();
    const unsigned percent = *rc::gen::inRange(1u, 101u);
    const std::vector<double> values = spelled_out(distribution);

    const auto covers = [&](double candidate) {
        const auto reached = static_cast<std::size_t>(
            std::count_if(values.begin(), values.end(), [&](double value) { return value <= candidate; }));
        return reached * 100 >= values.size() * percent;
    };
    const auto expected = std::find_if(values.begin(), values.end(), covers);

    RC_ASSERT(expected != values.end());
    RC_ASSERT(percentile(distribution, percent) == *expected);
}

RC_GTEST_PROP(DistributionStatistics, CountSumAndMeanAreThoseOfTheValuesOneByOne, ()) {
    const Distribution distribution = *any_distribution();
    const std::vector<double> values = spelled_out(distribution);
    std::int64_t fixed_sum = 0;
    for (const double value : values) {
        fixed_sum += static_cast<std::int64_t>(value * 65536);
    }
    const double sum = static_cast<double>(fixed_sum) / 65536;

    const cli::DistributionStatistics all = statistics_of(distribution);

    RC_ASSERT(all.count == values.size());
    RC_ASSERT(all.sum == sum);
    RC_ASSERT(std::abs(all.mean - sum / static_cast<double>(values.size())) <= std::abs(sum) * 1e-15);
    RC_ASSERT(all.minimum == values.front());
    RC_ASSERT(all.maximum == values.back());
}

RC_GTEST_PROP(DistributionStatistics, AHistogramCountsEveryValueOnce, ()) {
    const Distribution distribution = *any_distribution();
    const std::size_t bins = *rc::gen::inRange<std::size_t>(1, 20);

    const std::vector<std::uint64_t> counts = histogram(distribution, bins);

    std::uint64_t sum = 0;
    for (const std::uint64_t count : counts) {
        sum += count;
    }
    RC_ASSERT(counts.size() == bins);
    RC_ASSERT(sum == spelled_out(distribution).size());
    RC_ASSERT(counts.front() > 0u);
}

TEST(DistributionStatisticsTest, NearestRankTakesAValueThatWasPutIn) {
    const Distribution distribution{{15, 1}, {20, 1}, {35, 1}, {40, 1}, {50, 1}};

    EXPECT_EQ(percentile(distribution, 30), 20); // ranks 1.5, 2 and 2.5, rounded up
    EXPECT_EQ(percentile(distribution, 40), 20);
    EXPECT_EQ(percentile(distribution, 50), 35);
    EXPECT_EQ(percentile(distribution, 100), 50);
}

TEST(DistributionStatisticsTest, TheLargestCountsNeitherWrapNorLoseTheLastValue) {
    const Distribution distribution{{1, kLargestCount}, {2, kLargestCount}, {3, kLargestCount}};

    EXPECT_EQ(statistics_of(distribution).count, std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(percentile({{1, kLargestCount}, {2, 1}}, 100), 2);
    EXPECT_EQ(percentile({{1, kLargestCount}, {2, 1}}, 99), 1);
    EXPECT_DOUBLE_EQ(statistics_of({{2, kLargestCount}}).sum, std::ldexp(1.0, 64));
    EXPECT_EQ(histogram({{1, kLargestCount}, {1.1, kLargestCount}, {1.2, kLargestCount}, {9, 1}}, 2)[0],
              std::numeric_limits<std::uint64_t>::max());
}

TEST(DistributionStatisticsTest, TheLargestValuesHaveAMean) {
    constexpr double kLargest = std::numeric_limits<double>::max();

    const cli::DistributionStatistics all = statistics_of({{-kLargest, 1}, {kLargest, 3}});

    EXPECT_EQ(all.mean, kLargest / 2);
    EXPECT_EQ(all.sum, kInfinity);
    EXPECT_THAT(histogram({{-kLargest, 1}, {kLargest, 3}}, 2), ElementsAre(1, 3));
}

TEST(DistributionStatisticsTest, InfiniteValuesAreOrderedAndLieInNoPart) {
    const Distribution distribution{{-kInfinity, 1}, {0, 2}, {1, 3}, {kInfinity, 4}};

    const cli::DistributionStatistics all = statistics_of(distribution);

    EXPECT_EQ(all.minimum, -kInfinity);
    EXPECT_EQ(all.p50, 1);
    EXPECT_EQ(all.p90, kInfinity);
    EXPECT_TRUE(std::isnan(all.mean));
    EXPECT_THAT(histogram(distribution, 3), ElementsAre(2, 0, 3));
    EXPECT_THAT(histogram({{kInfinity, 4}}, 3), IsEmpty());
}

TEST(DistributionStatisticsTest, ABorderBelongsToThePartAboveIt) {
    EXPECT_THAT(histogram({{0, 1}, {1, 2}, {2, 4}, {3, 8}, {4, 16}}, 4), ElementsAre(1, 2, 4, 24));
}

TEST(DistributionStatisticsTest, OneValueAloneLiesInTheFirstPart) {
    EXPECT_THAT(histogram({{-7.5, 9}}, 4), ElementsAre(9, 0, 0, 0));
}

} // namespace
