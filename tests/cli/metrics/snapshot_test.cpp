#include "cli/metrics/snapshot.h"

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Numbers = cli::Snapshot<int>;
using std::chrono::milliseconds;

/** A snapshot of the number of times that it was made, under a clock of the test's own. */
class SnapshotTest : public testing::Test {
protected:
    std::atomic<int> made{0};
    Numbers::Time now{};
    Numbers numbers{[this] { return ++made; }, [this] { return now; }};
};

TEST_F(SnapshotTest, IsMadeOnceASecond) {
    EXPECT_EQ(*numbers.get(), 1);
    now += milliseconds(999);
    EXPECT_EQ(*numbers.get(), 1);
    now += milliseconds(1);
    EXPECT_EQ(*numbers.get(), 2);
    now += milliseconds(999);
    EXPECT_EQ(*numbers.get(), 2);
}

TEST_F(SnapshotTest, IsSharedByThoseWhoAskAtOnce) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([this] {
            for (int j = 0; j < 100; ++j) {
                numbers.get();
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }

    EXPECT_EQ(made, 1);
}

TEST_F(SnapshotTest, OutlivesTheOneThatFollows) {
    const auto first = numbers.get();
    now += milliseconds(1000);
    const auto second = numbers.get();

    EXPECT_EQ(*first, 1);
    EXPECT_EQ(*second, 2);
}

TEST(SnapshotOfATimeTest, CountsItsSecondFromWhenItWasMade) {
    Numbers::Time now{};
    int made = 0;
    Numbers numbers(
        [&] {
            now += milliseconds(5000);
            return ++made;
        },
        [&] { return now; });

    EXPECT_EQ(*numbers.get(), 1);
    now += milliseconds(999);
    EXPECT_EQ(*numbers.get(), 1);
}

TEST(SnapshotOfATimeTest, ThatCannotBeMadeIsTriedAgain) {
    bool fails = true;
    Numbers numbers([&] { return fails ? throw std::runtime_error("not yet") : 7; }, [] { return Numbers::Time{}; });
    EXPECT_THROW(numbers.get(), std::runtime_error);
    fails = false;

    EXPECT_EQ(*numbers.get(), 7);
}

} // namespace
