#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "platform/RvKernel.h"

namespace {

/** The boot time that the kernel itself publishes, in whole seconds. */
std::int64_t published_boot_time() {
    std::ifstream stat("/proc/stat");
    for (std::string word; stat >> word;) {
        std::int64_t seconds = 0;
        if (word == "btime" && stat >> seconds) {
            return seconds;
        }
    }
    return 0;
}

TEST(Kernel, BootTimeIsTheOneThatTheKernelPublishes) {
    const std::int64_t published = published_boot_time();
    if (published == 0) {
        GTEST_SKIP() << "/proc/stat does not say when the kernel booted";
    }
    std::int64_t seconds = 0;
    std::int32_t microseconds = 0;

    ASSERT_TRUE(RvKernelGetBootTime(&seconds, &microseconds));

    // The kernel rounds, and the wall clock is adjusted now and then.
    EXPECT_LE(std::llabs(seconds - published), 1);
}

} // namespace
