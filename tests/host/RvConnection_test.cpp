#include "host/RvConnection.h"

#include <gtest/gtest.h>

#include "host/RvRegistry.h"
#include "platform/RvRegistry.h"

namespace {

using host::RegistryEntryDescription;
using host::device_registry::add;
using host::device_registry::remove;
using platform::OwnedEntry;

constexpr std::uint64_t kId = 0xD0000101;

RegistryEntryDescription describe(const std::string &name) {
    RegistryEntryDescription description;
    description.registry_id = kId;
    description.name = name;
    return description;
}

TEST(Connections, DriversFunctionsMayUseTheRegistryThemselves) {
    RegistryEntryDescription description = describe("reentrant");
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

TEST(Connections, UserClientWithoutFunctionsAcceptsConnectionsAndKnowsNoMethod) {
    RegistryEntryDescription description = describe("bare");
    description.user_client.emplace();
    const RvRegistryEntry entry = add(std::move(description));
    RvConnection connection = 0;

    EXPECT_EQ(RvConnectionOpen(entry, 0, &connection), 0u);
    EXPECT_EQ(RvConnectionCallMethod(connection, 1, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr, nullptr),
              kRvStatusNotFound);
    EXPECT_EQ(RvConnectionClose(connection), 0u);
    remove(entry);
}

TEST(Connections, NullInputWithASizeIsABadArgumentAndDoesNotReachTheDriver) {
    int calls = 0;
    RegistryEntryDescription description = describe("strict");
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
