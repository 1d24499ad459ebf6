// Service registration: which services are kept, the contents of their contexts, and every failure.

#include "platform/RvStateCapture.h"
#include "plugin/QorServices.h"
#include "tests/plugin/plug_in_fixture.h"

namespace plug_in_tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Registration : public PlugInTest {
protected:
    void register_service(const RvHIDService &service) {
        queue.run([&] { plug_in->registerService(&service); });
    }

    /** Schedules another object and registers this service with it. Its allocation number `fails_at`, from 0, fails. */
    OndreQORHIDStatistics *register_without_memory(const RvHIDService &service, std::size_t fails_at) {
        _allocator.fail_at(fails_at);
        OndreQORHIDStatistics *object = OndreQORHIDStatistics::alloc(&_allocator);
        queue.run([&] {
            object->scheduleWithDispatchQueue(queue.handle());
            object->registerService(&service);
        });
        return object;
    }

    std::size_t kept_count() const { return PlugInInspector::services(*plug_in)->size(); }
    Context &context(std::size_t index) const { return *PlugInInspector::services(*plug_in)->at(index); }

    /** The number of handlers that this test's object has registered. */
    std::size_t handlers() const { return host::state_capture_handler_count() - _handlers_before; }

private:
    CountingAllocator _allocator;
    std::size_t _handlers_before = host::state_capture_handler_count();
};

// ---- which services are kept

struct Vetting {
    const char *what;
    Usages usages;
    bool tallybook;
    bool is_kept;
    bool has_hid_device;
    std::size_t handlers; // 104 raw-debug ones, 2 of the button, 1 of a sensor
};

void PrintTo(const Vetting &vetting, std::ostream *out) { *out << vetting.what; }

class VettedService : public Registration, public testing::WithParamInterface<Vetting> {};

