// Properties and commands through the driver interface and by name, and the event-queue counters.

#include <algorithm>

#include "platform/RvConnection.h"
#include "tests/plugin/plug_in_fixture.h"

namespace plug_in_tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrEq;

constexpr RvStatus kRefusal = 0xE00002D5;

// ---- through the driver interface

class DriverInterface : public PlugInTest {
protected:
    DriverInterface() {
        RvHIDService service = qor.service(kVendor);
        queue.run([&] { plug_in->registerService(&service); });
        context = PlugInInspector::services(*plug_in)->at(0);
    }

    /** Makes the driver answer every command with this status, these bytes and this reported size. */
    void answer(RvStatus status, const std::vector<uint8_t> &bytes, std::size_t reported_size) {
        qor.driver->command = [this, status, bytes, reported_size](host::DriverCommand &command) {
            seen_selector = command.selector;
            seen_input.assign(command.in.begin(), command.in.end());
            seen_capacity = command.out_size;
            const std::size_t size = std::min(bytes.size(), command.out.size());
            std::copy_n(reinterpret_cast<const std::byte *>(bytes.data()), size, command.out.begin());
            command.out_size = reported_size;
            return status;
        };
    }

    PlayedQor qor;
    Context *context = nullptr;
    uint32_t seen_selector = 0;
    std::vector<std::byte> seen_input;
    std::size_t seen_capacity = 0;
};

TEST_F(DriverInterface, GetPropertyAsksWithCommand10AndTheIdentifier) {
    answer(0, {1, 2, 3}, 3);
    uint8_t output[16] = {};
    uint64_t size = 0;

    EXPECT_EQ(plug_in->getProperty(context, 0x01020304, output, sizeof output, &size), 0u);

    EXPECT_EQ(seen_selector, 10u);
    EXPECT_THAT(seen_input, ElementsAre(std::byte{4}, std::byte{3}, std::byte{2}, std::byte{1}));
    EXPECT_EQ(seen_capacity, 16u);
    EXPECT_EQ(size, 3u);
    EXPECT_EQ(output[2], 3);
}

TEST_F(DriverInterface, GetPropertyKeepsTheReportedSizeEvenAboveTheCapacity) {
    answer(0, {1, 2, 3, 4}, 5000);
    uint8_t output[4] = {};
    uint64_t size = 0;

    EXPECT_EQ(plug_in->getProperty(context, 1, output, sizeof output, &size), 0u);

    EXPECT_EQ(size, 5000u);
}

