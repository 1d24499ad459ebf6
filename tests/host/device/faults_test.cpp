/** The results of registry, plug-in and HID operations when their fault points strike. */
#include <gtest/gtest.h>

#include "host/RvConnection.h"
#include "host/RvHID.h"
#include "host/RvRegistry.h"
#include "host/device/qor_plug_ins.h"
#include "host/fault_points.h"

namespace {

constexpr std::uint64_t kId = 0xD1000001;
constexpr std::uint32_t kUntouched = 0xABCDEF;
constexpr RvUUIDBytes kDriverType = kQorDriverPlugInTypeBytes;
constexpr RvUUIDBytes kDriverInterface = kQorDriverInterfaceBytes;
constexpr RvUUIDBytes kDeviceType = kQorDevicePlugInTypeBytes;
constexpr RvUUIDBytes kDeviceInterface = kQorDeviceInterfaceBytes;
constexpr RvUUIDBytes kGenericInterface = kRvPlugInInterfaceBytes;

/** A device with everything that the operations need. The first call of one operation fails. */
class DeviceFaults : public testing::Test {
protected:
    DeviceFaults() {
        parent = host::device_registry::add(describe(kId, "parent"));
        host::RegistryEntryDescription description = describe(kId + 1, "child");
        description.class_name = "ChildClass";
        description.parents[kRvServicePlane] = parent;
        description.user_client.emplace();
        description.plug_ins.push_back(host::driver_plug_in(driver));
        description.plug_ins.push_back(host::device_plug_in(device));
        child = host::device_registry::add(std::move(description));
        host::device_registry::set_property(child, "Flag", platform::OwnedValue(TvBooleanGet(true)));
        service.properties.emplace("Flag", platform::OwnedValue(TvBooleanGet(true)));
        service.registry_id.reset(TvNumberCreateSInt64(1));
    }
    ~DeviceFaults() override {
        host::disarm_faults();
        host::device_registry::remove(child);
        host::device_registry::remove(parent);
    }

    static host::RegistryEntryDescription describe(std::uint64_t registry_id, const std::string &name) {
        host::RegistryEntryDescription description;
        description.registry_id = registry_id;
        description.name = name;
        return description;
    }

    static void strike(const char *operation) { host::arm_fault(operation, 0, host::Strikes::Once); }

    RvInterfaceRef plug_in(const RvUUIDBytes &type) const {
        RvInterfaceRef made = nullptr;
        EXPECT_EQ(RvPlugInCreateForService(child, RvUUIDGetConstantWithBytes(type),
                                           RvUUIDGetConstantWithBytes(kGenericInterface), &made),
                  0u);
        return made;
    }

    template <typename Interface>
    Interface query(const RvUUIDBytes &type, const RvUUIDBytes &interface_type) const {
        const platform::OwnedInterface generic(plug_in(type));
        void *interface = nullptr;
        EXPECT_EQ((*generic.get())->QueryInterface(generic.get(), interface_type, &interface), 0);
        return static_cast<Interface>(interface);
    }

