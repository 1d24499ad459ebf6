#include <cstdint>
#include <cstdio>

#include <gtest/gtest.h>

#include "host/TallybookStore.h"
#include "host/fault_points.h"
#include "platform/Owned.h"
#include "platform/RvAllocator.h"
#include "platform/RvKernel.h"
#include "platform/RvLog.h"
#include "platform/TallybookStore.h"

namespace {

class PlatformFaults : public ::testing::Test {
protected:
    void TearDown() override {
        host::disarm_faults();
        host::clear_store();
    }

    platform::OwnedValue key{TvStringCreateWithCString("key", kTvStringEncodingUTF8)};
};

TEST_F(PlatformFaults, StruckAllocationGivesNull) {
    host::arm_fault("RvAllocatorAllocate", 0, host::Strikes::Once);

    EXPECT_EQ(RvAllocatorAllocate(RvAllocatorGetDefault(), 8), nullptr);
    void *storage = RvAllocatorAllocate(RvAllocatorGetDefault(), 8);
    EXPECT_NE(storage, nullptr);
    RvAllocatorDeallocate(RvAllocatorGetDefault(), storage);
}

TEST_F(PlatformFaults, AllocationsBehindTypedValuesAreNotCountedAsTheOperation) {
    host::arm_fault("RvAllocatorAllocate", 0, host::Strikes::ForGood);

    EXPECT_TRUE(platform::OwnedValue(TvNumberCreateSInt32(1)));
}

TEST_F(PlatformFaults, StruckBootTimeFailsAndTouchesNothing) {
    std::int64_t seconds = 1;
    std::int32_t microseconds = 2;
    host::arm_fault("RvKernelGetBootTime", 0, host::Strikes::Once);

    EXPECT_FALSE(RvKernelGetBootTime(&seconds, &microseconds));
    EXPECT_EQ(seconds, 1);
    EXPECT_EQ(microseconds, 2);
    EXPECT_TRUE(RvKernelGetBootTime(&seconds, &microseconds));
}

TEST_F(PlatformFaults, StruckLogCreationGivesNull) {
    host::arm_fault("RvLogCreate", 0, host::Strikes::Once);

    EXPECT_EQ(RvLogCreate("subsystem", "category"), nullptr);
    EXPECT_NE(RvLogCreate("subsystem", "category"), nullptr);
}

TEST_F(PlatformFaults, StruckStoreOperationsLeaveTheStoreAsItWas) {
    TallybookScalarSet(key.get(), 1);
    TallybookDistributionPush(key.get(), 2);
    for (const char *operation :
         {"TallybookScalarSet", "TallybookScalarAdd", "TallybookScalarClear", "TallybookDistributionSet",
          "TallybookDistributionPush", "TallybookDistributionClear"}) {
        host::arm_fault(operation, 0, host::Strikes::ForGood);
    }

    TallybookScalarSet(key.get(), 5);
    TallybookScalarAdd(key.get(), 5);
    TallybookScalarClear(key.get());
    TallybookDistributionSet(key.get(), 5);
    TallybookDistributionPush(key.get(), 5);
    TallybookDistributionClear(key.get());

    const host::StoreContents contents = host::store_contents();
    EXPECT_EQ(contents.scalars, (std::map<std::string, std::int64_t>{{"key", 1}}));
    EXPECT_EQ(contents.distributions.at("key"), (host::Distribution{{2, 1}}));
}

} // namespace
