// The object: factory, identity, reference counting, open and close, the queue.

#include "host/RvNotify.h"
#include "host/RvPlugIn.h"
#include "plugin/InterfaceTable.h"
#include "tests/plugin/plug_in_fixture.h"

namespace plug_in_tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr RvUUIDBytes kType = kOndreQORHIDStatisticsPlugInTypeBytes;
constexpr RvUUIDBytes kFactory = kOndreQORHIDStatisticsFactoryBytes;
constexpr RvUUIDBytes kUnknown = kRvUnknownInterfaceBytes;

/** Releases the object at the end of a test. */
struct Releaser {
    void operator()(OndreQORHIDStatistics *object) const { object->Release(); }
};
using Object = std::unique_ptr<OndreQORHIDStatistics, Releaser>;

Object make(RvAllocatorRef allocator = RvAllocatorGetDefault()) {
    return Object(static_cast<OndreQORHIDStatistics *>(
        OndreQORHIDStatisticsFactory(allocator, RvUUIDGetConstantWithBytes(kType))));
}

TEST(Factory, CreatesAnObjectWithOneReference) {
    Object object = make();

    ASSERT_TRUE(object);
    EXPECT_EQ(PlugInInspector::refCount(*object), 1u);
}

TEST(Factory, RefusesEveryTypeOneBitAwayAndAllocatesNothing) {
    CountingAllocator allocator;
    for (int bit = 0; bit < 128; ++bit) {
        RvUUIDBytes type = kType;
        type.bytes[bit / 8] = static_cast<uint8_t>(type.bytes[bit / 8] ^ (1 << (bit % 8)));
        platform::OwnedUUID uuid(RvUUIDCreateWithBytes(type));

        EXPECT_EQ(OndreQORHIDStatisticsFactory(&allocator, uuid.get()), nullptr) << "bit " << bit;
    }
    EXPECT_EQ(allocator.allocations(), 0u);
}

TEST(Factory, RefusesANullType) { EXPECT_EQ(OndreQORHIDStatisticsFactory(RvAllocatorGetDefault(), nullptr), nullptr); }

TEST(Factory, ReturnsNullWithoutMemoryForTheObject) {
    CountingAllocator allocator;
    allocator.fail_at(0);

    EXPECT_EQ(OndreQORHIDStatisticsFactory(&allocator, RvUUIDGetConstantWithBytes(kType)), nullptr);
    EXPECT_EQ(host::factory_instance_count(kFactory), 0u);
}

TEST(Factory, SucceedsWithoutMemoryForTheArray) {
    CountingAllocator allocator;
    allocator.fail_at(1);

    Object object = make(&allocator);

    ASSERT_TRUE(object);
    EXPECT_EQ(PlugInInspector::services(*object), nullptr);
}

TEST(PlugInObject, PutsTheInterfaceTableFirst) {
    Object object = make();

    const OndreQORHIDStatisticsTable *table = *reinterpret_cast<OndreQORHIDStatisticsRef>(object.get());

    EXPECT_EQ(table, &kInterfaceTable);
}

TEST(PlugInObject, IsRegisteredAsAFactoryInstanceWhileItLives) {
    Object first = make();
    EXPECT_EQ(host::factory_instance_count(kFactory), 1u);

    Object second = make();
    EXPECT_EQ(host::factory_instance_count(kFactory), 2u);

    first.reset();
    second.reset();
    EXPECT_EQ(host::factory_instance_count(kFactory), 0u);
}

TEST(PlugInObject, AllocatesItsStorageAndItsArrayWithTheAllocatorAndLeaksTheArray) {
    CountingAllocator allocator;
    Object object = make(&allocator);
    EXPECT_EQ(allocator.live(), 2u);

    object.reset();

    EXPECT_EQ(allocator.live(), 1u); // the array
}

TEST(PlugInObject, AddRefOnAFreshObjectReturnsTwo) {
    Object object = make();

    EXPECT_EQ(object->AddRef(), 2u);
    EXPECT_EQ(object->Release(), 1u);
}

