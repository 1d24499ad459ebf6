// The module's factory, table and object as seen by a host.

#include <atomic>
#include <memory>
#include <set>

#include "tests/module/module_fixture.h"

namespace module_tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

static_assert(sizeof(OndreQORHIDStatisticsTable) == 18 * sizeof(void *));

TEST(ModuleTable, ProvidesExactlyTheDocumentedSlots) {
    OndreQORHIDStatisticsRef object = create(kType);
    ASSERT_NE(object, nullptr);
    const auto *slots = reinterpret_cast<void *const *>(*object);

    std::set<int> provided;
    for (int slot = 0; slot < 18; ++slot) {
        if (slots[slot] != nullptr) {
            provided.insert(slot);
        }
    }
    (*object)->Release(object);

    EXPECT_THAT(provided, ElementsAre(1, 2, 3, 7, 8, 11, 13, 14));
}

TEST(ModuleTable, IsSharedByAllObjects) {
    OndreQORHIDStatisticsRef first = create(kType);
    OndreQORHIDStatisticsRef second = create(kType);

    EXPECT_NE(first, second);
    EXPECT_EQ(*first, *second);

    (*first)->Release(first);
    (*second)->Release(second);
}

TEST(ModuleFactory, ReturnsNullForAnyOtherTypeAndAllocatesNothing) {
    const CountingAllocator allocator;
    const host::LogRecorder log;

    for (int bit = 0; bit < 128; ++bit) {
        EXPECT_EQ(create(flip_bit(kType, bit), &allocator), nullptr) << "bit " << bit;
    }
    for (const RvUUIDBytes &interface : kInterfaces) {
        EXPECT_EQ(create(interface, &allocator), nullptr);
    }
    EXPECT_EQ(module().factory()(&allocator, nullptr), nullptr);

    EXPECT_EQ(allocator.allocations(), 0u);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST(ModuleFactory, ReturnsNullWithoutMemoryForTheObject) {
    CountingAllocator allocator;
    allocator.fail_at(0);

    EXPECT_EQ(create(kType, &allocator), nullptr);

    EXPECT_EQ(host::factory_instance_count(kFactory), 0u);
}

TEST(ModuleObject, LastReleaseFreesTheObjectAndLeaksTheArray) {
    const CountingAllocator allocator;
    OndreQORHIDStatisticsRef object = create(kType, &allocator);
    ASSERT_EQ(allocator.live(), 2u);

    const std::uint32_t count = (*object)->Release(object);

    EXPECT_EQ(count, 0u);
    EXPECT_EQ(allocator.live(), 1u);
}

TEST(ModuleObject, AddRefOnAFreshObjectReturnsTwo) {
    OndreQORHIDStatisticsRef object = create(kType);

    EXPECT_EQ((*object)->AddRef(object), 2u);
    EXPECT_EQ((*object)->Release(object), 1u);
    EXPECT_EQ((*object)->Release(object), 0u);
}

TEST(ModuleObject, IsAFactoryInstanceWhileItLives) {
    OndreQORHIDStatisticsRef first = create(kType);
    OndreQORHIDStatisticsRef second = create(kType);
    EXPECT_EQ(host::factory_instance_count(kFactory), 2u);

    (*first)->Release(first);
    EXPECT_EQ(host::factory_instance_count(kFactory), 1u);
    (*second)->Release(second);
    EXPECT_EQ(host::factory_instance_count(kFactory), 0u);
}

TEST(ModuleObject, AnswersEachAcceptedInterfaceWithItselfAndOneMoreReference) {
    OndreQORHIDStatisticsRef object = create(kType);
    std::uint32_t expected = 1;

    for (const RvUUIDBytes &accepted : kInterfaces) {
        void *interface = nullptr;
        EXPECT_EQ((*object)->QueryInterface(object, accepted, &interface), 0);
        EXPECT_EQ(interface, object);
        ++expected;
        EXPECT_EQ((*object)->AddRef(object), expected + 1);
        EXPECT_EQ((*object)->Release(object), expected);
    }

    while ((*object)->Release(object) != 0) {
    }
}

TEST(ModuleObject, RefusesEveryInterfaceOneBitAwayWithNullAndAnUnchangedCount) {
    OndreQORHIDStatisticsRef object = create(kType);

    for (const RvUUIDBytes &accepted : kInterfaces) {
        for (int bit = 0; bit < 128; ++bit) {
            void *interface = object;
            EXPECT_EQ(
                static_cast<std::uint32_t>((*object)->QueryInterface(object, flip_bit(accepted, bit), &interface)),
                0x80000004u);
            EXPECT_EQ(interface, nullptr);
        }
    }

    EXPECT_EQ((*object)->Release(object), 0u);
}

constexpr char kFaultNotification[] = "com.ondre.ondreqorhidstatistics.fault";

class ModuleNotification : public ModuleTest {
protected:
    std::size_t post() {
        const std::size_t delivered = host::deliver_notification(kFaultNotification);
        plug_in.queue.run([] {});
        return delivered;
    }
};

TEST_F(ModuleNotification, FaultIsLoggedAtFaultLevelInTheSharedLog) {
    EXPECT_EQ(post(), 1u);

    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].level, kRvLogLevelFault);
    EXPECT_EQ(log.messages()[0].subsystem, "ZEL");
    EXPECT_EQ(log.messages()[0].category, "OndreQORHIDStatistics");
    EXPECT_EQ(log.messages()[0].text, "fault!");
}