    RvRegistryEntry parent = 0;
    RvRegistryEntry child = 0;
    std::shared_ptr<host::DriverBehaviour> driver = std::make_shared<host::DriverBehaviour>();
    std::shared_ptr<host::DeviceBehaviour> device = std::make_shared<host::DeviceBehaviour>();
    RvHIDService service;
};

TEST_F(DeviceFaults, LookUpByRegistryIDFindsNothing) {
    strike("RvRegistryCopyServiceMatchingID");

    EXPECT_EQ(RvRegistryCopyServiceMatchingID(kId), 0u);
    EXPECT_EQ(host::device_registry::reference_count(parent), 0u);
}

TEST_F(DeviceFaults, LookUpByClassFindsNothing) {
    strike("RvRegistryCopyServiceMatchingClass");

    EXPECT_EQ(RvRegistryCopyServiceMatchingClass("ChildClass"), 0u);
}

TEST_F(DeviceFaults, LookUpByNameFindsNothing) {
    strike("RvRegistryCopyServiceMatchingName");

    EXPECT_EQ(RvRegistryCopyServiceMatchingName("child"), 0u);
}

TEST_F(DeviceFaults, ParentFailsAndTheOutputIsLeftAlone) {
    strike("RvRegistryEntryCopyParent");
    RvRegistryEntry found = kUntouched;

    EXPECT_EQ(RvRegistryEntryCopyParent(child, kRvServicePlane, &found), kRvStatusError);
    EXPECT_EQ(found, kUntouched);
    EXPECT_EQ(host::device_registry::reference_count(parent), 0u);
}

TEST_F(DeviceFaults, ChildFailsAndTheOutputIsLeftAlone) {
    strike("RvRegistryEntryCopyChild");
    RvRegistryEntry found = kUntouched;

    EXPECT_EQ(RvRegistryEntryCopyChild(parent, kRvServicePlane, &found), kRvStatusError);
    EXPECT_EQ(found, kUntouched);
}

TEST_F(DeviceFaults, NameFailsAndTheBufferIsLeftAlone) {
    strike("RvRegistryEntryGetName");
    char name[kRvRegistryNameSize] = "untouched";

    EXPECT_EQ(RvRegistryEntryGetName(child, name), kRvStatusError);
    EXPECT_STREQ(name, "untouched");
}

TEST_F(DeviceFaults, RegistryPropertyIsNull) {
    strike("RvRegistryEntryCopyProperty");

    EXPECT_EQ(RvRegistryEntryCopyProperty(child, "Flag"), nullptr);
}

TEST_F(DeviceFaults, ConnectionIsNotOpened) {
    strike("RvConnectionOpen");
    RvConnection connection = kUntouched;

    EXPECT_EQ(RvConnectionOpen(child, 0, &connection), kRvStatusError);
    EXPECT_EQ(connection, kUntouched);
    EXPECT_EQ(host::open_connection_count(), 0u);
}

TEST_F(DeviceFaults, ConnectionIsClosedThoughTheClosingComplains) {
    RvConnection connection = 0;
    ASSERT_EQ(RvConnectionOpen(child, 0, &connection), 0u);
    strike("RvConnectionClose");

    EXPECT_EQ(RvConnectionClose(connection), kRvStatusError);
    EXPECT_EQ(host::open_connection_count(), 0u);
}

TEST_F(DeviceFaults, MethodCallFailsWithoutReachingTheDriver) {
    RvConnection connection = 0;
    ASSERT_EQ(RvConnectionOpen(child, 0, &connection), 0u);
    strike("RvConnectionCallMethod");
    std::size_t out_size = 5;

    EXPECT_EQ(RvConnectionCallMethod(connection, 1, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr, &out_size),
              kRvStatusError);
    EXPECT_EQ(out_size, 5u);
    RvConnectionClose(connection);
}

TEST_F(DeviceFaults, UUIDsAreNull) {
    strike("RvUUIDCreateWithBytes");
    EXPECT_EQ(RvUUIDCreateWithBytes(kDriverType), nullptr);

    strike("RvUUIDGetConstantWithBytes");
    EXPECT_EQ(RvUUIDGetConstantWithBytes(kDriverType), nullptr);
}

TEST_F(DeviceFaults, PlugInIsNotCreated) {
    const RvUUIDRef type = RvUUIDGetConstantWithBytes(kDriverType);
    const RvUUIDRef interface = RvUUIDGetConstantWithBytes(kGenericInterface);
    strike("RvPlugInCreateForService");
    RvInterfaceRef made = nullptr;

    EXPECT_EQ(RvPlugInCreateForService(child, type, interface, &made), kRvStatusError);
    EXPECT_EQ(made, nullptr);
    EXPECT_EQ(host::live_plug_in_references(), 0u);
}

TEST_F(DeviceFaults, QueriesForDriverAndDeviceInterfaceFailWithNull) {
    const platform::OwnedInterface of_driver(plug_in(kDriverType));
    const platform::OwnedInterface of_device(plug_in(kDeviceType));
    void *interface = &interface;

    strike("QorDriverQueryInterface");
    EXPECT_EQ((*of_driver.get())->QueryInterface(of_driver.get(), kDriverInterface, &interface), kRvResultNoInterface);
    EXPECT_EQ(interface, nullptr);

    interface = &interface;
    strike("QorDeviceQueryInterface");
    EXPECT_EQ((*of_device.get())->QueryInterface(of_device.get(), kDeviceInterface, &interface), kRvResultNoInterface);
    EXPECT_EQ(interface, nullptr);
}

TEST_F(DeviceFaults, StartsFail) {
    const auto of_driver = query<QorDriverInterfaceRef>(kDriverType, kDriverInterface);
    const auto of_device = query<QorDeviceInterfaceRef>(kDeviceType, kDeviceInterface);

    strike("QorDriverStart");
    EXPECT_EQ((*of_driver)->start(of_driver, 0), kRvStatusError);
    strike("QorDeviceStart");
    EXPECT_EQ((*of_device)->start(of_device, 0), kRvStatusError);

    (*of_driver)->com.Release(of_driver);
    (*of_device)->com.Release(of_device);
}

TEST_F(DeviceFaults, CommandFailsWithoutReachingTheDriver) {
    int calls = 0;
    driver->command = [&calls](host::DriverCommand &) -> RvStatus {
        ++calls;
        return kRvStatusSuccess;
    };
    const auto interface = query<QorDriverInterfaceRef>(kDriverType, kDriverInterface);
    strike("QorDriverCommand");
    std::size_t out_size = 5;

    EXPECT_EQ((*interface)->command(interface, 30, nullptr, 0, nullptr, &out_size), kRvStatusError);
    EXPECT_EQ(out_size, 5u);
    EXPECT_EQ(calls, 0);
    (*interface)->com.Release(interface);
}

TEST_F(DeviceFaults, HIDPropertiesAndRegistryIDAreNull) {
    strike("RvHIDServiceCopyProperty");
    EXPECT_EQ(RvHIDServiceCopyProperty(&service, "Flag"), nullptr);
    strike("RvHIDServiceGetProperty");
    EXPECT_EQ(RvHIDServiceGetProperty(&service, "Flag"), nullptr);
    strike("RvHIDServiceGetRegistryID");
    EXPECT_EQ(RvHIDServiceGetRegistryID(&service), nullptr);
}

TEST_F(DeviceFaults, HIDDeviceIsNotMade) {
    strike("RvHIDDeviceCreate");

    EXPECT_EQ(RvHIDDeviceCreate(child), nullptr);
    EXPECT_EQ(host::live_hid_devices(), 0u);
}

} // namespace
