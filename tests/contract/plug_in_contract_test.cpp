#include <gtest/gtest.h>

#include "platform/Owned.h"
#include "platform/RvPlugIn.h"
#include "qor/interfaces.h"
#include "tests/contract/registered_entries.h"

namespace {

using contract::RegisteredEntries;
using platform::OwnedInterface;
using platform::OwnedUUID;

constexpr std::uint64_t kId = 0xC0DE2001;
constexpr RvUUIDBytes kOne = {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}};
constexpr RvUUIDBytes kOther = {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 17}};
constexpr RvUUIDBytes kDriverType = kQorDriverPlugInTypeBytes;
constexpr RvUUIDBytes kDriverInterface = kQorDriverInterfaceBytes;
constexpr RvUUIDBytes kGenericInterface = kRvPlugInInterfaceBytes;
constexpr RvUUIDBytes kUnknownInterface = kRvUnknownInterfaceBytes;

contract::RegistryPort &registry() { return contract::port().registry(); }

TEST(UUIDContract, UUIDsOfTheSameBytesAreEqual) {
    const OwnedUUID a(RvUUIDCreateWithBytes(kOne));
    const OwnedUUID b(RvUUIDCreateWithBytes(kOne));

    EXPECT_TRUE(RvUUIDEqual(a.get(), b.get()));
    EXPECT_TRUE(RvUUIDEqual(a.get(), a.get()));
}

TEST(UUIDContract, UUIDsThatDifferInTheLastByteAreNotEqual) {
    const OwnedUUID a(RvUUIDCreateWithBytes(kOne));
    const OwnedUUID b(RvUUIDCreateWithBytes(kOther));

    EXPECT_FALSE(RvUUIDEqual(a.get(), b.get()));
}

TEST(UUIDContract, NullIsEqualToNothing) {
    const OwnedUUID a(RvUUIDCreateWithBytes(kOne));

    EXPECT_FALSE(RvUUIDEqual(a.get(), nullptr));
    EXPECT_FALSE(RvUUIDEqual(nullptr, a.get()));
    EXPECT_FALSE(RvUUIDEqual(nullptr, nullptr));
}

TEST(UUIDContract, ConstantIsOneObjectForItsBytes) {
    EXPECT_EQ(RvUUIDGetConstantWithBytes(kOne), RvUUIDGetConstantWithBytes(kOne));
    EXPECT_NE(RvUUIDGetConstantWithBytes(kOne), RvUUIDGetConstantWithBytes(kOther));
}

TEST(UUIDContract, ConstantAndCreatedOfTheSameBytesAreEqual) {
    const OwnedUUID created(RvUUIDCreateWithBytes(kOne));

    EXPECT_TRUE(RvUUIDEqual(created.get(), RvUUIDGetConstantWithBytes(kOne)));
}

TEST(UUIDContract, ReleaseOfNullDoesNothing) { RvUUIDRelease(nullptr); }

TEST(PlugInContract, FactoryInstancesAreCountedUpAndDown) {
    const OwnedUUID factory(RvUUIDCreateWithBytes(kOne));

    RvPlugInAddInstanceForFactory(factory.get());
    RvPlugInAddInstanceForFactory(factory.get());

    EXPECT_EQ(registry().factory_instances(kOne), 2u);
    EXPECT_EQ(registry().factory_instances(kOther), 0u);
    RvPlugInRemoveInstanceForFactory(factory.get());
    EXPECT_EQ(registry().factory_instances(kOne), 1u);
    RvPlugInRemoveInstanceForFactory(factory.get());
    EXPECT_EQ(registry().factory_instances(kOne), 0u);
}

TEST(PlugInContract, FactoryWithoutLiveObjectsIsLeftAlone) {
    const OwnedUUID factory(RvUUIDCreateWithBytes(kOne));

    RvPlugInRemoveInstanceForFactory(factory.get());
    RvPlugInAddInstanceForFactory(nullptr);
    RvPlugInRemoveInstanceForFactory(nullptr);

    EXPECT_EQ(registry().factory_instances(kOne), 0u);
}

class PlugInForServiceContract : public testing::Test {
protected:
    PlugInForServiceContract() {
        contract::RegistryPort::Entry entry{kId, "served", "", {}};
        entry.has_plug_in = true;
        _service = _entries.add(entry);
    }

    RvStatus create(RvRegistryEntry service, const RvUUIDBytes &type, const RvUUIDBytes &interface,
                    RvInterfaceRef *out) {
        return RvPlugInCreateForService(service, RvUUIDGetConstantWithBytes(type),
                                        RvUUIDGetConstantWithBytes(interface), out);
    }

