#include <atomic>
#include <csignal>
#include <cstdint>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "decoder/ProfileDescription.h"
#include "platform/Owned.h"
#include "tests/decoder/report_builder.h"
#include "tests/decoder/time_sync_service.h"

namespace {

/** A report of its own second, so that describing it asks for the local time. */
bool describe_second(std::uint64_t second) {
    const _QorProfileReport report = ReportBuilder(1, 1, 0, 1).u64(8, second * 1'000'000);
    const platform::OwnedValue description(CopyProfileDescription(report.bytes));
    return static_cast<bool>(description);
}

/** Forked at any moment, a child finds no lock that a thread of its parent held. A child that waits for one is ended.
 */
TEST(Decoding, AChildForkedWhileOthersDecodeCanDecode) {
    if (QOR_IS_SANITIZED) {
        GTEST_SKIP() << "the sanitizers' own locks are not made for a fork beside threads";
    }
    constexpr int kForks = 150;
    constexpr unsigned kPatienceSeconds = 60;
    const TimeSyncService service;
    service.publish(0, 1'700'000'000'000'000'000);
    std::atomic<bool> is_over = false;
    std::vector<std::thread> threads;
    for (std::uint64_t thread = 1; thread <= 3; ++thread) {
        threads.emplace_back([&is_over, second = thread * 1'000'000]() mutable {
            while (!is_over) {
                describe_second(++second);
            }
        });
    }

    int status = 0;
    for (int i = 0; i < kForks && status == 0; ++i) {
        const pid_t child = ::fork();
        if (child == 0) {
            ::alarm(kPatienceSeconds);
            ::_exit(describe_second(7) ? 0 : 1);
        }
        ASSERT_EQ(::waitpid(child, &status, 0), child);
    }
    is_over = true;
    for (std::thread &thread : threads) {
        thread.join();
    }

    EXPECT_FALSE(WIFSIGNALED(status)) << "a child was ended by signal " << WTERMSIG(status);
    EXPECT_EQ(status, 0);
}

} // namespace