TEST_F(ModuleNotification, FaultIsStillLoggedAfterUnscheduling) {
    plug_in.queue.run([&] { (*plug_in.object)->unscheduleFromDispatchQueue(plug_in.object, plug_in.queue.handle()); });

    post();

    EXPECT_THAT(texts(), ElementsAre("fault!"));
}

TEST_F(ModuleNotification, EverySchedulingRegistersOnceMore) {
    plug_in.queue.run([&] { (*plug_in.object)->scheduleWithDispatchQueue(plug_in.object, plug_in.queue.handle()); });

    EXPECT_EQ(post(), 2u);

    EXPECT_THAT(texts(), ElementsAre("fault!", "fault!"));
}

TEST_F(ModuleNotification, NothingIsLoggedWhenFaultsAreDisabled) {
    host::enable_log_level(kRvLogLevelFault, false);
    post();
    host::enable_log_level(kRvLogLevelFault, true);

    EXPECT_THAT(texts(), IsEmpty());
}

TEST_F(ModuleNotification, TwoObjectsLogIndependently) {
    Loaded other;

    EXPECT_EQ(post(), 2u);
    other.queue.run([] {});

    EXPECT_THAT(texts(), ElementsAre("fault!", "fault!"));
}

TEST_F(ModuleNotification, ReschedulingMovesLaterRegistrationsToTheNewQueue) {
    host::SerialQueue second;
    PlayedQor qor;
    const std::size_t before = host::state_capture_handler_count();

    (*plug_in.object)->scheduleWithDispatchQueue(plug_in.object, second.handle());
    plug_in.hand_over(qor.service(kVendor));
    ASSERT_EQ(host::state_capture_handler_count() - before, 104u);
    second.close();

    EXPECT_EQ(host::state_capture_handler_count(), before);
    EXPECT_EQ(post(), 1u);
}

TEST_F(ModuleNotification, ALaterObjectLogsThroughTheLogThatAnEarlierOneReleased) {
    { const Loaded earlier; }

    post();

    EXPECT_THAT(texts(), ElementsAre("fault!"));
}

TEST(ModuleHosting, HostRunsTheModuleThroughItsWholeLife) {
    host::SerialQueue queue;
    PlayedQor qor;
    std::vector<std::unique_ptr<RvHIDService>> services;
    services.push_back(std::make_unique<RvHIDService>(qor.service(kVendor)));

    host::HostedPlugIn hosted(module(), queue);
    hosted.register_services(services);
    const std::size_t while_hosted = host::state_capture_handler_count();
    hosted.stop();

    EXPECT_EQ(while_hosted, 104u);
    EXPECT_EQ(host::state_capture_handler_count(), 0u);
    EXPECT_EQ(host::factory_instance_count(kFactory), 0u);
    EXPECT_EQ(host::deliver_notification(kFaultNotification), 0u);
}

} // namespace
} // namespace module_tests
