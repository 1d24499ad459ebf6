// The services that the module keeps, what it does for them, and what it leaves behind.

#include "tests/module/module_fixture.h"

namespace module_tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ModuleServices : public ModuleTest {
protected:
    /** The number of handlers that the module has registered in this test. */
    static std::size_t handlers() { return host::state_capture_handler_count(); }

    PlayedQor qor;
};

struct Vetting {
    const char *what;
    Usages usages;
    bool tallybook;
    std::size_t handlers; ///< 104 raw-debug ones, 2 of the button, 1 of a sensor
    std::size_t hid_devices;
};

TEST_F(ModuleServices, KeepsServicesByTheirUsagesAndRegistersTheirHandlers) {
    const Vetting table[] = {
        {"consumer control", kConsumerControl, false, 106, 1},
        {"telephony alone", kTelephony, false, 104, 0},
        {"a sensor", kSensor, false, 105, 0},
        {"the vendor's", kVendor, false, 104, 0},
        {"analytics alone", {}, true, 104, 0},
        {"analytics and consumer control", kConsumerControl, true, 106, 1},
        {"nothing", {}, false, 0, 0},
        {"a usage that nobody asks for", {{0x000C, 0x0002}}, false, 0, 0},
    };
    for (const Vetting &row : table) {
        SCOPED_TRACE(row.what);
        Loaded fresh;
        const PlayedQor player;
        const std::size_t devices_before = host::live_hid_devices();

        fresh.hand_over(row.tallybook ? player.tallybook_service(row.usages) : player.service(row.usages));

        EXPECT_EQ(handlers(), row.handlers);
        EXPECT_EQ(host::live_hid_devices() - devices_before, row.hid_devices);
        EXPECT_EQ(player.device->has_callback(), row.tallybook);
    }
    EXPECT_THAT(texts(), IsEmpty());
}

TEST_F(ModuleServices, AnalyticsAreDeliveredToTheObjectOnItsQueue) {
    plug_in.hand_over(qor.tallybook_service({}));

    EXPECT_EQ(qor.device->target(), plug_in.object);
    EXPECT_EQ(qor.device->queue(), plug_in.queue.handle());
}

TEST_F(ModuleServices, OtherTransportsAreIgnoredWithoutALogLine) {
    for (const char *transport : {"qor", "QORX", ""}) {
        RvHIDService service = qor.service(kConsumerControl);
        service.properties["Transport"] = string_value(transport);
        plug_in.hand_over(service);
    }
    RvHIDService without = qor.service(kConsumerControl);
    without.properties.erase("Transport");
    plug_in.hand_over(without);

    EXPECT_EQ(handlers(), 0u);
    EXPECT_THAT(texts(), IsEmpty());
}

/** Matches the whole text of a message, newline included, with any line number. */
MATCHER_P2(IsWholeAssertionLine, condition, value, "") {
    return testing::Matches(
        testing::MatchesRegex(std::string(": Kelmarks: ") + condition +
                              ",  file: plugin/OndreQORHIDStatistics\\.cpp, line: [0-9]+ value:" + value + "\n"))(arg);
}

TEST_F(ModuleServices, TransportThatIsNotAStringIsOneAssertionLine) {
    RvHIDService service = qor.service(kConsumerControl);
    service.properties["Transport"] = number_value(1);

    plug_in.hand_over(service);

    EXPECT_THAT(texts(),
                ElementsAre(IsWholeAssertionLine("TvGetTypeID\\(transport\\) == TvStringGetTypeID\\(\\)", "0")));
    EXPECT_EQ(log.messages()[0].level, kRvLogLevelDefault);
    EXPECT_EQ(handlers(), 0u);
}

TEST_F(ModuleServices, UnknownRegistryIDIsOneAssertionLine) {
    RvHIDService service = qor.service(kConsumerControl);
    service.registry_id = number_value(0x7FFF0000);

    plug_in.hand_over(service);

    EXPECT_THAT(texts(), ElementsAre(IsWholeAssertionLine("context->_driver\\._service", "0")));
}

TEST_F(ModuleServices, DriverThatRefusesToStartEndsTheRegistrationWithItsStatusInHex) {
    qor.driver->start_status = 0xE00002D8;

    plug_in.hand_over(qor.service(kConsumerControl));

    EXPECT_THAT(texts(), ElementsAre(IsWholeAssertionLine("kr == 0 ", "e00002d8")));
    EXPECT_EQ(handlers(), 0u);
}