TEST(PlugInObject, ReleaseOnAFreshObjectDestroysIt) {
    CountingAllocator allocator;
    Object object = make(&allocator);
    const std::size_t live_before = allocator.live();

    EXPECT_EQ(object.release()->Release(), 0u);

    EXPECT_EQ(allocator.live(), live_before - 1);
}

class AcceptedInterface : public testing::TestWithParam<RvUUIDBytes> {};

TEST_P(AcceptedInterface, ReturnsTheObjectWithOneMoreReference) {
    Object object = make();
    void *interface = nullptr;

    EXPECT_EQ(object->QueryInterface(GetParam(), &interface), kRvResultOK);

    EXPECT_EQ(interface, object.get());
    EXPECT_EQ(PlugInInspector::refCount(*object), 2u);
    object->Release();
}

INSTANTIATE_TEST_SUITE_P(All, AcceptedInterface,
                         testing::Values(RvUUIDBytes kOndreQORHIDStatisticsInterface1Bytes,
                                         RvUUIDBytes kOndreQORHIDStatisticsInterface2Bytes, kUnknown));

TEST(QueryInterface, RefusesEveryIdentifierOneBitAwayFromAnAcceptedOne) {
    Object object = make();
    for (const RvUUIDBytes &accepted : {RvUUIDBytes kOndreQORHIDStatisticsInterface1Bytes,
                                        RvUUIDBytes kOndreQORHIDStatisticsInterface2Bytes, kUnknown}) {
        for (int bit = 0; bit < 128; ++bit) {
            RvUUIDBytes type = accepted;
            type.bytes[bit / 8] = static_cast<uint8_t>(type.bytes[bit / 8] ^ (1 << (bit % 8)));
            void *interface = object.get();

            EXPECT_EQ(static_cast<uint32_t>(object->QueryInterface(type, &interface)), 0x80000004u);
            EXPECT_EQ(interface, nullptr);
        }
    }
    EXPECT_EQ(PlugInInspector::refCount(*object), 1u);
}

TEST(QueryInterface, RefusesWhenTheIdentifierCannotBeCreated) {
    Object object = make();
    void *interface = object.get();
    host::arm_fault("RvUUIDCreateWithBytes", 0, host::Strikes::Once);

    HRESULT result = object->QueryInterface(kUnknown, &interface);
    host::disarm_faults();

    EXPECT_EQ(static_cast<uint32_t>(result), 0x80000004u);
    EXPECT_EQ(interface, nullptr);
}

TEST(Open, ReturnsTrueAndCreatesEveryKeyString) {
    Object object = make();

    EXPECT_TRUE(object->open(nullptr, 0));

    for (int key = 0; key < kQORTbkKey_Count; ++key) {
        EXPECT_STREQ(TvStringGetCString(PlugInInspector::key(*object, key)), qor::analytics::kKeys[key]) << key;
    }
}

TEST(Open, LeavesAStringThatCannotBeCreatedNullAndContinues) {
    Object object = make();
    host::arm_fault("TvStringCreateWithCString", 3, host::Strikes::Once);

    EXPECT_TRUE(object->open(nullptr, 0));
    host::disarm_faults();

    EXPECT_EQ(PlugInInspector::key(*object, 3), nullptr);
    EXPECT_STREQ(TvStringGetCString(PlugInInspector::key(*object, 4)), qor::analytics::kKeys[4]);
}

TEST(Open, ASecondCallOverwritesTheStringsWithoutReleasingThem) {
    Object object = make();
    object->open(nullptr, 0);
    TvStringRef first = PlugInInspector::key(*object, 0);

    object->open(nullptr, 0);

    EXPECT_NE(PlugInInspector::key(*object, 0), first);
    EXPECT_STREQ(TvStringGetCString(first), "com.ondre.zel.button.click.count"); // still alive
}

