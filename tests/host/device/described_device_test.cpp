#include "host/device/described_device.h"

#include <array>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/RvRegistry.h"
#include "host/error.h"
#include "platform/RvConnection.h"
#include "tests/host/device/written_description.h"

namespace {

using host::DescribedDevice;
using host_tests::WrittenDescription;
using platform::OwnedEntry;
using platform::OwnedInterface;
using platform::OwnedValue;

constexpr const char *kSmall = SOURCE_FOLDER "/tests/data/small.toml";

std::string name_of(RvRegistryEntry entry) {
    char name[kRvRegistryNameSize] = "";
    RvRegistryEntryGetName(entry, name);
    return name;
}

OwnedEntry parent_of(const OwnedEntry &entry) {
    RvRegistryEntry parent = 0;
    EXPECT_EQ(RvRegistryEntryCopyParent(entry.get(), kRvServicePlane, &parent), 0u);
    return OwnedEntry(parent);
}

OwnedEntry child_of(const OwnedEntry &entry) {
    RvRegistryEntry child = 0;
    EXPECT_EQ(RvRegistryEntryCopyChild(entry.get(), kRvServicePlane, &child), 0u);
    return OwnedEntry(child);
}

/** The results of a call. */
struct Answer {
    RvStatus status;
    std::size_t size;
    std::vector<std::byte> bytes; ///< the whole buffer
};

/** A device, called on a queue as by a plug-in. */
class DescribedDeviceTest : public testing::Test {
protected:
    void register_device(const std::string &path) { device.emplace(path, queue); }

    /** One method call on a fresh connection to the service of this name. */
    Answer call(const char *service, std::uint32_t method, std::vector<std::uint64_t> scalars, std::size_t capacity) {
        Answer answer{0, capacity, std::vector<std::byte>(capacity)};
        queue.run([&] {
            const OwnedEntry entry(RvRegistryCopyServiceMatchingName(service));
            RvConnection connection = 0;
            answer.status = RvConnectionOpen(entry.get(), 0, &connection);
            if (answer.status != 0) {
                return;
            }
            answer.status =
                RvConnectionCallMethod(connection, method, scalars.data(), static_cast<std::uint32_t>(scalars.size()),
                                       nullptr, 0, nullptr, nullptr, answer.bytes.data(), &answer.size);
            RvConnectionClose(connection);
        });
        return answer;
    }

    /** One command of the driver of the entry with this registry ID. */
    Answer command(std::uint64_t registry_id, std::uint32_t selector, const void *in, std::size_t in_size,
                   std::size_t capacity) {
        Answer answer{0, capacity, std::vector<std::byte>(capacity)};
        queue.run([&] {
            const OwnedInterface driver = driver_interface(registry_id);
            const auto interface = reinterpret_cast<QorDriverInterfaceRef>(driver.get());
            answer.status = (*interface)->command(interface, selector, in, in_size, answer.bytes.data(), &answer.size);
        });
        return answer;
    }

    Answer property(std::uint64_t registry_id, std::uint32_t id, std::size_t capacity) {
        return command(registry_id, 10, &id, sizeof id, capacity);
    }

    static OwnedInterface driver_interface(std::uint64_t registry_id) {
        constexpr RvUUIDBytes kType = kQorDriverPlugInTypeBytes;
        constexpr RvUUIDBytes kGeneric = kRvPlugInInterfaceBytes;
        constexpr RvUUIDBytes kInterface = kQorDriverInterfaceBytes;
        const OwnedEntry entry(RvRegistryCopyServiceMatchingID(registry_id));
        RvInterfaceRef plug_in = nullptr;
        EXPECT_EQ(RvPlugInCreateForService(entry.get(), RvUUIDGetConstantWithBytes(kType),
                                           RvUUIDGetConstantWithBytes(kGeneric), &plug_in),
                  0u);
        const OwnedInterface generic(plug_in);
        void *interface = nullptr;
        (*plug_in)->QueryInterface(plug_in, kInterface, &interface);
        return OwnedInterface(static_cast<RvInterfaceRef>(interface));
    }

