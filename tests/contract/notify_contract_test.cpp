#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/RvNotify.h"
#include "tests/contract/port.h"

namespace {

/** A registration's context, which records its calls and its release. */
struct Listener {
    std::vector<std::int32_t> tokens;
    int releases = 0;
    bool always_on_queue = true;
    RvQueueRef queue = nullptr;

    static void on_notification(std::int32_t token, void *context) {
        auto *self = static_cast<Listener *>(context);
        self->tokens.push_back(token);
        self->always_on_queue = self->always_on_queue && contract::port().queue().is_current(self->queue);
    }
    static void release(void *context) { ++static_cast<Listener *>(context)->releases; }
};

class NotifyContract : public ::testing::Test {
protected:
    void SetUp() override { queue = queues().open(); }
    void TearDown() override { queues().close(queue); }

    static contract::QueuePort &queues() { return contract::port().queue(); }
    static void post(const std::string &name) { contract::port().notify().post(name); }

    RvStatus listen(const char *name, std::int32_t *token = nullptr) {
        listener.queue = queue;
        return RvNotifyRegister(name, queue, token, Listener::on_notification, &listener, Listener::release);
    }

    RvQueueRef queue = nullptr;
    Listener listener; // lives until the queue has released it
};

TEST_F(NotifyContract, PostedNotificationIsHandledOnceOnTheQueueWithTheRegistrationsToken) {
    std::int32_t token = 0;
    ASSERT_EQ(listen("some.name", &token), 0u);

    post("some.name");

    EXPECT_EQ(listener.tokens, std::vector<std::int32_t>{token});
    EXPECT_TRUE(listener.always_on_queue);
}

TEST_F(NotifyContract, EveryPostIsHandled) {
    listen("some.name");

    for (int i = 0; i < 3; ++i) {
        post("some.name");
    }

    EXPECT_EQ(listener.tokens.size(), 3u);
}

TEST_F(NotifyContract, NamesAreComparedByteForByte) {
    listen("some.name");

    for (const char *other : {"some.nam", "some.name.", "Some.name", "some name"}) {
        post(other);
    }

    EXPECT_TRUE(listener.tokens.empty());
}

TEST_F(NotifyContract, NameIsCopied) {
    std::string name = "some.name";
    listen(name.c_str());
    std::fill(name.begin(), name.end(), 'x');

    post("some.name");

    EXPECT_EQ(listener.tokens.size(), 1u);
}

TEST_F(NotifyContract, RegisteringTwiceMeansBeingCalledTwiceWithTwoTokens) {
    listen("some.name");
    listen("some.name");

    post("some.name");

    ASSERT_EQ(listener.tokens.size(), 2u);
    EXPECT_NE(listener.tokens[0], listener.tokens[1]);
}

TEST_F(NotifyContract, TokenAndReleaseFunctionMayBeNull) {
    listener.queue = queue;

    ASSERT_EQ(RvNotifyRegister("some.name", queue, nullptr, Listener::on_notification, &listener, nullptr), 0u);
    post("some.name");

    EXPECT_EQ(listener.tokens.size(), 1u);
}

TEST_F(NotifyContract, ContextIsReleasedOnceWhenTheQueueEndsAndNothingIsDeliveredAnyMore) {
    listen("some.name");
    post("some.name");
    ASSERT_EQ(listener.releases, 0);

    queues().close(queue);
    post("some.name");

    EXPECT_EQ(listener.releases, 1);
    EXPECT_EQ(listener.tokens.size(), 1u);
}

TEST_F(NotifyContract, RegistrationWithoutQueueNameOrHandlerFailsReleasesTheContextAndLeavesTheToken) {
    std::int32_t token = -7;

    EXPECT_NE(RvNotifyRegister("n", nullptr, &token, Listener::on_notification, &listener, Listener::release), 0u);
    EXPECT_EQ(listener.releases, 1);
    EXPECT_NE(RvNotifyRegister(nullptr, queue, &token, Listener::on_notification, &listener, Listener::release), 0u);
    EXPECT_EQ(listener.releases, 2);
    EXPECT_NE(RvNotifyRegister("n", queue, &token, nullptr, &listener, Listener::release), 0u);
    EXPECT_EQ(listener.releases, 3);

    EXPECT_EQ(token, -7);
}

TEST_F(NotifyContract, RegistrationOnAnEndedQueueFailsAndReleasesTheContext) {
    queues().close(queue);

    EXPECT_NE(listen("some.name"), 0u);

    EXPECT_EQ(listener.releases, 1);
}

} // namespace
