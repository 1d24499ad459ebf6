#include "host/device/qor_plug_ins.h"

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr RvUUIDBytes kDriverInterface = kQorDriverInterfaceBytes;
constexpr RvUUIDBytes kDeviceInterface = kQorDeviceInterfaceBytes;
constexpr RvUUIDBytes kGenericInterface = kRvPlugInInterfaceBytes;
constexpr RvUUIDBytes kUnknownInterface = kRvUnknownInterfaceBytes;

RvInterfaceRef create(const host::PlugInFactory &factory, const RvUUIDBytes &interface = kGenericInterface) {
    RvInterfaceRef made = nullptr;
    EXPECT_EQ(factory(interface, &made), 0u);
    return made;
}

/** A driver's interface and its plug-in object, released at the end of the test. */
class DriverPlugIn : public testing::Test {
protected:
    ~DriverPlugIn() override { EXPECT_EQ(host::live_plug_in_references(), 0u); }

    platform::OwnedInterface plug_in() {
        return platform::OwnedInterface(create(host::driver_plug_in(behaviour).second));
    }

    QorDriverInterfaceRef interface() {
        const platform::OwnedInterface generic = plug_in();
        void *queried = nullptr;
        EXPECT_EQ((*generic.get())->QueryInterface(generic.get(), kDriverInterface, &queried), 0);
        return static_cast<QorDriverInterfaceRef>(queried);
    }

    static void release(QorDriverInterfaceRef interface) { (*interface)->com.Release(interface); }

    std::shared_ptr<host::DriverBehaviour> behaviour = std::make_shared<host::DriverBehaviour>();
};

TEST_F(DriverPlugIn, HasTheTypeOfQorDrivers) {
    const RvUUIDBytes type = kQorDriverPlugInTypeBytes;

    EXPECT_EQ(std::memcmp(host::driver_plug_in(behaviour).first.bytes, type.bytes, sizeof type.bytes), 0);
}

TEST_F(DriverPlugIn, UnknownInterfaceIsTheGenericOne) {
    const platform::OwnedInterface generic = plug_in();
    void *unknown = nullptr;

    ASSERT_EQ((*generic.get())->QueryInterface(generic.get(), kUnknownInterface, &unknown), 0);

    EXPECT_EQ(unknown, generic.get());
    (*generic.get())->Release(generic.get());
}

TEST_F(DriverPlugIn, MayBeAskedForAsUnknownInterface) {
    const platform::OwnedInterface unknown(create(host::driver_plug_in(behaviour).second, kUnknownInterface));

    EXPECT_NE(unknown.get(), nullptr);
}

TEST_F(DriverPlugIn, FailingQueryMayGiveAnInterfaceAllTheSame) {
    behaviour->query = {.result = kRvResultNoInterface, .gives_interface = true};
    const platform::OwnedInterface generic = plug_in();
    void *queried = nullptr;

    EXPECT_EQ((*generic.get())->QueryInterface(generic.get(), kDriverInterface, &queried), kRvResultNoInterface);
    ASSERT_NE(queried, nullptr);
    release(static_cast<QorDriverInterfaceRef>(queried));
}

TEST_F(DriverPlugIn, GoodQueryMayGiveNoInterface) {
    behaviour->query = {.result = kRvResultOK, .gives_interface = false};
    const platform::OwnedInterface generic = plug_in();
    void *queried = &queried;

    EXPECT_EQ((*generic.get())->QueryInterface(generic.get(), kDriverInterface, &queried), kRvResultOK);
    EXPECT_EQ(queried, nullptr);
}

TEST_F(DriverPlugIn, DoesNotAnswerTheDeviceInterface) {
    const platform::OwnedInterface generic = plug_in();
    void *queried = &queried;

    EXPECT_EQ((*generic.get())->QueryInterface(generic.get(), kDeviceInterface, &queried), kRvResultNoInterface);
    EXPECT_EQ(queried, nullptr);
}

TEST_F(DriverPlugIn, StartAnswersTheDescribedStatus) {
    behaviour->start_status = 0xE0000042;
    const QorDriverInterfaceRef driver = interface();

    EXPECT_EQ((*driver)->start(driver, 0), 0xE0000042u);
    release(driver);
}

TEST_F(DriverPlugIn, CommandPassesEverythingOnAndTheReportBack) {
    host::DriverCommand seen{};
    behaviour->command = [&seen](host::DriverCommand &command) -> RvStatus {
        seen = command;
        command.out[0] = std::byte{9};
        command.out_size = 1000;
        return 0xE0000043;
    };
    const QorDriverInterfaceRef driver = interface();
    const std::uint32_t in = 215;
    std::array<std::byte, 8> out{};
    std::size_t out_size = out.size();

    const RvStatus status = (*driver)->command(driver, 10, &in, sizeof in, out.data(), &out_size);

    EXPECT_EQ(status, 0xE0000043u);
    EXPECT_EQ(seen.selector, 10u);
    EXPECT_EQ(seen.in.data(), reinterpret_cast<const std::byte *>(&in));
    EXPECT_EQ(seen.in.size(), 4u);
    EXPECT_EQ(seen.out.data(), out.data());
    EXPECT_EQ(seen.out.size(), 8u);
    EXPECT_EQ(seen.out_size, 8u);
    EXPECT_EQ(out_size, 1000u);
    EXPECT_EQ(out[0], std::byte{9});
    release(driver);
}

