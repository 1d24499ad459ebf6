#include "host/RvStateCapture.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/RvQueue.h"
#include "host/fault_points.h"
#include "tests/host/counted_context.h"

namespace {

using host::SerialQueue;
using testing::ElementsAre;

constexpr std::size_t kHeaderSize = 200;

/** The records that a handler returns, and the requests that it has seen. */
struct Answer {
    std::string payload;
    std::string requester;
    std::uint32_t version = 0;
    std::uint32_t kind = 0;
    bool on_queue = false;
    const SerialQueue *queue = nullptr;
};

RvStateCaptureRecord *answer(const RvStateCaptureHints *hints, void *context) {
    auto *self = static_cast<Answer *>(context);
    self->requester = hints->requester;
    self->version = hints->version;
    self->kind = hints->kind;
    self->on_queue = self->queue != nullptr && self->queue->is_current();

    auto *record = static_cast<RvStateCaptureRecord *>(std::calloc(1, kHeaderSize + self->payload.size()));
    record->type_code = 7;
    record->payload_size = static_cast<std::uint32_t>(self->payload.size());
    std::memcpy(record->payload, self->payload.data(), self->payload.size());
    return record;
}

std::string payload_of(const host::RecordBytes &record) {
    return {reinterpret_cast<const char *>(record.data()) + kHeaderSize, record.size() - kHeaderSize};
}

TEST(StateCapture, RecordsComeBackByteForByteInTheOrderOfRegistration) {
    SerialQueue queue;
    Answer first{"first payload", {}, 0, 0, false, &queue};
    Answer second{"", {}, 0, 0, false, &queue};
    ASSERT_NE(RvStateCaptureAddHandler(queue.handle(), answer, &first, nullptr), 0u);
    ASSERT_NE(RvStateCaptureAddHandler(queue.handle(), answer, &second, nullptr), 0u);

    const auto records = host::capture_state(kRvStateCaptureRequest, "somebody");

    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].size(), kHeaderSize + 13);
    EXPECT_EQ(records[0][0], std::byte{7});
    EXPECT_EQ(payload_of(records[0]), "first payload");
    EXPECT_EQ(records[1].size(), kHeaderSize);
}

TEST(StateCapture, HandlersSeeTheHintsOnTheirQueue) {
    SerialQueue queue;
    Answer seen{"", {}, 0, 0, false, &queue};
    RvStateCaptureAddHandler(queue.handle(), answer, &seen, nullptr);

    host::capture_state(kRvStateCaptureFault, "crash reporter");

    EXPECT_EQ(seen.requester, "crash reporter");
    EXPECT_EQ(seen.version, 1u);
    EXPECT_EQ(seen.kind, 2u);
    EXPECT_TRUE(seen.on_queue);
}

TEST(StateCapture, HandlersOfTwoQueuesAreAskedEachOnItsOwn) {
    SerialQueue queue;
    SerialQueue other;
    Answer first{"1", {}, 0, 0, false, &queue};
    Answer second{"2", {}, 0, 0, false, &other};
    RvStateCaptureAddHandler(queue.handle(), answer, &first, nullptr);
    RvStateCaptureAddHandler(other.handle(), answer, &second, nullptr);

    const auto records = host::capture_state(kRvStateCaptureError, "somebody");

    EXPECT_EQ(records.size(), 2u);
    EXPECT_TRUE(first.on_queue);
    EXPECT_TRUE(second.on_queue);
}

TEST(StateCapture, HandlerThatAnswersNothingAddsNothing) {
    CountedContext silent;
    SerialQueue queue;
    RvStateCaptureAddHandler(queue.handle(), CountedContext::capture_nothing, &silent, CountedContext::release);

    EXPECT_TRUE(host::capture_state(99, "somebody").empty());

    EXPECT_THAT(silent.kinds, ElementsAre(99u));
}

TEST(StateCapture, ClosingTheQueueDropsItsHandlersAndReleasesTheirContextsOnceOnTheQueue) {
    CountedContext context;
    CountedContext survivor;
    SerialQueue other;
    RvStateCaptureAddHandler(other.handle(), CountedContext::capture_nothing, &survivor, CountedContext::release);
    {
        SerialQueue queue;
        context.queue = &queue;
        RvStateCaptureAddHandler(queue.handle(), CountedContext::capture_nothing, &context, CountedContext::release);
        EXPECT_EQ(host::state_capture_handler_count(), 2u);

        queue.close();
    }

    EXPECT_EQ(context.releases, 1);
    EXPECT_TRUE(context.released_on_queue);
    EXPECT_EQ(survivor.releases, 0);
    EXPECT_EQ(host::state_capture_handler_count(), 1u);
}

TEST(StateCapture, NothingIsCalledAfterTheQueueIsClosed) {
    SerialQueue queue;
    CountedContext context;
    RvStateCaptureAddHandler(queue.handle(), CountedContext::capture_nothing, &context, CountedContext::release);
    queue.close();

    host::capture_state(kRvStateCaptureRequest, "somebody");

    EXPECT_EQ(context.calls, 0);
}

TEST(StateCapture, RegistrationOnAClosedQueueFailsAndReleasesTheContext) {
    SerialQueue queue;
    queue.close();
    CountedContext context;

    EXPECT_EQ(
        RvStateCaptureAddHandler(queue.handle(), CountedContext::capture_nothing, &context, CountedContext::release),
        0u);

    EXPECT_EQ(context.releases, 1);
    EXPECT_EQ(host::state_capture_handler_count(), 0u);
}

TEST(StateCapture, FaultPointMakesRegistrationFailAndReleaseTheContext) {
    SerialQueue queue;
    CountedContext context;
    host::arm_fault("RvStateCaptureAddHandler", 0, host::Strikes::Once);

    const auto struck =
        RvStateCaptureAddHandler(queue.handle(), CountedContext::capture_nothing, &context, CountedContext::release);
    host::disarm_faults();

    EXPECT_EQ(struck, 0u);
    EXPECT_EQ(context.releases, 1);
    EXPECT_EQ(host::state_capture_handler_count(), 0u);
}

TEST(StateCapture, CapturesOfEightThreadsRaceHarmlesslyWithClose) {
    SerialQueue queue;
    CountedContext context; // without a lock: only the queue touches it while it runs
    RvStateCaptureAddHandler(queue.handle(), CountedContext::capture_nothing, &context, CountedContext::release);
    std::atomic<bool> closed = false;

    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&] {
            while (!closed) {
                host::capture_state(kRvStateCaptureFault, "somebody");
            }
        });
    }
    for (int calls = 0; calls < 50;) {
        queue.run([&] { calls = context.calls; });
    }
    queue.close();
    closed = true;
    for (auto &thread : threads) {
        thread.join();
    }

    EXPECT_EQ(context.releases, 1);
}

} // namespace
