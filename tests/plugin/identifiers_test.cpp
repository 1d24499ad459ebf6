// Identifiers and slots that hosts and drivers rely on, written down here and not taken from the product's headers.

#include <array>
#include <cstddef>

#include "qor/interfaces.h"
#include "tests/plugin/plug_in_fixture.h"

namespace plug_in_tests {
namespace {

using testing::IsEmpty;

/** The text of a UUID in its 8-4-4-4-12 form. */
std::string text_of(const RvUUIDBytes &uuid) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (std::size_t i = 0; i < sizeof uuid.bytes; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            text += '-';
        }
        text += kDigits[uuid.bytes[i] >> 4];
        text += kDigits[uuid.bytes[i] & 0xF];
    }
    return text;
}

TEST(Identifiers, OfThePlugInAreFixed) {
    EXPECT_EQ(text_of(kOndreQORHIDStatisticsPlugInTypeBytes), "7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB719");
    EXPECT_EQ(text_of(kOndreQORHIDStatisticsFactoryBytes), "75F07127-BB06-490A-B1B9-81AE65DF0646");
    EXPECT_EQ(text_of(kOndreQORHIDStatisticsInterface1Bytes), "19D77441-BBC4-4511-9149-60572A0B015C");
    EXPECT_EQ(text_of(kOndreQORHIDStatisticsInterface2Bytes), "3DC35AA6-D35C-445B-9A59-CA03DA408B97");
    EXPECT_EQ(text_of(kRvUnknownInterfaceBytes), "00000000-0000-0000-C000-000000000046");
}

TEST(Identifiers, OfTheQorsPlugInsAreFixed) {
    EXPECT_EQ(text_of(kQorDriverPlugInTypeBytes), "3BC5CC87-845E-48AB-A9C2-9436001BA68A");
    EXPECT_EQ(text_of(kQorDriverInterfaceBytes), "5979993C-85F5-4D59-8593-FF9215DA47AD");
    EXPECT_EQ(text_of(kQorDevicePlugInTypeBytes), "7ACF5332-1A35-4893-87CB-BA64E1887FAE");
    EXPECT_EQ(text_of(kQorDeviceInterfaceBytes), "016469D8-773B-46AC-909E-F90C4A6E7577");
    EXPECT_EQ(text_of(kRvPlugInInterfaceBytes), "C244E858-109C-11D4-91D4-0050E4C6426F");
}

/** The operation in one slot of the table that `interface` points to. */
template <typename Operation>
Operation slot(void *interface, std::size_t index) {
    return reinterpret_cast<Operation>((*static_cast<void ***>(interface))[index]);
}

class Slots : public PlugInTest {};

TEST_F(Slots, OneToThreeCountReferences) {
    void *interface = nullptr;
    const RvUUIDBytes first = kOndreQORHIDStatisticsInterface1Bytes;

    EXPECT_EQ(slot<HRESULT (*)(void *, RvUUIDBytes, void **)>(plug_in, 1)(plug_in, first, &interface), 0);
    EXPECT_EQ(interface, plug_in);
    EXPECT_EQ(slot<uint32_t (*)(void *)>(plug_in, 2)(plug_in), 3u);
    EXPECT_EQ(slot<uint32_t (*)(void *)>(plug_in, 3)(plug_in), 2u);
    EXPECT_EQ(slot<uint32_t (*)(void *)>(plug_in, 3)(plug_in), 1u);
}

TEST_F(Slots, SevenOpensAndEightChangesNothing) {
    TvStringRef former = PlugInInspector::key(*plug_in, 0);

    EXPECT_TRUE(slot<bool (*)(void *, RvHIDSessionRef, uint32_t)>(plug_in, 7)(plug_in, nullptr, 0xFFFFFFFF));
    TvStringRef opened = PlugInInspector::key(*plug_in, 0);
    EXPECT_NE(opened, former);

    slot<void (*)(void *, RvHIDSessionRef, uint32_t)>(plug_in, 8)(plug_in, nullptr, 0);
    EXPECT_EQ(PlugInInspector::key(*plug_in, 0), opened);
    EXPECT_EQ(PlugInInspector::queue(*plug_in), queue.handle());
}

TEST_F(Slots, ElevenRegistersAService) {
    PlayedQor qor;
    RvHIDService service = qor.service(kSensor);

    queue.run([&] { slot<void (*)(void *, RvHIDServiceRef)>(plug_in, 11)(plug_in, &service); });

    EXPECT_EQ(PlugInInspector::services(*plug_in)->size(), 1u);
}

TEST_F(Slots, ThirteenSchedulesAndFourteenUnschedules) {
    slot<void (*)(void *, RvQueueRef)>(plug_in, 14)(plug_in, queue.handle());
    EXPECT_EQ(PlugInInspector::queue(*plug_in), nullptr);

    slot<void (*)(void *, RvQueueRef)>(plug_in, 13)(plug_in, queue.handle());
    EXPECT_EQ(PlugInInspector::queue(*plug_in), queue.handle());
}

TEST(DriverSlots, AreTheOnesThatTheDriverProvides) {
    constexpr std::size_t kSlot = sizeof(void *);
    EXPECT_EQ(offsetof(QorDriverInterfaceTable, start), 8 * kSlot);
    EXPECT_EQ(offsetof(QorDriverInterfaceTable, command), 10 * kSlot);
    EXPECT_EQ(offsetof(QorDriverInterfaceTable, com) + offsetof(RvInterfaceTable, QueryInterface), 1 * kSlot);
    EXPECT_EQ(offsetof(QorDriverInterfaceTable, com) + offsetof(RvInterfaceTable, AddRef), 2 * kSlot);
    EXPECT_EQ(offsetof(QorDriverInterfaceTable, com) + offsetof(RvInterfaceTable, Release), 3 * kSlot);
}

TEST(DeviceSlots, AreTheOnesThatTheDeviceProvides) {
    constexpr std::size_t kSlot = sizeof(void *);
    EXPECT_EQ(offsetof(QorDeviceInterfaceTable, com), 0u);
    EXPECT_EQ(offsetof(QorDeviceInterfaceTable, start), 8 * kSlot);
    EXPECT_EQ(offsetof(QorDeviceInterfaceTable, set_analytics_callback), 17 * kSlot);
    EXPECT_EQ(offsetof(QorDeviceInterfaceTable, set_dispatch_queue), 18 * kSlot);
}

class AcceptedUsages : public PlugInTest {};

TEST_F(AcceptedUsages, AreSevenAndNoOthersOfTheirPages) {
    const Usages accepted = {{0x000B, 0x01}, {0x000C, 0x01}, {0x0020, 0x31}, {0xFF00, 0x03},
                             {0xFF00, 0x09}, {0xFF00, 0x0A}, {0xFF00, 0x29}};
    PlayedQor qor;
    Usages kept;
    for (uint32_t page : {0x0000u, 0x0001u, 0x000Au, 0x000Bu, 0x000Cu, 0x000Du, 0x0020u, 0xFF00u, 0xFF01u, 0xFFFFu}) {
        for (uint32_t usage = 0; usage < 256; ++usage) {
            const auto before = PlugInInspector::services(*plug_in)->size();
            RvHIDService service = qor.service({{page, usage}});
            queue.run([&] { plug_in->registerService(&service); });
            if (PlugInInspector::services(*plug_in)->size() > before) {
                kept.emplace_back(page, usage);
            }
        }
    }

    EXPECT_EQ(kept, accepted);
    EXPECT_THAT(lines(), IsEmpty());
}

} // namespace
} // namespace plug_in_tests
