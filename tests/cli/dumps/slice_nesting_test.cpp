/** Slices of a thread nest or lie apart. */
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <set>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "cli/dumps/slice_nesting.h"

namespace cli {

static bool operator==(const Slice &a, const Slice &b) { return a.begin == b.begin && a.end == b.end; }

} // namespace cli

namespace {

using cli::SettledSlice;
using cli::Slice;
using cli::SliceNesting;

/** The last of these slices of one thread after cutting. */
Slice fit_last(const std::vector<Slice> &slices) {
    SliceNesting nesting;
    Slice last{};
    for (const Slice &slice : slices) {
        last = nesting.fit(1, slice).left;
    }
    return last;
}

TEST(SliceNestingTest, SlicesBesideInAndAroundOthersStayWhole) {
    EXPECT_EQ(fit_last({{10, 20}, {20, 30}}), (Slice{20, 30}));
    EXPECT_EQ(fit_last({{10, 20}, {5, 20}}), (Slice{5, 20}));
    EXPECT_EQ(fit_last({{10, 20}, {10, 30}}), (Slice{10, 30}));
    EXPECT_EQ(fit_last({{10, 20}, {22, 25}, {5, 30}}), (Slice{5, 30}));
    EXPECT_EQ(fit_last({{10, 20}, {12, 15}}), (Slice{12, 15}));
    EXPECT_EQ(fit_last({{10, 20}, {20, 20}}), (Slice{20, 20}));
}

TEST(SliceNestingTest, ASliceThatBeginsInAnotherAndEndsAfterItBeginsAtItsEnd) {
    EXPECT_EQ(fit_last({{10, 20}, {15, 30}}), (Slice{20, 30}));
    EXPECT_EQ(fit_last({{10, 20}, {22, 25}, {15, 30}}), (Slice{20, 30}));
}

TEST(SliceNestingTest, ASliceInWhichALaterOneHadBegunEndsThere) {
    EXPECT_EQ(fit_last({{20, 30}, {10, 25}}), (Slice{10, 20}));
}

TEST(SliceNestingTest, WhatWasCutIsWhatLaterSlicesMeet) {
    EXPECT_EQ(fit_last({{10, 20}, {15, 30}, {18, 35}}), (Slice{20, 35})) << "around the rest of the second";
    EXPECT_EQ(fit_last({{10, 20}, {15, 30}, {25, 35}}), (Slice{30, 35}));
}

TEST(SliceNestingTest, ThreadsAreOnTheirOwn) {
    SliceNesting nesting;
    EXPECT_TRUE(nesting.fit(1, {10, 20}).is_first);

    EXPECT_EQ(nesting.fit(2, {15, 30}).left, (Slice{15, 30}));
    EXPECT_FALSE(nesting.fit(1, {20, 30}).is_first);
}

bool nest(const Slice &a, const Slice &b) {
    const bool are_beside = a.end <= b.begin || b.end <= a.begin;
    const bool holds_b = a.begin <= b.begin && b.end <= a.end;
    const bool holds_a = b.begin <= a.begin && a.end <= b.end;
    return are_beside || holds_b || holds_a;
}

bool all_nest(const std::vector<Slice> &slices) {
    return std::all_of(slices.begin(), slices.end(), [&](const Slice &a) {
        return std::all_of(slices.begin(), slices.end(), [&](const Slice &b) { return nest(a, b); });
    });
}

TEST(SliceNestingTest, SlicesInTheSameOneAreCutForOneAnother) {
    EXPECT_EQ(fit_last({{0, 100}, {10, 20}, {15, 30}}), (Slice{20, 30}));
    EXPECT_EQ(fit_last({{10, 20}, {5, 30}, {15, 25}}), (Slice{20, 25})) << "the first came to lie in the second";
    EXPECT_EQ(fit_last({{10, 20}, {20, 30}, {15, 28}}), (Slice{20, 28})) << "the rest lies in another";
}

TEST(SliceNestingTest, ThreadsBeyondTheLimitShareAPlace) {
    SliceNesting nesting;
    for (std::uint64_t thread = 0; thread < 65'536; ++thread) {
        nesting.fit(thread, {10, 20});
    }
    nesting.fit(1'000'000, {10, 20});

    EXPECT_FALSE(nesting.fit(65'535, {10, 20}).is_first);
    EXPECT_EQ(nesting.fit(65'535, {15, 30}).left, (Slice{20, 30}))
        << "one of the threads that have a place of their own";
    EXPECT_TRUE(nesting.fit(1'000'000, {10, 20}).is_first);
    EXPECT_EQ(nesting.fit(1'000'000, {15, 30}).left, (Slice{20, 30}));
    EXPECT_EQ(nesting.fit(1'000'000 + 1024, {25, 40}).left, (Slice{30, 40})) << "it shares the place";
}

TEST(NestedSlicesTest, TheEarliestOfManyAreSealed) {
    cli::NestedSlices slices;
    for (std::uint64_t number = 0; number < 10'000; ++number) {
        slices.fit({100 * number, 100 * number + 50});
        ASSERT_LE(slices.size(), cli::NestedSlices::kSlicesAtMost);
    }

    EXPECT_EQ(slices.fit({0, 1'000'000}), (Slice{0, 1'000'000})) << "around all";
    EXPECT_EQ(slices.fit({999'960, 999'970}), (Slice{999'960, 999'970})) << "in a gap that is known";
    const Slice in_a_sealed_one = slices.fit({60, 90});
    EXPECT_EQ(in_a_sealed_one.begin, in_a_sealed_one.end);
}

TEST(NestedSlicesTest, SlicesThatHoldOneAnotherAreSealedFromTheInside) {
    cli::NestedSlices slices;
    for (std::uint64_t depth = 0; depth < 5'000; ++depth) {
        EXPECT_EQ(slices.fit({5'000 - depth, 5'000 + depth + 1}), (Slice{5'000 - depth, 5'000 + depth + 1}));
        ASSERT_LE(slices.size(), cli::NestedSlices::kSlicesAtMost);
    }

    const Slice innermost = slices.fit({4'999, 5'001});
    EXPECT_EQ(innermost.begin, innermost.end);
}

/** Each of many calls holds one other, and both have ended before the next begins. */
TEST(SliceNestingTest, WhatIsGivenUpIsSettledOnceWithItsDepth) {
    constexpr std::uint32_t kCalls = 5'000;
    constexpr std::uint32_t kInner = 7;
    constexpr std::uint32_t kOuter = 8;
    std::vector<SettledSlice> settled;
    SliceNesting nesting(&settled);
    for (std::uint64_t call = 0; call < kCalls; ++call) {
        nesting.fit(1, {10 * call + 2, 10 * call + 4}, kInner);
        nesting.fit(1, {10 * call, 10 * call + 8}, kOuter);
        nesting.fit(1, {10 * call, 10 * call}, kOuter); // empty
    }
    EXPECT_GE(settled.size(), 2 * kCalls - cli::NestedSlices::kSlicesAtMost);
    nesting.settle_all(settled);

    ASSERT_EQ(settled.size(), 2 * kCalls);
    const auto count = [&settled](std::uint32_t label, std::uint32_t depth) {
        return std::ranges::count_if(
            settled, [=](const SettledSlice &slice) { return slice.label == label && slice.depth == depth; });
    };
    EXPECT_EQ(count(kInner, 1), kCalls);
    EXPECT_EQ(count(kOuter, 0), kCalls);
}

TEST(SliceNestingTest, WhatAllThreadsGiveUpIsSettledOnce) {
    constexpr std::uint64_t kThreads = 550; // with as many slices as each may keep, these are too many
    constexpr std::uint64_t kSlicesOfThread = 1'000;
    std::vector<SettledSlice> settled;
    SliceNesting nesting(&settled);
    for (std::uint64_t number = 0; number < kSlicesOfThread; ++number) {
        for (std::uint64_t thread = 0; thread < kThreads; ++thread) {
            nesting.fit(thread, {2 * number, 2 * number + 1});
        }
    }
    EXPECT_GT(settled.size(), 0u);
    nesting.settle_all(settled);

    EXPECT_EQ(settled.size(), kThreads * kSlicesOfThread);
}

TEST(NestedSlicesTest, TheInnermostIsSettledBelowAllThatAreKnownToHoldIt) {
    constexpr std::uint32_t kCount = 5'000;
    std::vector<SettledSlice> settled;
    cli::NestedSlices slices;
    for (std::uint32_t number = 0; number < kCount; ++number) {
        slices.fit({kCount - number, kCount + number + 1}, number, &settled);
    }
    slices.settle_all(settled);

    std::vector<std::uint32_t> depths(kCount, kCount);
    ASSERT_EQ(settled.size(), kCount);
    for (const SettledSlice &slice : settled) {
        depths.at(slice.label) = slice.depth;
    }
    EXPECT_EQ(std::ranges::count(depths, kCount), 0) << "each once";
    EXPECT_EQ(depths.front(), cli::NestedSlices::kSlicesAtMost);
    EXPECT_EQ(depths.back(), 0u);
}

/** Times near one another, so that slices overlap in every way. */
Slice any_slice(std::uint64_t range) {
    const std::uint64_t begin = *rc::gen::inRange<std::uint64_t>(0, range);
    return {begin, begin + *rc::gen::inRange<std::uint64_t>(0, range / 4 + 2)};
}

RC_GTEST_PROP(SliceNestingTest, SlicesInAnyOrderNest, ()) {
    SliceNesting nesting;
    std::vector<Slice> fitted;
    const std::uint64_t range = *rc::gen::inRange<std::uint64_t>(2, 200);
    for (int number = *rc::gen::inRange(0, 60); number != 0; --number) {
        const Slice slice = any_slice(range);
        const Slice left = nesting.fit(1, slice).left;
        RC_ASSERT(slice.begin <= left.begin && left.begin <= left.end && left.end <= slice.end);
        fitted.push_back(left);
    }

    RC_ASSERT(all_nest(fitted));
}

/** What is left of a slice beside the earlier ones, by a look at each of them. */
Slice left_of(Slice slice, const std::vector<Slice> &earlier) {
    for (const Slice &other : earlier) {
        if (other.begin < slice.begin && slice.begin < other.end && other.end < slice.end) {
            slice.begin = other.end;
        }
    }
    for (const Slice &other : earlier) {
        if (slice.begin < other.begin && other.begin < slice.end && slice.end < other.end) {
            slice.end = other.begin;
        }
    }
    return slice;
}

/** How many of the slices hold the one with this number. Of those that are the same, earlier ones are taken to hold
 * later ones. */
std::size_t depth_of(std::size_t number, const std::vector<Slice> &slices) {
    std::size_t depth = 0;
    const Slice &slice = slices[number];
    for (std::size_t other = 0; other < slices.size(); ++other) {
        const bool is_around = slices[other].begin <= slice.begin && slice.end <= slices[other].end;
        depth += is_around && (!(slices[other] == slice) || other < number) ? 1 : 0;
    }
    return depth;
}

/** @param ends_rise  whether each slice ends after those before. */
void expect_what_a_look_at_each_finds(bool ends_rise) {
    std::vector<SettledSlice> settled;
    SliceNesting nesting(&settled);
    std::vector<Slice> fitted;
    const std::uint64_t range = *rc::gen::inRange<std::uint64_t>(2, 200);
    std::uint64_t end = range;
    for (int count = *rc::gen::inRange(0, 60); count != 0; --count) {
        end += *rc::gen::inRange<std::uint64_t>(1, 10);
        const Slice slice = ends_rise ? Slice{end - *rc::gen::inRange<std::uint64_t>(1, range), end} : any_slice(range);
        fitted.push_back(nesting.fit(1, slice, static_cast<std::uint32_t>(fitted.size())).left);
        RC_ASSERT(fitted.back() == left_of(slice, {fitted.begin(), fitted.end() - 1}));
    }
    nesting.settle_all(settled);
    using Held = std::tuple<std::uint64_t, std::uint64_t, std::size_t>;
    std::multiset<Held> expected;
    for (std::size_t number = 0; number < fitted.size(); ++number) {
        if (fitted[number].begin != fitted[number].end) {
            expected.emplace(fitted[number].begin, fitted[number].end, depth_of(number, fitted));
        }
    }
    std::multiset<Held> found;
    for (const SettledSlice &slice : settled) {
        found.emplace(fitted.at(slice.label).begin, fitted.at(slice.label).end, slice.depth);
    }
    RC_ASSERT(found == expected);
}

RC_GTEST_PROP(SliceNestingTest, SlicesInAnyOrderAreCutAndHeldAsALookAtEachFinds, ()) {
    expect_what_a_look_at_each_finds(false);
}

RC_GTEST_PROP(SliceNestingTest, SlicesInTheOrderOfTheirEndsAreCutAndHeldAsALookAtEachFinds, ()) {
    expect_what_a_look_at_each_finds(true);
}

TEST(SliceNestingTest, SlicesOfThousandsOfThreadsInAnyOrderNest) {
    constexpr std::uint64_t kThreads = 5'000;
    SliceNesting nesting;
    std::mt19937_64 random(5);
    std::vector<std::vector<Slice>> fitted(kThreads);
    for (int number = 0; number < 100'000; ++number) {
        const std::uint64_t begin = random() % 1'000;
        const std::uint64_t thread = random() % kThreads;
        fitted[thread].push_back(nesting.fit(thread, {begin, begin + random() % 300}).left);
    }

    EXPECT_TRUE(std::all_of(fitted.begin(), fitted.end(), all_nest));
}

TEST(NestedSlicesTest, SlicesNestAlsoWhereSomeAreSealed) {
    cli::NestedSlices slices;
    std::mt19937_64 random(6);
    std::vector<Slice> fitted;
    for (std::uint64_t number = 0; number < 4'000; ++number) {
        const std::uint64_t begin = 20 * number + random() % 20'000;
        fitted.push_back(slices.fit({begin, begin + random() % 100}));
        ASSERT_LE(slices.size(), cli::NestedSlices::kSlicesAtMost);
    }

    EXPECT_TRUE(all_nest(fitted));
}

RC_GTEST_PROP(SliceNestingTest, SlicesInTheOrderOfTheirEndsKeepTheirEnds, ()) {
    SliceNesting nesting;
    std::uint64_t end = 1'000;
    for (const std::uint8_t step :
         *rc::gen::container<std::vector<std::uint8_t>>(rc::gen::inRange<std::uint8_t>(1, 20))) {
        end += step;
        const Slice slice{end - *rc::gen::inRange<std::uint64_t>(0, 60), end};
        const Slice left = nesting.fit(1, slice).left;
        RC_ASSERT(left.end == slice.end);
        RC_ASSERT(slice.begin <= left.begin && left.begin <= left.end);
    }
}

} // namespace