    host::SerialQueue queue;
    std::optional<DescribedDevice> device;
};

TEST_F(DescribedDeviceTest, ServicesStandInTheOrderOfTheFileWithAllTheyCarry) {
    register_device(kSmall);

    ASSERT_EQ(device->services().size(), 4u);
    const RvHIDServiceRef button = device->services()[0].get();
    std::int64_t registry_id = 0;
    EXPECT_EQ(device->name(), "small");
    EXPECT_EQ(button->name, "button");
    EXPECT_STREQ(TvStringGetCString(RvHIDServiceGetProperty(button, "Transport")), "QOR");
    EXPECT_TRUE(TvBooleanGetValue(RvHIDServiceGetProperty(button, "ZELSupportsTallybook")));
    EXPECT_TRUE(RvHIDServiceConformsTo(button, 0x000C, 0x0001));
    EXPECT_TRUE(TvNumberGetSInt64(RvHIDServiceGetRegistryID(button), &registry_id));
    EXPECT_EQ(registry_id, 0x111);
    EXPECT_STREQ(TvStringGetCString(RvHIDServiceGetProperty(device->services()[3].get(), "Transport")), "SPI");
}

TEST_F(DescribedDeviceTest, ServiceWithoutAnIDHasNone) {
    const WrittenDescription written("name = 'x'\n[[service]]\nname = 's'");
    register_device(written.path());

    EXPECT_EQ(RvHIDServiceGetRegistryID(device->services()[0].get()), nullptr);
}

TEST_F(DescribedDeviceTest, DriverLeadsUpToItsDevice) {
    register_device(kSmall);
    const OwnedEntry driver(RvRegistryCopyServiceMatchingID(0x111));

    const OwnedEntry interface = parent_of(driver);
    const OwnedEntry top = parent_of(interface);

    EXPECT_EQ(name_of(interface.get()), "small-interface");
    EXPECT_EQ(name_of(top.get()), "small-device");
}

TEST_F(DescribedDeviceTest, DeviceLeadsDownToTheCountersOfDriverAndUserClient) {
    register_device(kSmall);
    const OwnedEntry top(RvRegistryCopyServiceMatchingName("small-device"));

    const OwnedEntry driver = child_of(child_of(top));
    const OwnedEntry client = child_of(driver);

    const OwnedValue driver_state(RvRegistryEntryCopyProperty(driver.get(), "DebugState"));
    const OwnedValue client_state(RvRegistryEntryCopyProperty(client.get(), "DebugState"));
    std::int32_t events = 0;
    std::int64_t last = 0;
    EXPECT_TRUE(TvNumberGetSInt32(TvDictionaryGetValue(driver_state.get(), "_num_events"), &events));
    EXPECT_TRUE(TvNumberGetSInt64(TvDictionaryGetValue(client_state.get(), "LastEventTime"), &last));
    EXPECT_EQ(events, 12);
    EXPECT_EQ(last, 1'500'000'000);
}

TEST_F(DescribedDeviceTest, TimeSynchronisationIsFoundByItsClass) {
    register_device(kSmall);

    const OwnedEntry service(RvRegistryCopyServiceMatchingClass("OndreQORTimesync"));
    const OwnedValue clock(RvRegistryEntryCopyProperty(service.get(), "timesync"));

    std::int64_t calendar = 0;
    EXPECT_TRUE(TvNumberGetSInt64(TvDictionaryGetValue(clock.get(), "calendar"), &calendar));
    EXPECT_EQ(calendar, 1'700'000'000'000'000'000);
}

TEST_F(DescribedDeviceTest, DriverAnswersItsPropertiesAndNoOthers) {
    register_device(kSmall);

    const Answer interval = property(0x111, 0, 4);
    const Answer maker = property(0x111, 15, 32);
    const Answer unknown = property(0x111, 999, 4);

    EXPECT_EQ(interval.status, 0u);
    EXPECT_EQ(interval.size, 4u);
    EXPECT_EQ(interval.bytes[1], std::byte{0x27});
    EXPECT_EQ(maker.size, 6u);
    EXPECT_STREQ(reinterpret_cast<const char *>(maker.bytes.data()), "maker");
    EXPECT_EQ(unknown.status, kRvStatusNotFound);
}

TEST_F(DescribedDeviceTest, PropertyReadWithoutA4ByteIdentifierIsABadArgument) {
    register_device(kSmall);
    const std::uint64_t id = 0;

    EXPECT_EQ(command(0x111, 10, &id, 3, 4).status, kRvStatusBadArgument);
    EXPECT_EQ(command(0x111, 10, &id, 8, 4).status, kRvStatusBadArgument);
    EXPECT_EQ(command(0x111, 10, nullptr, 0, 4).status, kRvStatusBadArgument);
}

TEST_F(DescribedDeviceTest, DriverAnswersItsCommandsAndNoOthers) {
    register_device(kSmall);

    EXPECT_EQ(command(0x111, 30, nullptr, 0, 0).status, 0u);
    EXPECT_EQ(command(0x111, 57, nullptr, 0, 496).size, 0u);
    EXPECT_EQ(command(0x111, 58, nullptr, 0, 0).status, kRvStatusNotFound);
}

TEST_F(DescribedDeviceTest, EverySourceHandsOutItsTwoReportsOnEveryRead) {
    register_device(kSmall);

    for (int round = 0; round < 3; ++round) {
        const Answer fw = call("ZEL_profile", 2, {209}, 1536);
        const Answer drvx = call("OndreQORProfileDriver", 9, {}, 1536);
        const Answer err = call("OndreQORProfileDriver", 8, {}, 1536);

        EXPECT_EQ(fw.size, 96u);
        EXPECT_EQ(drvx.size, 96u);
        EXPECT_EQ(err.size, 96u);
        EXPECT_EQ(fw.bytes[4], std::byte{1});
        EXPECT_EQ(drvx.bytes[4], std::byte{10});
        EXPECT_EQ(err.bytes[4], std::byte{20});
    }
}

TEST_F(DescribedDeviceTest, NamedPropertyIsAnsweredForItsIdentifierOnly) {
    register_device(kSmall);

    EXPECT_EQ(call("ZEL_profile", 2, {210}, 1536).status, kRvStatusNotFound);
    EXPECT_EQ(call("ZEL_profile", 2, {}, 1536).status, kRvStatusNotFound);
    EXPECT_EQ(call("ZEL_profile", 2, {209, 209}, 1536).status, kRvStatusNotFound);
}

TEST_F(DescribedDeviceTest, MethodWithoutAPropertyAnswersEveryCallThatNoOtherReplyIsFor) {
    const WrittenDescription written("name = 'x'\n[[user_client.u.method]]\nnumber = 2\nhex = '01'\n"
                                     "[[user_client.u.method]]\nnumber = 2\nproperty = 5\nhex = '02'\n"
                                     "[[entry]]\nid = 1\nname = 'named'\nclass = 'A'\nuser_client = 'u'");
    register_device(written.path());

    EXPECT_EQ(call("named", 2, {}, 1).bytes[0], std::byte{1});
    EXPECT_EQ(call("named", 2, {4}, 1).bytes[0], std::byte{1});
    EXPECT_EQ(call("named", 2, {5}, 1).bytes[0], std::byte{2});
}

TEST_F(DescribedDeviceTest, FailureLeavesBufferAndSizeAloneUnlessItReportsOne) {
    const WrittenDescription written(
        "name = 'x'\n[driver.d]\nproperty = [{ id = 1, hex = 'ff', status = 0xE00002BC },\n"
        "{ id = 2, hex = 'ff', status = 0xE00002BC, reported_size = 3 }]\n"
        "[[entry]]\nid = 1\nname = 'a'\nclass = 'A'\ndriver = 'd'");
    register_device(written.path());

    const Answer silent = property(1, 1, 8);
    const Answer reporting = property(1, 2, 8);

    EXPECT_EQ(silent.status, 0xE00002BCu);
    EXPECT_EQ(silent.size, 8u);
    EXPECT_EQ(silent.bytes[0], std::byte{0});
    EXPECT_EQ(reporting.status, 0xE00002BCu);
    EXPECT_EQ(reporting.size, 3u);
}

TEST_F(DescribedDeviceTest, ReportedSizeMayLieButNothingIsWrittenPastTheCapacity) {
    const WrittenDescription written("name = 'x'\n[driver.d]\n"
                                     "property = [{ id = 1, hex = '0102030405', reported_size = 4096 }]\n"
                                     "[[entry]]\nid = 1\nname = 'a'\nclass = 'A'\ndriver = 'd'");
    register_device(written.path());

    const Answer answer = property(1, 1, 3);

    EXPECT_EQ(answer.status, 0u);
    EXPECT_EQ(answer.size, 4096u);
    EXPECT_EQ(answer.bytes[2], std::byte{3});
}

TEST_F(DescribedDeviceTest, UserClientMayRefuseConnections) {
    const WrittenDescription written("name = 'x'\n[user_client.u]\nopen_status = 0xE00002D8\n"
                                     "[[entry]]\nid = 1\nname = 'closed'\nclass = 'A'\nuser_client = 'u'");
    register_device(written.path());

    EXPECT_EQ(call("closed", 2, {}, 1).status, 0xE00002D8u);
}

TEST_F(DescribedDeviceTest, PlugInsAnswerAsDescribed) {
    const WrittenDescription written("name = 'x'\n[driver.d]\nstart_status = 0xE0000001\nquery_result = 0x80000004\n"
                                     "[[entry]]\nid = 1\nname = 'a'\nclass = 'A'\ndriver = 'd'");
    register_device(written.path());

    queue.run([&] {
        constexpr RvUUIDBytes kType = kQorDriverPlugInTypeBytes;
        constexpr RvUUIDBytes kGeneric = kRvPlugInInterfaceBytes;
        constexpr RvUUIDBytes kInterface = kQorDriverInterfaceBytes;
        const OwnedEntry entry(RvRegistryCopyServiceMatchingID(1));
        RvInterfaceRef plug_in = nullptr;
        ASSERT_EQ(RvPlugInCreateForService(entry.get(), RvUUIDGetConstantWithBytes(kType),
                                           RvUUIDGetConstantWithBytes(kGeneric), &plug_in),
                  0u);
        const OwnedInterface generic(plug_in);
        void *queried = nullptr;
        EXPECT_EQ((*plug_in)->QueryInterface(plug_in, kInterface, &queried), kRvResultNoInterface);
        ASSERT_NE(queried, nullptr);
        const OwnedInterface interface(static_cast<RvInterfaceRef>(queried));
        const auto driver = static_cast<QorDriverInterfaceRef>(queried);
        EXPECT_EQ((*driver)->start(driver, 0), 0xE0000001u);
    });
}

TEST_F(DescribedDeviceTest, EntryThatCarriesNoHIDDeviceGivesNone) {
    const WrittenDescription written("name = 'x'\n[[entry]]\nid = 1\nname = 'a'\nclass = 'A'\nhid_device = false");
    register_device(written.path());
    const OwnedEntry entry(RvRegistryCopyServiceMatchingID(1));

    EXPECT_EQ(RvHIDDeviceCreate(entry.get()), nullptr);
}

TEST_F(DescribedDeviceTest, NothingStaysInTheRegistryAfterTheDevice) {
    register_device(kSmall);

    device.reset();

    EXPECT_EQ(RvRegistryCopyServiceMatchingID(0x111), 0u);
    EXPECT_EQ(RvRegistryCopyServiceMatchingName("ZEL_profile"), 0u);
    EXPECT_EQ(RvRegistryCopyServiceMatchingClass("OndreQORTimesync"), 0u);
}

TEST_F(DescribedDeviceTest, SecondDeviceWithATakenIDIsAnErrorAndLeavesNothingBehind) {
    register_device(kSmall);
    const WrittenDescription written("name = 'x'\n[[entry]]\nid = 1\nname = 'free'\nclass = 'A'\n"
                                     "[[entry]]\nid = 0x111\nname = 'taken'\nclass = 'A'");

    try {
        const DescribedDevice second(written.path(), queue);
        FAIL() << "brought to life";
    } catch (const host::Error &error) {
        EXPECT_EQ(error.what(),
                  written.path() + ": line 6, column 1: registry ID 0x111 is taken by entry \"small-driver\"");
    }
    EXPECT_EQ(RvRegistryCopyServiceMatchingName("free"), 0u);
}

TEST_F(DescribedDeviceTest, BadDescriptionLeavesNothingBehind) {
    const WrittenDescription written("name = 'x'\n[[entry]]\nid = 1\nname = 'a'\nclass = 'A'\n[[service]]\n");

    EXPECT_THROW(DescribedDevice(written.path(), queue), host::Error);
    EXPECT_EQ(RvRegistryCopyServiceMatchingID(1), 0u);
}

TEST_F(DescribedDeviceTest, MisbehaviourIsAsTheDocumentedExampleSays) {
    register_device(SOURCE_FOLDER "/tests/data/misbehaving.toml");
    constexpr std::uint64_t kButton = 0xFFFFFFFF00000001;

    const Answer lying = property(kButton, 0, 4);
    const Answer failing = property(kButton, 216, 4096);
    const Answer refused = call("button", 2, {209}, 48);

    EXPECT_EQ(lying.status, 0u);
    EXPECT_EQ(lying.size, 4096u);
    EXPECT_EQ(failing.status, 0xE00002BCu);
    EXPECT_EQ(refused.status, 0xE00002D8u);
}

TEST(DeviceDescriptionDocument, ShowsTheExamplesThatTheTestsRun) {
    const auto text_of = [](const std::string &path) {
        std::ifstream stream(SOURCE_FOLDER "/" + path);
        return std::string(std::istreambuf_iterator<char>(stream), {});
    };
    const std::string document = text_of("docs/device-description.md");

    for (const char *path : {"tests/data/misbehaving.toml", "tests/data/typed-properties.toml"}) {
        const std::string example = text_of(path);
        EXPECT_FALSE(example.empty()) << path;
        EXPECT_NE(document.find("```toml\n" + example + "```"), std::string::npos) << path;
    }
}

#ifndef NDEBUG
TEST_F(DescribedDeviceTest, MethodCallOffTheQueueEndsTheProcessInDebugBuilds) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            register_device(kSmall);
            const OwnedEntry entry(RvRegistryCopyServiceMatchingName("ZEL_profile"));
            RvConnection connection = 0;
            RvConnectionOpen(entry.get(), 0, &connection);
        },
        "RvConnectionOpen");
}
#endif

} // namespace