TEST_P(VettedService, IsKeptWithWhatItsUsagesCallFor) {
    const Vetting &expected = GetParam();
    PlayedQor qor;

    register_service(expected.tallybook ? qor.tallybook_service(expected.usages) : qor.service(expected.usages));

    ASSERT_EQ(kept_count(), expected.is_kept ? 1u : 0u);
    EXPECT_EQ(handlers(), expected.handlers);
    EXPECT_THAT(lines(), IsEmpty());
    if (expected.is_kept) {
        EXPECT_EQ(context(0)._device._hid != nullptr, expected.has_hid_device);
        EXPECT_EQ(qor.device->has_callback(), expected.tallybook);
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, VettedService,
    testing::Values(Vetting{"ConsumerControl", kConsumerControl, false, true, true, 106},
                    Vetting{"ConsumerControlWithTallybook", kConsumerControl, true, true, true, 106},
                    Vetting{"Telephony", kTelephony, false, true, false, 104},
                    Vetting{"TallybookAlone", {}, true, true, false, 104},
                    Vetting{"Accelerometer", {{0xFF00, 0x0003}}, false, true, false, 105},
                    Vetting{"Gyroscope", {{0xFF00, 0x0009}}, false, true, false, 105},
                    Vetting{"Compass", {{0xFF00, 0x000A}}, false, true, false, 105},
                    Vetting{"Pressure", {{0x0020, 0x0031}}, false, true, false, 105},
                    Vetting{"Vendor", kVendor, false, true, false, 104},
                    Vetting{"ConsumerControlAndSensor", {{0x000C, 1}, {0xFF00, 3}}, false, true, true, 107},
                    Vetting{"NoUsage", {}, false, false, false, 0},
                    Vetting{"NeighbouringUsages",
                            {{0x000C, 2}, {0x000B, 2}, {0xFF00, 4}, {0xFF00, 8}, {0xFF00, 0x28}, {0x20, 0x32}},
                            false,
                            false,
                            false,
                            0}),
    [](const auto &vetting) { return std::string(vetting.param.what); });

TEST_F(Registration, IgnoresAServiceWithoutTransport) {
    PlayedQor qor;
    RvHIDService service = qor.service(kConsumerControl);
    service.properties.erase("Transport");

    register_service(service);

    EXPECT_EQ(kept_count(), 0u);
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(Registration, LogsATransportThatIsNotAString) {
    PlayedQor qor;
    RvHIDService service = qor.service(kConsumerControl);
    service.properties["Transport"] = number_value(1);

    register_service(service);

    EXPECT_EQ(kept_count(), 0u);
    EXPECT_THAT(lines(), ElementsAre(assertion_line("TvGetTypeID(transport) == TvStringGetTypeID()")));
}

TEST_F(Registration, MatchesTheTransportExactly) {
    PlayedQor qor;
    for (const char *transport : {"qor", "QO", "QORX", " QOR", ""}) {
        RvHIDService service = qor.service(kConsumerControl);
        service.properties["Transport"] = string_value(transport);

        register_service(service);

        EXPECT_EQ(kept_count(), 0u) << transport;
    }
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(Registration, AcceptsOnlyABooleanTrueAsTallybookSupport) {
    PlayedQor qor;
    RvHIDService service = qor.service({});
    EXPECT_FALSE(RvHIDServiceSupportsTallybook(&service));

    service.properties["ZELSupportsTallybook"] = boolean_value(false);
    EXPECT_FALSE(RvHIDServiceSupportsTallybook(&service));
    service.properties["ZELSupportsTallybook"] = number_value(1);
    EXPECT_FALSE(RvHIDServiceSupportsTallybook(&service));
    service.properties["ZELSupportsTallybook"] = boolean_value(true);
    EXPECT_TRUE(RvHIDServiceSupportsTallybook(&service));
}

TEST_F(Registration, ReadsTheRegistryIDBitForBitAndZeroIfAbsent) {
    RvHIDService service;
    EXPECT_EQ(getRvHIDServiceRegistryID(&service), 0u);

    service.registry_id = string_value("12");
    EXPECT_EQ(getRvHIDServiceRegistryID(&service), 0u);
    service.registry_id = number_value(-1);
    EXPECT_EQ(getRvHIDServiceRegistryID(&service), UINT64_MAX);
    service.registry_id = number_value(0x100000201);
    EXPECT_EQ(getRvHIDServiceRegistryID(&service), 0x100000201u);
}

// ---- the context

TEST_F(Registration, FillsTheContextFromTheRegistry) {
    PlayedQor qor;

    register_service(qor.service(kConsumerControl));

    ASSERT_EQ(kept_count(), 1u);
    EXPECT_EQ(context(0)._driver._service, qor.driver_entry);
    EXPECT_EQ(context(0)._device._service, qor.device_entry);
    EXPECT_NE(context(0)._driver._interface, nullptr);
    EXPECT_NE(context(0)._device._interface, nullptr);
    EXPECT_NE(context(0)._device._hid, nullptr);
}

TEST_F(Registration, HoldsTheDriverAndTheDeviceAndReleasesTheEntryBetween) {
    PlayedQor qor;

    register_service(qor.service(kVendor));

    EXPECT_EQ(host::device_registry::reference_count(qor.driver_entry), 1u);
    EXPECT_EQ(host::device_registry::reference_count(qor.interface_entry), 0u);
    EXPECT_EQ(host::device_registry::reference_count(qor.device_entry), 1u);
}

TEST_F(Registration, KeepsServicesInTheOrderOfTheirRegistration) {
    PlayedQor first;
    PlayedQor second;

    register_service(first.service(kVendor));
    register_service(second.service(kVendor));

    ASSERT_EQ(kept_count(), 2u);
    EXPECT_EQ(context(0)._driver._service, first.driver_entry);
    EXPECT_EQ(context(1)._driver._service, second.driver_entry);
}

TEST_F(Registration, RegistersRawDebugOnceForTwoServices) {
    PlayedQor first;
    PlayedQor second;
    register_service(first.service(kVendor));
    EXPECT_TRUE(PlugInInspector::rawDebugRegistered(*plug_in));
    EXPECT_EQ(handlers(), 104u);

    register_service(second.service(kSensor));

    EXPECT_EQ(handlers(), 105u);
}

TEST_F(Registration, KeepsTheServiceWithoutMemoryForTheArray) {
    PlayedQor qor;
    OndreQORHIDStatistics *object = register_without_memory(qor.service(kVendor), 1);

    EXPECT_EQ(handlers(), 104u);
    EXPECT_EQ(PlugInInspector::services(*object), nullptr);
    object->Release();
}

TEST_F(Registration, KeepsTheServiceWithoutMemoryToGrowTheArray) {
    PlayedQor qor;
    OndreQORHIDStatistics *object = register_without_memory(qor.service(kVendor), 2);

    EXPECT_EQ(handlers(), 104u);
    EXPECT_THAT(*PlugInInspector::services(*object), IsEmpty());
    object->Release();
}

TEST_F(Registration, WithoutAQueueRegistersNoHandlerButKeepsTheService) {
    plug_in->unscheduleFromDispatchQueue(queue.handle());
    PlayedQor qor;

    register_service(qor.service(kConsumerControl));

    EXPECT_EQ(kept_count(), 1u);
    EXPECT_EQ(handlers(), 0u);
}

// ---- the registry walk

TEST_F(Registration, FailsWithoutADriverEntry) {
    PlayedQor qor;
    RvHIDService service = qor.service(kConsumerControl);
    service.registry_id = number_value(0x7777777777);

    register_service(service);

    EXPECT_EQ(kept_count(), 0u);
    EXPECT_THAT(lines(), ElementsAre(assertion_line("context->_driver._service")));
}

TEST_F(Registration, LooksUpEvenRegistryIDZero) {
    host::RegistryEntryDescription description{.registry_id = 0, .name = "entry of ID 0"};
    RvRegistryEntry entry = host::device_registry::add(std::move(description));
    PlayedQor qor;
    RvHIDService service = qor.service(kConsumerControl);
    service.registry_id.reset();

    register_service(service);
    host::device_registry::remove(entry);

    EXPECT_THAT(lines(), ElementsAre(assertion_line("parent"))); // found, and has no parent
}

TEST_F(Registration, FailsWithoutAParent) {
    PlayedQor qor({.ancestors = 0});

    register_service(qor.service(kConsumerControl));

    EXPECT_EQ(kept_count(), 0u);
    EXPECT_EQ(handlers(), 0u);
    EXPECT_THAT(lines(), ElementsAre(assertion_line("parent")));
}

TEST_F(Registration, FailsWithoutAGrandparentAndReleasesTheParent) {
    PlayedQor qor({.ancestors = 1});

    register_service(qor.service(kConsumerControl));

    EXPECT_EQ(kept_count(), 0u);
    EXPECT_THAT(lines(), ElementsAre(assertion_line("context->_device._service")));
    EXPECT_EQ(host::device_registry::reference_count(qor.interface_entry), 0u);
    EXPECT_EQ(host::device_registry::reference_count(qor.driver_entry), 1u); // not released: intended
}

class FailingParentLookup : public Registration, public testing::WithParamInterface<uint64_t> {};

TEST_P(FailingParentLookup, EndsTheRegistrationWithTheStatus) {
    PlayedQor qor;
    host::arm_fault("RvRegistryEntryCopyParent", GetParam(), host::Strikes::Once);

    register_service(qor.service(kConsumerControl));

    EXPECT_EQ(kept_count(), 0u);
    ASSERT_EQ(lines().size(), 1u);
    EXPECT_THAT(lines()[0], HasSubstr(": Kelmarks: kr == 0 ,  file: "));
    EXPECT_THAT(lines()[0], testing::Not(testing::EndsWith("value:0")));
    EXPECT_EQ(host::device_registry::reference_count(qor.interface_entry), 0u);
    EXPECT_EQ(host::device_registry::reference_count(qor.device_entry), 0u);
}

INSTANTIATE_TEST_SUITE_P(ParentAndGrandparent, FailingParentLookup, testing::Values(0u, 1u));

// ---- the driver interface

TEST_F(Registration, KeepsAServiceWithoutADriverPlugIn) {
    PlayedQor qor({.driver_plug_in = false});

    register_service(qor.tallybook_service(kConsumerControl));

    ASSERT_EQ(kept_count(), 1u);
    EXPECT_EQ(context(0)._driver._interface, nullptr);
    EXPECT_TRUE(qor.device->has_callback());
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(Registration, LogsADriverQueryThatFailsWithoutAnInterface) {
    PlayedQor qor;
    qor.driver->query = {.result = kRvResultNoInterface, .gives_interface = false};

    register_service(qor.service(kVendor));

    ASSERT_EQ(kept_count(), 1u);
    EXPECT_EQ(context(0)._driver._interface, nullptr);
    EXPECT_THAT(lines(),
                ElementsAre(assertion_line("((HRESULT)(Status) >= 0)"), assertion_line("context->_driver._interface")));
}

TEST_F(Registration, LeaksTheDriverPlugInThatReturnsNoInterface) {
    PlayedQor qor({.device_plug_in = false});
    qor.driver->query = {.result = kRvResultOK, .gives_interface = false};
    const std::size_t before = host::live_plug_in_references();

    register_service(qor.service(kVendor));

    EXPECT_EQ(host::live_plug_in_references(), before + 1);
    EXPECT_THAT(lines(), ElementsAre(assertion_line("context->_driver._interface")));
}

TEST_F(Registration, UsesADriverInterfaceReturnedWithANegativeResult) {
    PlayedQor qor;
    qor.driver->query = {.result = kRvResultNoInterface, .gives_interface = true};

    register_service(qor.service(kVendor));

    ASSERT_EQ(kept_count(), 1u);
    EXPECT_NE(context(0)._driver._interface, nullptr);
    EXPECT_THAT(lines(), ElementsAre(assertion_line("((HRESULT)(Status) >= 0)")));
}

TEST_F(Registration, ReleasesThePlugInsAndHoldsTheInterfaces) {
    PlayedQor qor;
    const std::size_t before = host::live_plug_in_references();

    register_service(qor.service(kVendor));

    EXPECT_EQ(host::live_plug_in_references(), before + 2); // one of the driver, one of the device
}

TEST_F(Registration, FailsWhenTheDriverDoesNotStart) {
    PlayedQor qor;
    qor.driver->start_status = 0xE00002D8;
    const std::size_t before = host::live_plug_in_references();

    register_service(qor.service(kConsumerControl));

    EXPECT_EQ(kept_count(), 0u);
    EXPECT_EQ(handlers(), 0u);
    EXPECT_THAT(lines(), ElementsAre(assertion_line("kr == 0 ", "e00002d8")));
    EXPECT_EQ(host::live_plug_in_references(), before + 1); // the interface, not the plug-in object
    EXPECT_EQ(host::device_registry::reference_count(qor.interface_entry), 0u);
}

// ---- the device interface

TEST_F(Registration, KeepsAServiceWithoutADevicePlugIn) {
    PlayedQor qor({.device_plug_in = false});

    register_service(qor.tallybook_service(kConsumerControl));

    ASSERT_EQ(kept_count(), 1u);
    EXPECT_EQ(context(0)._device._interface, nullptr);
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(Registration, LogsAFailingDeviceQueryReleasesThePlugInAndContinues) {
    PlayedQor qor({.driver_plug_in = false});
    qor.device->query = {.result = kRvResultNoInterface, .gives_interface = false};
    const std::size_t before = host::live_plug_in_references();

    register_service(qor.tallybook_service(kVendor));

    ASSERT_EQ(kept_count(), 1u);
    EXPECT_EQ(context(0)._device._interface, nullptr);
    EXPECT_EQ(host::live_plug_in_references(), before);
    EXPECT_THAT(lines(),
                ElementsAre(assertion_line("((HRESULT)(Status) >= 0)"), assertion_line("context->_device._interface")));
}

TEST_F(Registration, UsesADeviceInterfaceReturnedWithANegativeResult) {
    PlayedQor qor;
    qor.device->query = {.result = kRvResultNoInterface, .gives_interface = true};

    register_service(qor.tallybook_service(kVendor));

    EXPECT_TRUE(qor.device->has_callback());
    EXPECT_THAT(lines(), ElementsAre(assertion_line("((HRESULT)(Status) >= 0)")));
}

TEST_F(Registration, IgnoresADeviceThatDoesNotStart) {
    PlayedQor qor;
    qor.device->start_status = 0xE00002BC;

    register_service(qor.tallybook_service(kVendor));

    EXPECT_EQ(kept_count(), 1u);
    EXPECT_TRUE(qor.device->has_callback());
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(Registration, InstallsTheCallbackOnTheQueueThenSendsTheDriverCommand) {
    PlayedQor qor;
    std::vector<std::string> commands;
    qor.driver->command = [&](host::DriverCommand &command) -> RvStatus {
        EXPECT_TRUE(qor.device->has_callback());
        EXPECT_EQ(command.in.size(), 0u);
        EXPECT_EQ(command.out.size(), 0u);
        EXPECT_EQ(command.out_size, 0u);
        commands.push_back(std::to_string(command.selector));
        return 0xE00002BC; // the status is ignored
    };

    register_service(qor.tallybook_service(kVendor));

    EXPECT_EQ(qor.device->queue(), queue.handle());
    EXPECT_EQ(qor.device->target(), plug_in);
    EXPECT_THAT(commands, ElementsAre("30"));
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(Registration, WithoutTallybookSupportInstallsNothing) {
    PlayedQor qor;
    int commands = 0;
    qor.driver->command = [&](host::DriverCommand &) {
        ++commands;
        return RvStatus{0};
    };

    register_service(qor.service(kConsumerControl));

    EXPECT_FALSE(qor.device->has_callback());
    EXPECT_EQ(qor.device->queue(), nullptr);
    EXPECT_EQ(commands, 0);
}

// ---- the HID device

TEST_F(Registration, FailsWithoutAHIDDeviceAndUndoesNothing) {
    PlayedQor qor;
    host::allow_hid_device(qor.device_entry, false);

    register_service(qor.tallybook_service(kConsumerControl));

    EXPECT_EQ(kept_count(), 0u);
    EXPECT_EQ(handlers(), 0u);
    EXPECT_TRUE(qor.device->has_callback());
    EXPECT_THAT(lines(), ElementsAre(assertion_line("context->_device._hid")));
}

TEST_F(Registration, LeavesTheRawDebugHandlersToTheNextServiceAfterAFailure) {
    PlayedQor failing;
    host::allow_hid_device(failing.device_entry, false);
    PlayedQor next;

    register_service(failing.service(kConsumerControl));
    register_service(next.service(kTelephony));

    EXPECT_EQ(kept_count(), 1u);
    EXPECT_EQ(handlers(), 104u);
}

} // namespace
} // namespace plug_in_tests