TEST_F(DriverInterface, GetPropertyLeavesTheSizeAloneOnFailure) {
    answer(kRefusal, {}, 3);
    uint8_t output[4] = {};
    uint64_t size = 77;

    EXPECT_EQ(plug_in->getProperty(context, 1, output, sizeof output, &size), kRefusal);

    EXPECT_EQ(size, 77u);
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(DriverInterface, GetPropertyAcceptsANullSize) {
    answer(0, {9}, 1);
    uint8_t output[4] = {};

    EXPECT_EQ(plug_in->getProperty(context, 1, output, sizeof output, nullptr), 0u);

    EXPECT_EQ(output[0], 9);
}

TEST_F(DriverInterface, GetPropertyWithoutAnInterfaceIsNotReadyAndTouchesNothing) {
    Context bare{};
    uint8_t output[4] = {1, 2, 3, 4};
    uint64_t size = 77;

    EXPECT_EQ(plug_in->getProperty(&bare, 1, output, sizeof output, &size), 0xE00002D8u);

    EXPECT_THAT(output, ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(size, 77u);
    EXPECT_THAT(lines(), ElementsAre(assertion_line("context->_driver._interface")));
}

TEST_F(DriverInterface, GetPropertyU32ReturnsTheProperty) {
    answer(0, {0x78, 0x56, 0x34, 0x12}, 4);
    uint32_t result = 0;

    EXPECT_EQ(plug_in->getPropertyU32(context, 1, &result, 99), 0u);

    EXPECT_EQ(result, 0x12345678u);
    EXPECT_EQ(seen_capacity, 4u);
    EXPECT_THAT(lines(), IsEmpty());
}

class OddReplySize : public DriverInterface, public testing::WithParamInterface<std::size_t> {};

TEST_P(OddReplySize, IsReportedAsSuccessWithTheDefault) {
    answer(0, {1, 1, 1, 1}, GetParam());
    uint32_t result = 0;

    EXPECT_EQ(plug_in->getPropertyU32(context, 1, &result, 99), 0u);

    EXPECT_EQ(result, 99u);
    EXPECT_THAT(lines(), ElementsAre(assertion_line("size == sizeof(uint32_t)")));
}

INSTANTIATE_TEST_SUITE_P(All, OddReplySize, testing::Values(0u, 2u, 3u, 5u, 4096u));

TEST_F(DriverInterface, GetPropertyU32ReturnsTheDefaultOnFailure) {
    answer(kRefusal, {1, 1, 1, 1}, 4);
    uint32_t result = 0;

    EXPECT_EQ(plug_in->getPropertyU32(context, 1, &result, 99), kRefusal);

    EXPECT_EQ(result, 99u);
}

TEST_F(DriverInterface, PerformCommandPassesEverythingThrough) {
    answer(0, {7, 8}, 2);
    const uint8_t input[] = {5, 6};
    uint8_t output[8] = {};
    size_t size = sizeof output;

    EXPECT_EQ(plug_in->performCommand(context, 57, input, sizeof input, output, &size), 0u);

    EXPECT_EQ(seen_selector, 57u);
    EXPECT_THAT(seen_input, ElementsAre(std::byte{5}, std::byte{6}));
    EXPECT_EQ(seen_capacity, 8u);
    EXPECT_EQ(size, 2u);
    EXPECT_EQ(output[1], 8);
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(DriverInterface, PerformCommandLogsAFailureWithItsStatus) {
    answer(kRefusal, {}, 0);
    size_t size = 0;

    EXPECT_EQ(plug_in->performCommand(context, 57, nullptr, 0, nullptr, &size), kRefusal);

    EXPECT_THAT(lines(), ElementsAre(assertion_line("result == 0 ", "e00002d5")));
}

// ---- by name

class NamedService : public PlugInTest {
protected:
    NamedService() {
        host::UserClient client;
        client.open = [this](uint32_t type) {
            seen_type = type;
            return open_status;
        };
        client.call_method = [this](host::MethodCall &call) {
            seen_method = call.method;
            seen_scalars.assign(call.scalars_in.begin(), call.scalars_in.end());
            seen_input.assign(call.in.begin(), call.in.end());
            seen_scalar_capacity = call.scalars_out_count;
            seen_capacity = call.out_size;
            if (!call.out.empty()) {
                call.out[0] = std::byte{0x5A};
            }
            call.out_size = reported_size;
            return call_status;
        };
        entry = host::device_registry::add(
            {.registry_id = 0x9001, .name = "test_profile", .user_client = std::move(client)});
    }
    ~NamedService() override { host::device_registry::remove(entry); }

    void expect_nothing_left_open() const {
        EXPECT_EQ(host::open_connection_count(), 0u);
        EXPECT_EQ(host::device_registry::reference_count(entry), 0u);
    }

    RvRegistryEntry entry = 0;
    RvStatus open_status = 0;
    RvStatus call_status = 0;
    std::size_t reported_size = 2;
    uint32_t seen_type = 99;
    uint32_t seen_method = 0;
    std::vector<uint64_t> seen_scalars;
    std::vector<std::byte> seen_input;
    std::size_t seen_scalar_capacity = 99;
    std::size_t seen_capacity = 0;
    uint8_t output[8] = {};
};

TEST_F(NamedService, PropertyIsReadWithMethod2AndOneScalar) {
    uint64_t size = 0;

    EXPECT_EQ(plug_in->getNamedServiceProperty("test_profile", 0xFFFFFFFF, output, sizeof output, &size), 0u);

    EXPECT_EQ(seen_type, 0u);
    EXPECT_EQ(seen_method, 2u);
    EXPECT_THAT(seen_scalars, ElementsAre(0xFFFFFFFFull));
    EXPECT_THAT(seen_input, IsEmpty());
    EXPECT_EQ(seen_scalar_capacity, 0u);
    EXPECT_EQ(seen_capacity, 8u);
    EXPECT_EQ(size, 2u);
    EXPECT_EQ(output[0], 0x5A);
    EXPECT_THAT(lines(), IsEmpty());
    expect_nothing_left_open();
}

TEST_F(NamedService, PropertyOfAnUnknownNameIsAGeneralError) {
    uint64_t size = 77;

    EXPECT_EQ(plug_in->getNamedServiceProperty("no_such_service", 209, output, sizeof output, &size), 0xE00002BCu);

    EXPECT_EQ(size, 77u);
    EXPECT_THAT(lines(), ElementsAre(assertion_line("service")));
}

TEST_F(NamedService, PropertyOverARefusedConnectionIsAGeneralError) {
    open_status = kRvStatusNotReady;
    uint64_t size = 77;

    EXPECT_EQ(plug_in->getNamedServiceProperty("test_profile", 209, output, sizeof output, &size), 0xE00002BCu);

    EXPECT_EQ(size, 77u);
    EXPECT_THAT(lines(), ElementsAre(assertion_line("kr == 0 ", "e00002d8", RvStatusGetText(kRvStatusNotReady))));
    expect_nothing_left_open();
}

TEST_F(NamedService, PropertyOfAFailingCallIsAGeneralErrorAndTheConnectionIsClosed) {
    call_status = kRvStatusNotReady;
    uint64_t size = 77;

    EXPECT_EQ(plug_in->getNamedServiceProperty("test_profile", 209, output, sizeof output, &size), 0xE00002BCu);

    EXPECT_EQ(size, 77u);
    EXPECT_THAT(lines(), ElementsAre(assertion_line("kr == 0 ", "e00002d8", RvStatusGetText(kRvStatusNotReady))));
    expect_nothing_left_open();
}

TEST_F(NamedService, StatusWithoutATextLeavesTheErrorTextEmpty) {
    call_status = 0x12345;
    ASSERT_EQ(RvStatusGetText(0x12345), nullptr);
    uint64_t size = 0;

    plug_in->getNamedServiceProperty("test_profile", 209, output, sizeof output, &size);

    EXPECT_THAT(lines(), ElementsAre(assertion_line("kr == 0 ", "12345")));
}

TEST_F(NamedService, CommandPassesTheStructuresThrough) {
    const uint8_t input[] = {1, 2, 3};
    size_t size = sizeof output;

    EXPECT_EQ(plug_in->performNamedServiceCommand("test_profile", 9, input, sizeof input, output, &size), 0u);

    EXPECT_EQ(seen_type, 0u);
    EXPECT_EQ(seen_method, 9u);
    EXPECT_THAT(seen_scalars, IsEmpty());
    EXPECT_THAT(seen_input, ElementsAre(std::byte{1}, std::byte{2}, std::byte{3}));
    EXPECT_EQ(seen_capacity, 8u);
    EXPECT_EQ(size, 2u);
    EXPECT_THAT(lines(), IsEmpty());
    expect_nothing_left_open();
}

TEST_F(NamedService, CommandToAnUnknownNameIsAGeneralError) {
    size_t size = sizeof output;

    EXPECT_EQ(plug_in->performNamedServiceCommand("no_such_service", 9, nullptr, 0, output, &size), 0xE00002BCu);

    EXPECT_EQ(size, sizeof output);
    EXPECT_THAT(lines(), ElementsAre(assertion_line("service")));
}

TEST_F(NamedService, CommandReturnsTheRefusalOfTheConnectionUnchanged) {
    open_status = kRvStatusNotReady;
    size_t size = sizeof output;

    EXPECT_EQ(plug_in->performNamedServiceCommand("test_profile", 9, nullptr, 0, output, &size), kRvStatusNotReady);

    EXPECT_THAT(lines(), ElementsAre(assertion_line("kr == 0 ", "e00002d8", RvStatusGetText(kRvStatusNotReady))));
    expect_nothing_left_open();
}

TEST_F(NamedService, CommandReturnsTheStatusOfTheCallUnchanged) {
    call_status = kRefusal;
    size_t size = sizeof output;

    EXPECT_EQ(plug_in->performNamedServiceCommand("test_profile", 9, nullptr, 0, output, &size), kRefusal);

    ASSERT_EQ(lines().size(), 1u);
    expect_nothing_left_open();
}

// ---- event-queue counters

class EventCounters : public PlugInTest {
protected:
    /** Adds the counters and returns the text under "APEvents"; null if none was added. */
    const char *add_counters() {
        plug_in->addAPEvents(dictionary.get(), qor.device_entry);
        return TvStringGetCString(TvDictionaryGetValue(dictionary.get(), "APEvents"));
    }

    void set_driver_state(platform::OwnedValue state) const {
        host::device_registry::set_property(qor.driver_entry, "DebugState", std::move(state));
    }
    void set_client_state(platform::OwnedValue state) const {
        host::device_registry::set_property(qor.client_entry, "DebugState", std::move(state));
    }

    static constexpr const char *kDefaults =
        "-1 [enqueued=-1 dropped=-1; event_delta=0.000000 dropped_delta=0.000000]\n";

    PlayedQor qor;
    platform::OwnedMutableValue dictionary{TvDictionaryCreateMutable()};
};

TEST_F(EventCounters, AreDefaultsWithoutAnyDebugState) {
    EXPECT_THAT(add_counters(), StrEq(kDefaults));
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(EventCounters, ComeFromTheDriverAndTheUserClient) {
    set_driver_state(numbers({{"_num_events", 12}, {"EnqueueEventCount", 1}}));
    set_client_state(numbers({{"EnqueueEventCount", 34},
                              {"DroppedEventCount", 5},
                              {"LastEventTime", 1'500'000'000},
                              {"LastDroppedEventTime", 250'000},
                              {"_num_events", 99}}));

    EXPECT_THAT(add_counters(), StrEq("12 [enqueued=34 dropped=5; event_delta=1.500000 dropped_delta=0.000250]\n"));
}

TEST_F(EventCounters, PrintTheEnqueuedCountThroughItsLowWord) {
    set_client_state(numbers({{"EnqueueEventCount", 0x1'0000'0007}}));

    EXPECT_THAT(add_counters(), StrEq("-1 [enqueued=7 dropped=-1; event_delta=0.000000 dropped_delta=0.000000]\n"));
}

TEST_F(EventCounters, TreatNegativeTimesAsUnsigned) {
    set_client_state(numbers({{"LastEventTime", -1}}));

    EXPECT_THAT(add_counters(),
                StrEq("-1 [enqueued=-1 dropped=-1; event_delta=18446744073.709553 dropped_delta=0.000000]\n"));
}

TEST_F(EventCounters, RoundTimesOf64BitsToTheNearest) {
    set_client_state(numbers({{"LastEventTime", INT64_MIN + 0x401}})); // read as unsigned: just above half-way

    EXPECT_THAT(add_counters(),
                StrEq("-1 [enqueued=-1 dropped=-1; event_delta=9223372036.854778 dropped_delta=0.000000]\n"));
}

TEST_F(EventCounters, TreatADebugStateThatIsNotADictionaryAsAbsent) {
    set_driver_state(number_value(3));
    set_client_state(string_value("x"));

    EXPECT_THAT(add_counters(), StrEq(kDefaults));
}

TEST_F(EventCounters, TreatAnEntryThatIsNotANumberAsAbsent) {
    platform::OwnedMutableValue state(TvDictionaryCreateMutable());
    TvDictionarySetValue(state.get(), string_value("_num_events").get(), string_value("12").get());
    set_driver_state(platform::OwnedValue(state.detach()));

    EXPECT_THAT(add_counters(), StrEq(kDefaults));
}

TEST_F(EventCounters, ReleaseEveryEntry) {
    add_counters();

    EXPECT_EQ(host::device_registry::reference_count(qor.interface_entry), 0u);
    EXPECT_EQ(host::device_registry::reference_count(qor.driver_entry), 0u);
    EXPECT_EQ(host::device_registry::reference_count(qor.client_entry), 0u);
}

TEST_F(EventCounters, AddNothingWhereTheChainOfChildrenBreaks) {
    plug_in->addAPEvents(dictionary.get(), qor.interface_entry);
    plug_in->addAPEvents(dictionary.get(), qor.driver_entry);
    plug_in->addAPEvents(dictionary.get(), qor.client_entry);

    EXPECT_EQ(TvDictionaryGetCount(dictionary.get()), 0u);
    EXPECT_THAT(lines(), ElementsAre(assertion_line("uc"), assertion_line("driver"), assertion_line("interface")));
}

TEST_F(EventCounters, AddNothingForANullEntry) {
    plug_in->addAPEvents(dictionary.get(), 0);

    EXPECT_THAT(lines(), ElementsAre(assertion_line("interface")));
}

TEST_F(EventCounters, AddNothingWhenTheTextCannotBeCreated) {
    host::arm_fault("TvStringCreateWithCString", 1, host::Strikes::Once);

    plug_in->addAPEvents(dictionary.get(), qor.device_entry);

    EXPECT_EQ(TvDictionaryGetCount(dictionary.get()), 0u);
}

} // namespace
} // namespace plug_in_tests
