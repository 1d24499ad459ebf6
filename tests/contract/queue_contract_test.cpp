#include <vector>

#include <gtest/gtest.h>

#include "platform/RvNotify.h"
#include "platform/RvStateCapture.h"
#include "tests/contract/port.h"

namespace {

class QueueContract : public ::testing::Test {
protected:
    void SetUp() override { queue = queues().open(); }
    void TearDown() override { queues().close(queue); }

    static contract::QueuePort &queues() { return contract::port().queue(); }

    RvQueueRef queue = nullptr;
};

/** The numbers of registered handlers, in the order in which they were called. */
struct Calls {
    std::vector<int> order;
};

struct NumberedHandler {
    Calls *calls;
    int number;

    static void on_notification(int32_t, void *context) {
        auto *self = static_cast<NumberedHandler *>(context);
        self->calls->order.push_back(self->number);
    }
    static RvStateCaptureRecord *on_request(const RvStateCaptureHints *, void *context) {
        on_notification(0, context);
        return nullptr;
    }
};

TEST_F(QueueContract, EverythingBoundToItRunsThereInTheOrderInWhichItCame) {
    Calls calls;
    NumberedHandler notified{&calls, 1};
    NumberedHandler asked{&calls, 2};
    RvNotifyRegister("first", queue, nullptr, NumberedHandler::on_notification, &notified, nullptr);
    RvStateCaptureAddHandler(queue, NumberedHandler::on_request, &asked, nullptr);

    contract::port().notify().post("first");
    contract::port().state_capture().capture(kRvStateCaptureRequest, "somebody");
    contract::port().notify().post("first");

    EXPECT_EQ(calls.order, (std::vector<int>{1, 2, 1}));
}

TEST_F(QueueContract, RegisteringFromTheQueueItselfWorks) {
    Calls calls;
    NumberedHandler notified{&calls, 1};
    RvStatus status = kRvStatusError;

    queues().run(queue, [&] {
        status = RvNotifyRegister("name", queue, nullptr, NumberedHandler::on_notification, &notified, nullptr);
    });
    contract::port().notify().post("name");

    EXPECT_EQ(status, 0u);
    EXPECT_EQ(calls.order, std::vector<int>{1});
}

TEST_F(QueueContract, TwoQueuesAreTwo) {
    RvQueueRef other = queues().open();
    bool on_queue = false;
    bool on_other = true;

    queues().run(queue, [&] {
        on_queue = queues().is_current(queue);
        on_other = queues().is_current(other);
    });
    queues().close(other);

    EXPECT_NE(queue, other);
    EXPECT_TRUE(on_queue);
    EXPECT_FALSE(on_other);
}

} // namespace