    OwnedInterface plug_in() {
        RvInterfaceRef made = nullptr;
        EXPECT_EQ(create(_service, kDriverType, kGenericInterface, &made), 0u);
        return OwnedInterface(made);
    }

    static OwnedInterface query(RvInterfaceRef from, const RvUUIDBytes &type) {
        void *interface = nullptr;
        EXPECT_GE((*from)->QueryInterface(from, type, &interface), 0);
        return OwnedInterface(static_cast<RvInterfaceRef>(interface));
    }

    RegisteredEntries _entries;
    RvRegistryEntry _service = 0;
};

TEST_F(PlugInForServiceContract, PlugInStartsWithOneReferenceWhoseReleaseEndsIt) {
    const std::size_t before = registry().plug_in_references();
    RvInterfaceRef made = plug_in().detach();
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(registry().plug_in_references(), before + 1);

    EXPECT_EQ((*made)->AddRef(made), 2u);
    EXPECT_EQ((*made)->Release(made), 1u);
    EXPECT_EQ((*made)->Release(made), 0u);

    EXPECT_EQ(registry().plug_in_references(), before);
}

TEST_F(PlugInForServiceContract, TypeThatDoesNotServeTheEntryIsNotFound) {
    RvInterfaceRef made = nullptr;

    EXPECT_EQ(create(_service, kOther, kGenericInterface, &made), kRvStatusNotFound);
    EXPECT_EQ(create(_entries.add(kId + 1, "bare"), kDriverType, kGenericInterface, &made), kRvStatusNotFound);
    EXPECT_EQ(made, nullptr);
}

TEST_F(PlugInForServiceContract, InterfaceThatThePlugInDoesNotHaveIsNotFound) {
    RvInterfaceRef made = nullptr;

    EXPECT_EQ(create(_service, kDriverType, kOther, &made), kRvStatusNotFound);
    EXPECT_EQ(made, nullptr);
}

TEST_F(PlugInForServiceContract, NullArgumentsAreBadArguments) {
    const RvUUIDRef type = RvUUIDGetConstantWithBytes(kDriverType);
    const RvUUIDRef interface = RvUUIDGetConstantWithBytes(kGenericInterface);
    RvInterfaceRef made = nullptr;

    EXPECT_EQ(RvPlugInCreateForService(0, type, interface, &made), kRvStatusBadArgument);
    EXPECT_EQ(RvPlugInCreateForService(_service, nullptr, interface, &made), kRvStatusBadArgument);
    EXPECT_EQ(RvPlugInCreateForService(_service, type, nullptr, &made), kRvStatusBadArgument);
    EXPECT_EQ(RvPlugInCreateForService(_service, type, interface, nullptr), kRvStatusBadArgument);
    EXPECT_EQ(made, nullptr);
}

TEST_F(PlugInForServiceContract, UnknownInterfaceOfEveryInterfaceIsTheSamePointer) {
    const OwnedInterface generic = plug_in();
    const OwnedInterface driver = query(generic.get(), kDriverInterface);

    const OwnedInterface from_generic = query(generic.get(), kUnknownInterface);
    const OwnedInterface from_driver = query(driver.get(), kUnknownInterface);

    EXPECT_EQ(from_generic.get(), from_driver.get());
}

TEST_F(PlugInForServiceContract, EveryInterfaceLeadsToEveryOther) {
    const OwnedInterface generic = plug_in();
    const OwnedInterface driver = query(generic.get(), kDriverInterface);

    EXPECT_EQ(query(driver.get(), kGenericInterface).get(), generic.get());
    EXPECT_EQ(query(generic.get(), kDriverInterface).get(), driver.get());
}

TEST_F(PlugInForServiceContract, InterfaceKeepsItsPlugInAlive) {
    const std::size_t before = registry().plug_in_references();
    OwnedInterface generic = plug_in();
    OwnedInterface driver = query(generic.get(), kDriverInterface);

    generic.reset();

    EXPECT_EQ(registry().plug_in_references(), before + 1);
    EXPECT_NE(query(driver.get(), kGenericInterface).get(), nullptr);
    driver.reset();
    EXPECT_EQ(registry().plug_in_references(), before);
}

TEST_F(PlugInForServiceContract, QueryForAnInterfaceThatIsNotThereFailsWithNull) {
    const OwnedInterface generic = plug_in();
    void *interface = &interface;

    EXPECT_EQ((*generic.get())->QueryInterface(generic.get(), kOther, &interface), kRvResultNoInterface);
    EXPECT_EQ(interface, nullptr);
}

} // namespace
