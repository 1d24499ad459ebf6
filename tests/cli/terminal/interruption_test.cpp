#include "cli/terminal/interruption.h"

#include <chrono>
#include <csignal>
#include <cstdio>

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

using cli::InputDeadline;
using cli::InputTooLate;
using cli::Interruption;
using cli::wait_for_input;
using cli::WholePiece;

namespace {

/** Each runs in a process of its own, where nothing has set the handler yet. */
class InterruptionDeathTest : public testing::Test {
protected:
    InterruptionDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(InterruptionDeathTest, APieceBecomesWholeBeforeTheSignalEndsTheProcess) {
    EXPECT_EXIT(
        {
            {
                const WholePiece piece;
                std::raise(SIGTERM);
                std::fputs("whole", stderr);
            }
            _exit(0);
        },
        testing::KilledBySignal(SIGTERM), "whole");
}

TEST_F(InterruptionDeathTest, APieceBecomesWholeAlsoWhenTheFirstOneWasPartOfAnInterruption) {
    EXPECT_EXIT(
        {
            {
                const Interruption interruption;
                const WholePiece piece;
            }
            const WholePiece piece;
            std::raise(SIGTERM);
            std::fputs("whole", stderr);
            _exit(0);
        },
        testing::ExitedWithCode(0), "whole");
}

TEST_F(InterruptionDeathTest, ASignalAfterAnInterruptionEndsTheProcess) {
    EXPECT_EXIT(
        {
            {
                const Interruption interruption;
                std::raise(SIGTERM);
            }
            std::fputs("went on", stderr);
            std::raise(SIGINT);
            _exit(0);
        },
        testing::KilledBySignal(SIGINT), "went on");
}

TEST_F(InterruptionDeathTest, ASignalThatWasTakenCountsAsNotCome) {
    EXPECT_EXIT(
        {
            Interruption interruption;
            std::raise(SIGINT);
            const bool is_taken = interruption.take_signal() == SIGINT && !interruption.is_requested();
            pollfd end = {}; // a list of values would be taken for arguments of the macro
            end.fd = interruption.descriptor();
            end.events = POLLIN;
            const bool is_drained = poll(&end, 1, 0) == 0;
            std::raise(SIGTERM);
            const bool comes_again = poll(&end, 1, 0) == 1 && interruption.take_signal() == SIGTERM;
            _exit(is_taken && is_drained && comes_again && interruption.take_signal() == 0 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(InterruptionDeathTest, ASignalThatWasIgnoredStaysIgnored) {
    EXPECT_EXIT(
        {
            std::signal(SIGHUP, SIG_IGN);
            const Interruption interruption;
            std::raise(SIGHUP);
            _exit(interruption.is_requested() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

TEST(InputDeadlineTest, EndsWaitingForWhatIsThereAndForWhatIsNot) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    const auto now = std::chrono::steady_clock::now();
    {
        const InputDeadline deadline(now);
        EXPECT_THROW(wait_for_input(ends[0]), InputTooLate);
    }
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    {
        const InputDeadline deadline(now);
        EXPECT_THROW(wait_for_input(ends[0]), InputTooLate);
    }
    wait_for_input(ends[0]);
    {
        const InputDeadline deadline(now + std::chrono::hours(24 * 365));
        wait_for_input(ends[0]);
    }
    close(ends[0]);
    close(ends[1]);
}

} // namespace