TEST_F(DriverPlugIn, CommandWithoutBuffersHasNoRoom) {
    std::size_t room = 99;
    behaviour->command = [&room](host::DriverCommand &command) -> RvStatus {
        room = command.out.size();
        return kRvStatusSuccess;
    };
    const QorDriverInterfaceRef driver = interface();
    std::size_t out_size = 16;

    EXPECT_EQ((*driver)->command(driver, 30, nullptr, 0, nullptr, &out_size), 0u);
    EXPECT_EQ(room, 0u);
    EXPECT_EQ((*driver)->command(driver, 30, nullptr, 0, nullptr, nullptr), 0u);
    release(driver);
}

TEST_F(DriverPlugIn, CommandWithNullInputOfASizeIsABadArgument) {
    behaviour->command = [](host::DriverCommand &) -> RvStatus { return kRvStatusSuccess; };
    const QorDriverInterfaceRef driver = interface();
    std::size_t out_size = 0;

    EXPECT_EQ((*driver)->command(driver, 30, nullptr, 4, nullptr, &out_size), kRvStatusBadArgument);
    release(driver);
}

TEST_F(DriverPlugIn, CommandOfADriverWithoutAnyIsNotFound) {
    const QorDriverInterfaceRef driver = interface();
    std::size_t out_size = 0;

    EXPECT_EQ((*driver)->command(driver, 30, nullptr, 0, nullptr, &out_size), kRvStatusNotFound);
    release(driver);
}

#ifndef NDEBUG
TEST_F(DriverPlugIn, CallOffItsQueueEndsTheProcessInDebugBuilds) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            host::SerialQueue queue;
            behaviour->entered_on = &queue;
            const QorDriverInterfaceRef driver = interface();
            (*driver)->start(driver, 0);
        },
        "start of the driver interface");
}
#endif

class DevicePlugIn : public testing::Test {
protected:
    ~DevicePlugIn() override {
        (*interface)->com.Release(interface);
        EXPECT_EQ(host::live_plug_in_references(), 0u);
    }

    QorDeviceInterfaceRef make_interface() {
        const platform::OwnedInterface generic(create(host::device_plug_in(behaviour).second));
        void *queried = nullptr;
        EXPECT_EQ((*generic.get())->QueryInterface(generic.get(), kDeviceInterface, &queried), 0);
        return static_cast<QorDeviceInterfaceRef>(queried);
    }

    struct Received {
        std::vector<std::string> batches;
        bool on_queue = true;
        const host::SerialQueue *queue = nullptr;
    };

    static void receive(void *target, const void *entries, std::uint64_t count) {
        auto &received = *static_cast<Received *>(target);
        received.batches.emplace_back(static_cast<const char *>(entries), count * 7);
        received.on_queue = received.on_queue && received.queue->is_current();
    }

    void install(host::SerialQueue &queue) {
        received.queue = &queue;
        (*interface)->set_dispatch_queue(interface, queue.handle());
        (*interface)->set_analytics_callback(interface, receive, &received);
    }

    static std::span<const std::byte> bytes(std::string_view text) { return std::as_bytes(std::span(text)); }

    std::shared_ptr<host::DeviceBehaviour> behaviour = std::make_shared<host::DeviceBehaviour>();
    QorDeviceInterfaceRef interface = make_interface();
    Received received;
};

TEST_F(DevicePlugIn, BatchIsDeliveredOnTheQueueInWholeEntries) {
    host::SerialQueue queue;
    install(queue);

    EXPECT_TRUE(behaviour->deliver_batch(bytes("firstAAsecondBrest")));

    EXPECT_EQ(received.batches, std::vector<std::string>{"firstAAsecondB"});
    EXPECT_TRUE(received.on_queue);
}

TEST_F(DevicePlugIn, NothingIsDeliveredWithoutACallback) {
    host::SerialQueue queue;
    (*interface)->set_dispatch_queue(interface, queue.handle());

    EXPECT_FALSE(behaviour->has_callback());
    EXPECT_FALSE(behaviour->deliver_batch(bytes("entry 1")));
}

TEST_F(DevicePlugIn, NothingIsDeliveredWithoutAQueue) {
    (*interface)->set_analytics_callback(interface, receive, &received);

    EXPECT_FALSE(behaviour->deliver_batch(bytes("entry 1")));
    EXPECT_TRUE(received.batches.empty());
}

TEST_F(DevicePlugIn, NullCallbackStopsDelivery) {
    host::SerialQueue queue;
    install(queue);

    (*interface)->set_analytics_callback(interface, nullptr, nullptr);

    EXPECT_FALSE(behaviour->deliver_batch(bytes("entry 1")));
    EXPECT_TRUE(received.batches.empty());
}

TEST_F(DevicePlugIn, ClosingTheQueueDropsTheCallback) {
    host::SerialQueue queue;
    install(queue);

    queue.close();

    EXPECT_FALSE(behaviour->has_callback());
    EXPECT_EQ(behaviour->queue(), nullptr);
    EXPECT_FALSE(behaviour->deliver_batch(bytes("entry 1")));
}

TEST_F(DevicePlugIn, ClosingAQueueThatWasReplacedLeavesTheCallback) {
    host::SerialQueue old_queue;
    host::SerialQueue queue;
    install(old_queue);
    install(queue);

    old_queue.close();

    EXPECT_TRUE(behaviour->deliver_batch(bytes("entry 1")));
}

TEST_F(DevicePlugIn, StartAnswersTheDescribedStatus) {
    behaviour->start_status = 0xE0000044;

    EXPECT_EQ((*interface)->start(interface, 0), 0xE0000044u);
}

} // namespace
