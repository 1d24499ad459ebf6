#include "host/RvQueue.h"

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/error.h"

namespace {

using host::SerialQueue;
using testing::ElementsAre;

TEST(SerialQueue, RunsPostedWorkInOrder) {
    SerialQueue queue;
    std::vector<int> order;

    for (int i = 0; i < 3; ++i) {
        queue.post([&order, i] { order.push_back(i); });
    }
    queue.run([] {});

    EXPECT_THAT(order, ElementsAre(0, 1, 2));
}

TEST(SerialQueue, WorkPostedFromWorkRunsAfterWhatWasPostedBefore) {
    SerialQueue queue;
    std::vector<int> order;

    queue.run([&] {
        queue.post([&] {
            order.push_back(1);
            queue.post([&] { order.push_back(3); });
        });
        queue.post([&] { order.push_back(2); });
    });
    queue.run([] {});
    queue.run([] {});

    EXPECT_THAT(order, ElementsAre(1, 2, 3));
}

TEST(SerialQueue, WorkPostedOnTheQueueIsNotOvertakenByLaterWorkOfAnotherThread) {
    SerialQueue queue;
    std::vector<int> order;
    std::atomic<bool> posted = false;
    std::atomic<bool> overtaking = false;

    queue.post([&] {
        queue.post([&] { order.push_back(1); });
        posted = true;
        while (!overtaking) {
            std::this_thread::yield();
        }
    });
    while (!posted) {
        std::this_thread::yield();
    }
    queue.post([&] { order.push_back(2); });
    overtaking = true;
    queue.close();

    EXPECT_THAT(order, ElementsAre(1, 2));
}

TEST(SerialQueueWithoutAThread, IsTheThreadThatCreatesIt) {
    SerialQueue queue(SerialQueue::Thread::kOfCreator);
    std::vector<int> order;

    queue.post([&] { order.push_back(2); });
    queue.run([&] { order.push_back(1); });
    EXPECT_TRUE(queue.is_current());
    EXPECT_THAT(order, ElementsAre(1));
    queue.run_posted();

    EXPECT_THAT(order, ElementsAre(1, 2));
}

TEST(SerialQueueWithoutAThread, RunsTheWorkOfOthersWhenItsCreatorSaysSo) {
    SerialQueue queue(SerialQueue::Thread::kOfCreator);
    std::thread::id ran_on;
    bool is_current_elsewhere = true;
    std::atomic<bool> is_done = false;

    std::thread other([&] {
        is_current_elsewhere = queue.is_current();
        queue.run([&] { ran_on = std::this_thread::get_id(); });
        is_done = true;
    });
    while (!is_done) {
        queue.run_posted();
    }
    other.join();

    EXPECT_EQ(ran_on, std::this_thread::get_id());
    EXPECT_FALSE(is_current_elsewhere);
}

TEST(SerialQueueWithoutAThread, CloseRunsWhatWasPostedAndThenDropsRegistrations) {
    SerialQueue queue(SerialQueue::Thread::kOfCreator);
    std::vector<int> order;

    queue.at_close([&] { order.push_back(2); });
    queue.post([&] { order.push_back(1); });
    queue.close();
    queue.close();

    EXPECT_THAT(order, ElementsAre(1, 2));
    EXPECT_FALSE(queue.is_current());
    EXPECT_FALSE(queue.post([] {}));
    EXPECT_THROW(queue.run([] {}), host::Error);
}

TEST(SerialQueue, RunOnTheQueueItselfRunsAtOnce) {
    SerialQueue queue;
    std::vector<int> order;

    queue.run([&] {
        queue.run([&] { order.push_back(1); });
        order.push_back(2);
    });

    EXPECT_THAT(order, ElementsAre(1, 2));
}

TEST(SerialQueue, ExceptionsOfRunComeBackOut) {
    SerialQueue queue;

    EXPECT_THROW(queue.run([] { throw std::runtime_error("thrown on the queue"); }), std::runtime_error);
    bool still_works = false;
    queue.run([&] { still_works = true; });

    EXPECT_TRUE(still_works);
}

TEST(SerialQueue, KnowsWhetherTheCallerRunsOnIt) {
    SerialQueue queue;
    SerialQueue other;
    bool inside = false;
    bool inside_other = true;

    queue.run([&] {
        inside = queue.is_current();
        inside_other = other.is_current();
    });

    EXPECT_TRUE(inside);
    EXPECT_FALSE(inside_other);
    EXPECT_FALSE(queue.is_current());
}

TEST(SerialQueue, CloseRunsWhatWasPostedAndThenDropsRegistrationsOnTheQueuesThread) {
    SerialQueue queue;
    std::vector<int> order;
    bool dropped_on_queue = false;

    queue.at_close([&] {
        order.push_back(3);
        dropped_on_queue = queue.is_current();
    });
    queue.post([&] { order.push_back(1); });
    queue.post([&] { order.push_back(2); });
    queue.close();

    EXPECT_THAT(order, ElementsAre(1, 2, 3));
    EXPECT_TRUE(dropped_on_queue);
}

TEST(SerialQueue, CloseIsSafeToCallTwice) {
    SerialQueue queue;
    int drops = 0;
    queue.at_close([&] { ++drops; });

    queue.close();
    queue.close();

    EXPECT_EQ(drops, 1);
}

TEST(SerialQueue, CloseOnTheQueueItselfDropsRegistrationsAtOnceAndStillRunsWhatWasPosted) {
    SerialQueue queue;
    std::vector<int> order;

    queue.at_close([&] { order.push_back(1); });
    queue.run([&] {
        queue.post([&] { order.push_back(3); });
        queue.close();
        order.push_back(2);
    });
    queue.close();

    EXPECT_THAT(order, ElementsAre(1, 2, 3));
}

TEST(SerialQueue, RegistrationsAreDroppedOnceAndTheQueueGoesOn) {
    SerialQueue queue;
    std::vector<int> order;

    queue.at_close([&] { order.push_back(1); });
    queue.run([&] {
        queue.post([&] { order.push_back(3); });
        queue.drop_registrations();
        order.push_back(2);
        queue.drop_registrations();
    });
    EXPECT_TRUE(queue.at_close([&] { order.push_back(4); }));
    queue.run([] {});
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
    queue.close();

    EXPECT_THAT(order, ElementsAre(1, 2, 3, 4));
}

TEST(SerialQueue, ClosedQueueTakesNoMoreWork) {
    SerialQueue queue;
    queue.close();
    bool ran = false;

    EXPECT_FALSE(queue.post([&] { ran = true; }));
    EXPECT_FALSE(queue.run_if_open([&] { ran = true; }));
    EXPECT_FALSE(queue.at_close([&] { ran = true; }));
    EXPECT_THROW(queue.run([&] { ran = true; }), host::Error);

    EXPECT_FALSE(ran);
}

TEST(SerialQueue, RegistrationsMadeByTheLastWorkAreDroppedToo) {
    SerialQueue queue;
    bool dropped = false;
    bool taken = false;

    std::atomic<bool> closing = false;
    queue.post([&] {
        while (!closing) {
            std::this_thread::yield();
        }
        taken = queue.at_close([&] { dropped = true; });
    });
    std::thread closer([&] {
        while (queue.post([] {})) {
            std::this_thread::yield();
        }
        closing = true;
    });
    queue.close();
    closer.join();

    EXPECT_TRUE(taken);
    EXPECT_TRUE(dropped);
}

TEST(SerialQueue, HandleStaysValidAndHarmlessAfterTheQueueIsGone) {
    auto queue = std::make_unique<SerialQueue>();
    RvQueueRef handle = queue->handle();
    queue.reset();

    SerialQueue *stand_in = SerialQueue::from_handle(handle);

    ASSERT_NE(stand_in, nullptr);
    EXPECT_FALSE(stand_in->post([] {}));
    EXPECT_EQ(stand_in->handle(), handle);
}

TEST(SerialQueue, HandleLeadsBackToTheSameQueue) {
    SerialQueue queue;
    bool on_queue = false;

    SerialQueue::from_handle(queue.handle())->run([&] { on_queue = queue.is_current(); });

    EXPECT_TRUE(on_queue);
}

TEST(SerialQueue, NullHandleIsNoQueue) { EXPECT_EQ(SerialQueue::from_handle(nullptr), nullptr); }

TEST(SerialQueue, WorkOfEightThreadsRunsOneAtATimeAndInEachThreadsOrder) {
    constexpr int kThreads = 8;
    constexpr int kRounds = 500;
    SerialQueue queue;
    std::vector<int> next(kThreads, 0); // without a lock: only the queue touches it while it runs
    int out_of_order = 0;

    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            const auto work_of = [&, thread](int round) {
                return [&, thread, round] { out_of_order += next[static_cast<std::size_t>(thread)]++ != round; };
            };
            for (int round = 0; round < kRounds; round += 2) {
                queue.post(work_of(round));
                queue.run(work_of(round + 1));
            }
        });
    }
    for (auto &thread : threads) {
        thread.join();
    }
    queue.close();

    EXPECT_EQ(out_of_order, 0);
    EXPECT_THAT(next, testing::Each(kRounds));
}

