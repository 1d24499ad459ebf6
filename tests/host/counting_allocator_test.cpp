// The allocator that tests hand to a plug-in.

#include <gtest/gtest.h>

#include <array>

#include "host/counting_allocator.h"

namespace {

using host::CountingAllocator;

TEST(CountingAllocatorTest, KnowsTheBlocksThatWereNotReturned) {
    const CountingAllocator allocator;
    void *kept = allocator.allocate(8);
    void *returned = allocator.allocate(8);

    allocator.deallocate(returned);

    EXPECT_TRUE(allocator.owns(kept));
    EXPECT_FALSE(allocator.owns(returned));
    EXPECT_EQ(allocator.live(), 1u);
    EXPECT_EQ(allocator.allocations(), 2u);
}

TEST(CountingAllocatorTest, FailsTheChosenAllocationAlone) {
    CountingAllocator allocator;
    allocator.fail_at(1);

    EXPECT_NE(allocator.allocate(8), nullptr);
    EXPECT_EQ(allocator.allocate(8), nullptr);
    EXPECT_NE(allocator.allocate(8), nullptr);
    EXPECT_EQ(allocator.live(), 2u);
    EXPECT_EQ(allocator.allocations(), 3u);
}

TEST(CountingAllocatorTest, ExhaustedFailsEveryAllocation) {
    CountingAllocator allocator;
    allocator.exhaust();

    EXPECT_EQ(allocator.allocate(8), nullptr);
    EXPECT_EQ(allocator.allocate(8), nullptr);
}

TEST(CountingAllocatorTest, CountsABlockFromElsewhereAndDoesNotFreeIt) {
    const CountingAllocator allocator;
    std::array<char, 8> foreign{};

    allocator.deallocate(foreign.data());

    EXPECT_EQ(allocator.foreign_blocks(), 1u);
}

TEST(CountingAllocatorTest, FreesTheBlocksThatWereNotReturned) {
    CountingAllocator allocator;
    allocator.allocate(8);
    allocator.allocate(8);

    EXPECT_EQ(allocator.free_live_blocks(), 2u);

    EXPECT_EQ(allocator.live(), 0u);
    EXPECT_EQ(allocator.free_live_blocks(), 0u);
}

} // namespace
