#include "host/device_registry.h"

#include <thread>

#include <gtest/gtest.h>

#include "host/error.h"

namespace {

using host::RegistryEntryDescription;
using host::device_registry::add;
using host::device_registry::remove;
using platform::OwnedEntry;

constexpr std::uint64_t kId = 0xD0000001;

RegistryEntryDescription described(std::uint64_t registry_id, const std::string &name) {
    RegistryEntryDescription description;
    description.registry_id = registry_id;
    description.name = name;
    return description;
}

TEST(DeviceRegistry, TakenRegistryIDIsAnErrorThatNamesBothEntries) {
    const RvRegistryEntry first = add(described(kId, "first"));

    try {
        add(described(kId, "second"));
        FAIL() << "added";
    } catch (const host::Error &error) {
        EXPECT_STREQ(error.what(), "registry entry \"second\": registry ID 0xD0000001 is taken by entry \"first\"");
    }
    remove(first);
}

TEST(DeviceRegistry, RegistryIDIsFreeAgainOnceItsEntryLeft) {
    remove(add(described(kId, "first")));

    const RvRegistryEntry second = add(described(kId, "second"));

    EXPECT_TRUE(host::device_registry::is_registered(second));
    remove(second);
}

TEST(DeviceRegistry, UnknownParentIsAnError) {
    RegistryEntryDescription orphan = described(kId, "orphan");
    orphan.parents[kRvServicePlane] = 0xFFFFFF;

    try {
        add(std::move(orphan));
        FAIL() << "added";
    } catch (const host::Error &error) {
        EXPECT_STREQ(error.what(),
                     "registry entry \"orphan\": its parent in plane \"RvService\" is not in the registry");
    }
    EXPECT_EQ(RvRegistryCopyServiceMatchingID(kId), 0u);
}

TEST(DeviceRegistry, ReferencesToAnEntryThatLeftCountUntilTheLastIsGivenBack) {
    const RvRegistryEntry entry = add(described(kId, "entry"));
    OwnedEntry held(RvRegistryCopyServiceMatchingID(kId));
    remove(entry);

    EXPECT_FALSE(host::device_registry::is_registered(entry));
    EXPECT_EQ(host::device_registry::reference_count(entry), 1u);
    held.reset();
    EXPECT_EQ(host::device_registry::reference_count(entry), 0u);
}

TEST(DeviceRegistry, HandleNumbersAreNeverUsedTwice) {
    const RvRegistryEntry first = add(described(kId, "first"));
    remove(first);
    const RvRegistryEntry second = add(described(kId, "second"));

    EXPECT_NE(first, second);
    remove(second);
}

TEST(DeviceRegistry, NullPropertyRemovesWhatWasThere) {
    const RvRegistryEntry entry = add(described(kId, "entry"));
    host::device_registry::set_property(entry, "Flag", platform::OwnedValue(TvBooleanGet(true)));

    host::device_registry::set_property(entry, "Flag", {});

    EXPECT_EQ(RvRegistryEntryCopyProperty(entry, "Flag"), nullptr);
    remove(entry);
}

TEST(DeviceRegistry, DriversFunctionsMayUseTheRegistryThemselves) {
    RegistryEntryDescription description = described(kId, "reentrant");
    description.user_client = host::UserClient{
        .open = [](std::uint32_t) -> RvStatus {
            const OwnedEntry self(RvRegistryCopyServiceMatchingID(kId));
            return self ? RvStatus{kRvStatusSuccess} : kRvStatusNotFound;
        },
        .call_method = [](host::MethodCall &) -> RvStatus {
            remove(OwnedEntry(RvRegistryCopyServiceMatchingID(kId)).get());
            return kRvStatusSuccess;
        },
    };
    const RvRegistryEntry entry = add(std::move(description));
    RvConnection connection = 0;

    EXPECT_EQ(RvConnectionOpen(entry, 0, &connection), 0u);
    EXPECT_EQ(RvConnectionCallMethod(connection, 1, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr, nullptr), 0u);
    EXPECT_FALSE(host::device_registry::is_registered(entry));
    EXPECT_EQ(RvConnectionClose(connection), 0u);
}

TEST(DeviceRegistry, UserClientWithoutFunctionsAcceptsConnectionsAndKnowsNoMethod) {
    RegistryEntryDescription description = described(kId, "bare");
    description.user_client.emplace();
    const RvRegistryEntry entry = add(std::move(description));
    RvConnection connection = 0;

    EXPECT_EQ(RvConnectionOpen(entry, 0, &connection), 0u);
    EXPECT_EQ(RvConnectionCallMethod(connection, 1, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr, nullptr),
              kRvStatusNotFound);
    EXPECT_EQ(RvConnectionClose(connection), 0u);
    remove(entry);
}

TEST(DeviceRegistry, NullInputWithASizeIsABadArgumentAndDoesNotReachTheDriver) {
    int calls = 0;
    RegistryEntryDescription description = described(kId, "strict");
    description.user_client.emplace();
    description.user_client->call_method = [&calls](host::MethodCall &) -> RvStatus {
        ++calls;
        return kRvStatusSuccess;
    };
    const RvRegistryEntry entry = add(std::move(description));
    RvConnection connection = 0;
    ASSERT_EQ(RvConnectionOpen(entry, 0, &connection), 0u);

    EXPECT_EQ(RvConnectionCallMethod(connection, 1, nullptr, 1, nullptr, 0, nullptr, nullptr, nullptr, nullptr),
              kRvStatusBadArgument);
    EXPECT_EQ(RvConnectionCallMethod(connection, 1, nullptr, 0, nullptr, 1, nullptr, nullptr, nullptr, nullptr),
              kRvStatusBadArgument);

    EXPECT_EQ(calls, 0);
    EXPECT_EQ(RvConnectionClose(connection), 0u);
    remove(entry);
}

} // namespace