TEST(KeyTable, KeepsTheIrregularSpellings) {
    EXPECT_STREQ(qor::analytics::kKeys[0], "com.ondre.zel.button.click.count");
    EXPECT_STREQ(qor::analytics::kKeys[25], "com.ondre.com.zel.prox.baseline_to_trigger.time.dist");
    EXPECT_STREQ(qor::analytics::kKeys[30],
                 "com.ondre.zel.prox.num_frames_for_high_ambient_baseline_capture_target_approched.dist");
    EXPECT_STREQ(qor::analytics::kKeys[44], "com.ondre.zel.button.kiru_probe_failure_kiru_count");
    EXPECT_STREQ(qor::analytics::kKeys[57], "com.ondre.zel.test");
}

using Schedule = PlugInTest;

TEST_F(Schedule, KeepsTheQueueUntilUnscheduled) {
    EXPECT_EQ(PlugInInspector::queue(*plug_in), queue.handle());

    plug_in->unscheduleFromDispatchQueue(queue.handle());

    EXPECT_EQ(PlugInInspector::queue(*plug_in), nullptr);
}

TEST_F(Schedule, LogsTheFaultNotificationEvenAfterUnscheduling) {
    plug_in->unscheduleFromDispatchQueue(queue.handle());

    host::deliver_notification("com.ondre.ondreqorhidstatistics.fault");
    queue.run([] {});

    ASSERT_THAT(lines(), ElementsAre("fault!"));
    EXPECT_EQ(log.messages()[0].level, kRvLogLevelFault);
    EXPECT_EQ(log.messages()[0].subsystem, "ZEL");
    EXPECT_EQ(log.messages()[0].category, "OndreQORHIDStatistics");
}

TEST_F(Schedule, EachCallRegistersOnceMore) {
    plug_in->scheduleWithDispatchQueue(queue.handle());

    host::deliver_notification("com.ondre.ondreqorhidstatistics.fault");
    queue.run([] {});

    EXPECT_THAT(lines(), ElementsAre("fault!", "fault!"));
}

TEST_F(Schedule, LogsNothingWhenTheFaultLevelIsOff) {
    host::enable_log_level(kRvLogLevelFault, false);

    host::deliver_notification("com.ondre.ondreqorhidstatistics.fault");
    queue.run([] {});
    host::enable_log_level(kRvLogLevelFault, true);

    EXPECT_THAT(lines(), IsEmpty());
}

using Log = PlugInTest;

TEST_F(Log, StillAcceptsLinesAfterAnObjectReleasedIt) {
    make().reset();

    logAssertion("parent", 7);

    EXPECT_THAT(lines(), ElementsAre(": Kelmarks: parent,  file: plugin/OndreQORHIDStatistics.cpp, line: 7 value:0"));
}

TEST_F(Log, WritesTheAssertionLineWithItsNewlineStatusInHexAndErrorText) {
    logAssertion("kr == 0 ", 12, 0xE00002BC, "general error");

    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].text,
              ": Kelmarks: kr == 0 , general error file: plugin/OndreQORHIDStatistics.cpp, line: 12 value:e00002bc\n");
    EXPECT_EQ(log.messages()[0].level, kRvLogLevelDefault);
}

TEST_F(Log, TreatsANullErrorTextAsEmpty) {
    logAssertion("kr == 0 ", 12, 1, nullptr);

    EXPECT_THAT(lines(), ElementsAre(assertion_line("kr == 0 ", "1")));
}

TEST_F(Log, WritesTheAssertionLineWhateverTheErrorLevelIs) {
    host::enable_log_level(kRvLogLevelError, false);
    logAssertion("condition", 12);
    host::enable_log_level(kRvLogLevelError, true);

    EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(Log, WritesNothingWhenTheDefaultLevelIsOff) {
    host::enable_log_level(kRvLogLevelDefault, false);

    logAssertion("parent", 7);
    host::enable_log_level(kRvLogLevelDefault, true);

    EXPECT_THAT(lines(), IsEmpty());
}

} // namespace
} // namespace plug_in_tests
