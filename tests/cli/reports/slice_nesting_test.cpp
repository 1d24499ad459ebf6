/** Slices of a thread nest or lie apart. */
#include <algorithm>
#include <cstdint>
#include <map>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "cli/reports/slice_nesting.h"

namespace cli {

static bool operator==(const Slice &a, const Slice &b) { return a.begin == b.begin && a.end == b.end; }

} // namespace cli

namespace {

using cli::Slice;
using cli::SliceNesting;

/** The last of these slices of one thread after cutting. */
Slice fit_last(const std::vector<Slice> &slices) {
    SliceNesting nesting;
    Slice last{};
    for (const Slice &slice : slices) {
        last = nesting.fit(1, slice);
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
    nesting.fit(1, {10, 20});

    EXPECT_EQ(nesting.fit(2, {15, 30}), (Slice{15, 30}));
    EXPECT_TRUE(nesting.knows(1));
    EXPECT_FALSE(nesting.knows(3));
}

TEST(SliceNestingTest, OfManyThreadsNotAllAreKept) {
    constexpr std::uint64_t kThreads = 10'000;
    SliceNesting nesting;
    for (std::uint64_t thread = 0; thread < kThreads; ++thread) {
        nesting.fit(thread, {10, 20});
    }

    std::uint64_t kept = 0;
    for (std::uint64_t thread = 0; thread < kThreads; ++thread) {
        kept += nesting.knows(thread) ? 1 : 0;
    }
    EXPECT_LE(kept, 1024u);
    EXPECT_TRUE(nesting.knows(kThreads - 1));
}

TEST(SliceNestingTest, OfManySlicesTheFirstAreForgotten) {
    SliceNesting nesting;
    for (std::uint64_t number = 0; number < 10'000; ++number) {
        nesting.fit(1, {100 * number, 100 * number + 50});
    }

    EXPECT_EQ(nesting.fit(1, {25, 1'000'000}), (Slice{25, 1'000'000})) << "the first";
    SliceNesting few;
    few.fit(1, {0, 50});
    EXPECT_EQ(few.fit(1, {25, 1'000'000}), (Slice{50, 1'000'000}));
}

bool nest(const Slice &a, const Slice &b) {
    const bool are_beside = a.end <= b.begin || b.end <= a.begin;
    const bool holds_b = a.begin <= b.begin && b.end <= a.end;
    const bool holds_a = b.begin <= a.begin && a.end <= b.end;
    return are_beside || holds_b || holds_a;
}

RC_GTEST_PROP(SliceNestingTest, SlicesInTheOrderOfTheirEndsNestAndKeepTheirEnds, ()) {
    SliceNesting nesting;
    std::vector<Slice> fitted;
    std::uint64_t end = 1'000;
    for (const std::uint8_t step :
         *rc::gen::container<std::vector<std::uint8_t>>(rc::gen::inRange<std::uint8_t>(1, 20))) {
        end += step;
        const Slice slice{end - *rc::gen::inRange<std::uint64_t>(0, 60), end};
        const Slice left = nesting.fit(1, slice);
        RC_ASSERT(left.end == slice.end);
        RC_ASSERT(slice.begin <= left.begin && left.begin <= left.end);
        fitted.push_back(left);
    }

    for (const Slice &a : fitted) {
        RC_ASSERT(std::all_of(fitted.begin(), fitted.end(), [&](const Slice &b) { return nest(a, b); }));
    }
}

} // namespace
