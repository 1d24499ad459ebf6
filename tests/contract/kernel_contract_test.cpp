#include <chrono>
#include <cstdint>
#include <thread>

#include <gtest/gtest.h>

#include "platform/RvKernel.h"

namespace {

TEST(KernelContract, BootTimeIsInThePastAndItsMicrosecondsAreBelowAMillion) {
    std::int64_t seconds = -1;
    std::int32_t microseconds = -1;

    ASSERT_TRUE(RvKernelGetBootTime(&seconds, &microseconds));

    const auto now =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch());
    EXPECT_GT(seconds, 0);
    EXPECT_LE(seconds, now.count());
    EXPECT_GE(microseconds, 0);
    EXPECT_LE(microseconds, 999'999);
}

TEST(KernelContract, BootTimeIsTheSameForEveryCallAndThread) {
    std::int64_t first_seconds = 0;
    std::int32_t first_microseconds = 0;
    ASSERT_TRUE(RvKernelGetBootTime(&first_seconds, &first_microseconds));

    std::int64_t later_seconds = 0;
    std::int32_t later_microseconds = 0;
    std::thread([&] { RvKernelGetBootTime(&later_seconds, &later_microseconds); }).join();

    EXPECT_EQ(later_seconds, first_seconds);
    EXPECT_EQ(later_microseconds, first_microseconds);
}

TEST(KernelContract, NullOutputIsAFailureThatTouchesNothing) {
    std::int64_t seconds = 12;
    std::int32_t microseconds = 34;

    EXPECT_FALSE(RvKernelGetBootTime(nullptr, &microseconds));
    EXPECT_FALSE(RvKernelGetBootTime(&seconds, nullptr));

    EXPECT_EQ(seconds, 12);
    EXPECT_EQ(microseconds, 34);
}

} // namespace
