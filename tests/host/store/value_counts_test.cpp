#include "host/store/value_counts.h"

#include <limits>
#include <map>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

namespace {

using Model = std::map<double, std::uint64_t>;

Model content_of(const host::ValueCounts &counts) {
    Model content;
    for (const auto &[value, count] : counts) {
        EXPECT_TRUE(content.emplace(value, count).second) << value << " stands twice";
    }
    return content;
}

RC_GTEST_PROP(ValueCountsProperty, CountsAreThoseOfEachValueHoweverOftenItIsUsedAgain, ()) {
    host::ValueCounts counts;
    for (int use = 0; use < 3; ++use) {
        Model expected;
        for (const int value : *rc::gen::container<std::vector<int>>(rc::gen::inRange(-50, 50))) {
            counts.add(value, static_cast<std::uint64_t>(value * value) + 1);
            expected[value] += static_cast<std::uint64_t>(value * value) + 1;
        }

        RC_ASSERT(content_of(counts) == expected);
        counts.clear();
        RC_ASSERT(counts.empty());
    }
}

TEST(ValueCountsTest, ManyValuesAreAllKept) {
    host::ValueCounts counts;
    Model expected;
    for (int round = 0; round < 2; ++round) {
        for (int value = 0; value < 100'000; ++value) {
            counts.add(value / 64.0, 2);
            expected[value / 64.0] = 2;
        }
        EXPECT_EQ(content_of(counts), expected);
        counts.clear();
    }
}

TEST(ValueCountsTest, NeighboursAndExtremesAreValuesOfTheirOwn) {
    const Model expected = {
        {-std::numeric_limits<double>::infinity(), 1},     {0.0, 2},
        {std::numeric_limits<double>::denorm_min(), 3},    {1.0, 4},
        {1.0 + std::numeric_limits<double>::epsilon(), 5}, {std::numeric_limits<double>::infinity(), 6}};
    host::ValueCounts counts;
    for (const auto &[value, count] : expected) {
        counts.add(value, count);
    }

    EXPECT_EQ(content_of(counts), expected);
}

} // namespace
