#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "platform/RvStateCapture.h"
#include "tests/contract/port.h"

namespace {

static_assert(offsetof(RvStateCaptureRecord, type_code) == 0);
static_assert(offsetof(RvStateCaptureRecord, payload_size) == 4);
static_assert(offsetof(RvStateCaptureRecord, decoder_plug_in) == 8);
static_assert(offsetof(RvStateCaptureRecord, decoder_type) == 72);
static_assert(offsetof(RvStateCaptureRecord, title) == 136);
static_assert(offsetof(RvStateCaptureRecord, payload) == 200);
static_assert(sizeof(RvStateCaptureRecord) == 200);

/** A registration's context: the record that it returns, and the requests that it has seen. */
struct Handler {
    explicit Handler(std::string answered) : payload(std::move(answered)) {}

    std::string payload;
    bool answers = true;
    std::vector<std::uint32_t> kinds;
    std::string requester;
    int releases = 0;
    bool always_on_queue = true;
    RvQueueRef queue = nullptr;

    static RvStateCaptureRecord *on_request(const RvStateCaptureHints *hints, void *context) {
        auto *self = static_cast<Handler *>(context);
        self->kinds.push_back(hints->kind);
        self->requester = hints->requester;
        self->always_on_queue = self->always_on_queue && contract::port().queue().is_current(self->queue);
        return self->answers ? self->record() : nullptr;
    }
    static void release(void *context) { ++static_cast<Handler *>(context)->releases; }

    RvStateCaptureRecord *record() const {
        auto *made = static_cast<RvStateCaptureRecord *>(std::calloc(1, sizeof(RvStateCaptureRecord) + payload.size()));
        made->type_code = 9;
        made->payload_size = static_cast<std::uint32_t>(payload.size());
        std::strcpy(made->title, "a title");
        std::memcpy(made->payload, payload.data(), payload.size());
        return made;
    }

    /** The record as bytes: type code and size in little-endian order, two names, title, payload. */
    std::string bytes() const {
        std::string expected(200, '\0');
        expected[0] = 9;
        expected[4] = static_cast<char>(payload.size());
        expected.replace(136, 7, "a title");
        return expected + payload;
    }
};

class StateCaptureContract : public ::testing::Test {
protected:
    void SetUp() override { queue = queues().open(); }
    void TearDown() override { queues().close(queue); }

    static contract::QueuePort &queues() { return contract::port().queue(); }
    static std::vector<std::string> capture(std::uint32_t kind, const std::string &requester = "somebody") {
        return contract::port().state_capture().capture(kind, requester);
    }

    std::uint64_t add(Handler &handler) {
        handler.queue = queue;
        return RvStateCaptureAddHandler(queue, Handler::on_request, &handler, Handler::release);
    }

    /** A handler that lives until the queue has released it. */
    Handler &handler_answering(const std::string &payload) { return _handlers.emplace_back(payload); }

    RvQueueRef queue = nullptr;

private:
    std::deque<Handler> _handlers;
};

TEST_F(StateCaptureContract, HandlersAreAskedInTheOrderOfRegistrationAndTheirRecordsComeOutWhole) {
    Handler &first = handler_answering(std::string("payload\0with a zero", 19));
    Handler &second = handler_answering("");
    Handler &third = handler_answering("third");
    for (Handler *handler : {&first, &second, &third}) {
        ASSERT_NE(add(*handler), 0u);
    }

    EXPECT_EQ(capture(kRvStateCaptureRequest),
              (std::vector<std::string>{first.bytes(), second.bytes(), third.bytes()}));
}

TEST_F(StateCaptureContract, HandlerSeesKindAndRequesterOnItsQueue) {
    Handler &handler = handler_answering("");
    add(handler);

    for (const std::uint32_t kind : {0u, 1u, 2u, 3u, 0xFFFFFFFFu}) {
        capture(kind, "a requester");
    }

    EXPECT_EQ(handler.kinds, (std::vector<std::uint32_t>{0, 1, 2, 3, 0xFFFFFFFF}));
    EXPECT_EQ(handler.requester, "a requester");
    EXPECT_TRUE(handler.always_on_queue);
}

TEST_F(StateCaptureContract, NullIsNoAnswer) {
    Handler &silent = handler_answering("");
    silent.answers = false;
    Handler &handler = handler_answering("x");
    add(silent);
    add(handler);

    EXPECT_EQ(capture(kRvStateCaptureFault), std::vector<std::string>{handler.bytes()});
}

TEST_F(StateCaptureContract, RegistrationsHaveNumbersOfTheirOwn) {
    Handler &handler = handler_answering("");

    const std::uint64_t first = add(handler);
    const std::uint64_t second = add(handler);

    EXPECT_NE(first, 0u);
    EXPECT_NE(second, 0u);
    EXPECT_NE(first, second);
}

TEST_F(StateCaptureContract, ReleaseFunctionMayBeNull) {
    Handler &handler = handler_answering("x");
    handler.queue = queue;

    ASSERT_NE(RvStateCaptureAddHandler(queue, Handler::on_request, &handler, nullptr), 0u);

    EXPECT_EQ(capture(kRvStateCaptureRequest).size(), 1u);
}

TEST_F(StateCaptureContract, ContextIsReleasedOnceWhenTheQueueEndsAndTheHandlerIsNotAskedAnyMore) {
    Handler &handler = handler_answering("x");
    add(handler);
    capture(kRvStateCaptureRequest);
    ASSERT_EQ(handler.releases, 0);

    queues().close(queue);

    EXPECT_TRUE(capture(kRvStateCaptureRequest).empty());
    EXPECT_EQ(handler.releases, 1);
    EXPECT_EQ(handler.kinds.size(), 1u);
}

TEST_F(StateCaptureContract, RegistrationWithoutQueueOrHandlerFailsAndReleasesTheContext) {
    Handler &handler = handler_answering("");

    EXPECT_EQ(RvStateCaptureAddHandler(nullptr, Handler::on_request, &handler, Handler::release), 0u);
    EXPECT_EQ(handler.releases, 1);
    EXPECT_EQ(RvStateCaptureAddHandler(queue, nullptr, &handler, Handler::release), 0u);
    EXPECT_EQ(handler.releases, 2);

    EXPECT_TRUE(capture(kRvStateCaptureRequest).empty());
}

TEST_F(StateCaptureContract, RegistrationOnAnEndedQueueFailsAndReleasesTheContext) {
    Handler &handler = handler_answering("");
    queues().close(queue);

    EXPECT_EQ(add(handler), 0u);

    EXPECT_EQ(handler.releases, 1);
}

} // namespace