TEST(SerialQueue, EveryPieceOfWorkTakenWhileEightThreadsRaceWithCloseIsRun) {
    constexpr int kThreads = 8;
    SerialQueue queue;
    int ran = 0;
    std::atomic<int> taken = 0;

    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&] {
            while (queue.run_if_open([&] { ++ran; })) {
                ++taken;
            }
            queue.close();
        });
    }
    while (taken < 100) {
        std::this_thread::yield();
    }
    queue.close();
    for (auto &thread : threads) {
        thread.join();
    }

    EXPECT_EQ(ran, taken);
}

#ifndef NDEBUG
TEST(SerialQueueDeathTest, CheckEndsTheProcessOffTheQueueAndNamesTheOperation) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    SerialQueue queue;

    EXPECT_DEATH(host::check_on_queue(&queue, "command"), "command: called off the serial queue");
    EXPECT_DEATH(queue.drop_registrations(), "drop_registrations: called off the serial queue");
}
#endif

TEST(SerialQueue, CheckLetsTheQueueItselfPass) {
    SerialQueue queue;
    bool passed = false;

    queue.run([&] {
        host::check_on_queue(&queue, "command");
        passed = true;
    });

    EXPECT_TRUE(passed);
}

TEST(SerialQueue, CheckWithoutAQueuePasses) {
    host::check_on_queue(nullptr, "command");
    SUCCEED();
}

} // namespace
