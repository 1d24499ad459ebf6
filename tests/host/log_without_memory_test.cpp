#include "host/RvLog.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/limited_memory.h"

namespace {

/** The plug-in is C to the host: no exception may reach it. */
TEST(LogWithoutMemory, LosesTheMessageAndSaysSo) {
    RvLogRef log = RvLogCreate("Sub", "Cat");
    std::string received;
    received.reserve(100);
    const auto sink = host::log_to_function([&](const host::LogMessage &message) { received += message.text; });
    bool had_enough = false;
    int losses = 0;
    for (int allocations = 0; !had_enough; ++allocations) {
        received.clear();
        testing::internal::CaptureStderr();
        tests::allocations_left = allocations;
        RvLogWrite(log, kRvLogLevelError, "a text that is too long to be kept without an allocation");
        had_enough = tests::allocations_left > 0;
        tests::allocations_left = tests::kNoLimit;
        const std::string said = testing::internal::GetCapturedStderr();

        if (received.empty()) {
            EXPECT_EQ(said, "log: a message was lost: std::bad_alloc\n") << allocations;
            ++losses;
        } else {
            EXPECT_EQ(received, "a text that is too long to be kept without an allocation");
            EXPECT_EQ(said, "");
        }
    }
    EXPECT_GT(losses, 1) << "no allocation failed";
}

} // namespace
