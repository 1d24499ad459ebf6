#include <cstdint>
#include <cstring>

#include <gtest/gtest.h>

#include "platform/RvAllocator.h"
#include "tests/contract/port.h"

namespace {

TEST(AllocatorContract, DefaultAllocatorIsAlwaysTheSameAndNotNull) {
    ASSERT_NE(RvAllocatorGetDefault(), nullptr);
    EXPECT_EQ(RvAllocatorGetDefault(), RvAllocatorGetDefault());
}

TEST(AllocatorContract, StorageIsWritableAndAlignedForAnyScalar) {
    constexpr std::size_t kSizes[] = {1, 7, 16, 200, 100'000};
    for (const std::size_t size : kSizes) {
        void *storage = RvAllocatorAllocate(RvAllocatorGetDefault(), size);

        ASSERT_NE(storage, nullptr) << size;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(storage) % alignof(std::max_align_t), 0u) << size;
        std::memset(storage, 0xA5, size);

        RvAllocatorDeallocate(RvAllocatorGetDefault(), storage);
    }
}

TEST(AllocatorContract, NothingIsAllocatedForASizeOfZero) {
    EXPECT_EQ(RvAllocatorAllocate(RvAllocatorGetDefault(), 0), nullptr);
}

TEST(AllocatorContract, NullAllocatorGivesNull) { EXPECT_EQ(RvAllocatorAllocate(nullptr, 16), nullptr); }

TEST(AllocatorContract, ExhaustedAllocatorGivesNull) {
    EXPECT_EQ(RvAllocatorAllocate(contract::port().allocator().exhausted_allocator(), 16), nullptr);
}

TEST(AllocatorContract, ImpossibleSizeGivesNull) {
    EXPECT_EQ(RvAllocatorAllocate(RvAllocatorGetDefault(), SIZE_MAX / 2 + 1), nullptr);
}

TEST(AllocatorContract, StorageComesFromTheAllocatorThatIsAskedAndGoesBackToIt) {
    contract::AllocatorPort &memory = contract::port().allocator();
    const std::size_t before = memory.pieces_in_use();

    void *storage = RvAllocatorAllocate(memory.another_allocator(), 24);

    ASSERT_NE(storage, nullptr);
    EXPECT_EQ(memory.pieces_in_use(), before + 1);
    RvAllocatorDeallocate(memory.another_allocator(), storage);
    EXPECT_EQ(memory.pieces_in_use(), before);
}

TEST(AllocatorContract, GivingBackNullDoesNothing) {
    contract::AllocatorPort &memory = contract::port().allocator();
    const std::size_t before = memory.pieces_in_use();

    RvAllocatorDeallocate(memory.another_allocator(), nullptr);

    EXPECT_EQ(memory.pieces_in_use(), before);
}

TEST(AllocatorContract, GivingBackToANullAllocatorDoesNothing) {
    contract::AllocatorPort &memory = contract::port().allocator();
    void *storage = RvAllocatorAllocate(memory.another_allocator(), 24);
    const std::size_t before = memory.pieces_in_use();

    RvAllocatorDeallocate(nullptr, storage);

    EXPECT_EQ(memory.pieces_in_use(), before);
    RvAllocatorDeallocate(memory.another_allocator(), storage);
}

} // namespace