TEST_F(ModuleServices, MissingAncestorsAreNamed) {
    const PlayedQor orphan{host::PlayedQorOptions{.driver_plug_in = true, .device_plug_in = true, .ancestors = 0}};
    const PlayedQor fatherless{host::PlayedQorOptions{.driver_plug_in = true, .device_plug_in = true, .ancestors = 1}};

    plug_in.hand_over(orphan.service(kVendor));
    plug_in.hand_over(fatherless.service(kVendor));

    EXPECT_THAT(texts(), ElementsAre(IsWholeAssertionLine("parent", "0"),
                                     IsWholeAssertionLine("context->_device\\._service", "0")));
}

TEST_F(ModuleServices, ServiceWithoutDriverPlugInIsKeptSilently) {
    const PlayedQor player{host::PlayedQorOptions{.driver_plug_in = false, .device_plug_in = true, .ancestors = 2}};

    plug_in.hand_over(player.tallybook_service({}));

    EXPECT_EQ(handlers(), 104u);
    EXPECT_TRUE(player.device->has_callback());
    EXPECT_THAT(texts(), IsEmpty());
}

TEST_F(ModuleServices, QueryThatFailsWithoutAnInterfaceWritesBothLinesAndTheServiceIsKept) {
    qor.driver->query = {kRvResultNoInterface, false};

    plug_in.hand_over(qor.service(kVendor));

    EXPECT_THAT(texts(), ElementsAre(IsWholeAssertionLine("\\(\\(HRESULT\\)\\(Status\\) >= 0\\)", "0"),
                                     IsWholeAssertionLine("context->_driver\\._interface", "0")));
    EXPECT_EQ(handlers(), 104u);
}

TEST_F(ModuleServices, DeviceWithoutHIDDeviceEndsTheRegistration) {
    host::allow_hid_device(qor.device_entry, false);

    plug_in.hand_over(qor.service(kConsumerControl));

    EXPECT_THAT(texts(), ElementsAre(IsWholeAssertionLine("context->_device\\._hid", "0")));
    EXPECT_EQ(handlers(), 0u);
}

TEST_F(ModuleServices, NothingIsWrittenWhenTheDefaultLevelIsDisabled) {
    RvHIDService service = qor.service(kConsumerControl);
    service.properties["Transport"] = number_value(1);

    host::enable_log_level(kRvLogLevelDefault, false);
    plug_in.hand_over(service);
    host::enable_log_level(kRvLogLevelDefault, true);

    EXPECT_THAT(texts(), IsEmpty());
}

TEST_F(ModuleServices, RawDebugHandlersAreRegisteredOnceForAllServicesOfAnObject) {
    plug_in.hand_over(qor.service(kVendor));
    plug_in.hand_over(qor.service(kSensor));
    plug_in.hand_over(qor.service(kConsumerControl));

    EXPECT_EQ(handlers(), 104u + 1u + 2u);
}

TEST_F(ModuleServices, EveryObjectRegistersRawDebugHandlersOfItsOwn) {
    Loaded other;

    plug_in.hand_over(qor.service(kVendor));
    other.hand_over(qor.service(kVendor));

    EXPECT_EQ(handlers(), 208u);
}

TEST_F(ModuleServices, DestroyingAnObjectLeavesTheContextsOfItsServicesUnreleased) {
    std::size_t interfaces = 0;
    {
        Loaded mortal;
        mortal.hand_over(qor.service(kConsumerControl));
        interfaces = host::live_plug_in_references();
    }

    EXPECT_EQ(host::live_plug_in_references(), interfaces);
    EXPECT_EQ(host::device_registry::reference_count(qor.driver_entry), 1u);
    EXPECT_EQ(host::device_registry::reference_count(qor.interface_entry), 0u);
    EXPECT_EQ(host::device_registry::reference_count(qor.device_entry), 1u);
}

TEST_F(ModuleServices, ClosingTheQueueDropsEveryHandler) {
    plug_in.hand_over(qor.service(kConsumerControl));
    ASSERT_EQ(handlers(), 106u);

    plug_in.queue.close();

    EXPECT_EQ(handlers(), 0u);
}

} // namespace
} // namespace module_tests
