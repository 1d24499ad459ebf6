#include <gtest/gtest.h>

#include "platform/Owned.h"
#include "platform/RvHID.h"
#include "tests/contract/registered_entries.h"

namespace {

using contract::RegisteredEntries;
using platform::OwnedValue;

constexpr std::uint64_t kId = 0xC0DE3001;

contract::HIDPort &hid() { return contract::port().hid(); }

class HIDContract : public testing::Test {
protected:
    ~HIDContract() override { hid().forget_services(); }
};

TEST_F(HIDContract, PropertyIsCopiedWithAReferenceAndBorrowedWithout) {
    OwnedValue text(TvStringCreateWithCString("QOR", kTvStringEncodingUTF8));
    const RvHIDServiceRef service = hid().make_service({{{"Transport", text.get()}}, {}, nullptr});
    text.reset();

    const OwnedValue copied(RvHIDServiceCopyProperty(service, "Transport"));
    const TvRef borrowed = RvHIDServiceGetProperty(service, "Transport");

    EXPECT_STREQ(TvStringGetCString(borrowed), "QOR");
    EXPECT_TRUE(TvEqual(copied.get(), borrowed));
}

TEST_F(HIDContract, CopiedPropertyOutlivesItsService) {
    const RvHIDServiceRef service = hid().make_service({{{"Flag", TvBooleanGet(true)}}, {}, nullptr});
    const OwnedValue copied(RvHIDServiceCopyProperty(service, "Flag"));

    hid().forget_services();

    EXPECT_TRUE(TvBooleanGetValue(copied.get()));
}

TEST_F(HIDContract, PropertyThatIsNotThereIsNull) {
    const RvHIDServiceRef service = hid().make_service({});

    EXPECT_EQ(RvHIDServiceCopyProperty(service, "Transport"), nullptr);
    EXPECT_EQ(RvHIDServiceGetProperty(service, "Transport"), nullptr);
    EXPECT_EQ(RvHIDServiceCopyProperty(service, nullptr), nullptr);
    EXPECT_EQ(RvHIDServiceGetProperty(service, nullptr), nullptr);
}

TEST_F(HIDContract, ServiceConformsToItsPairsOfPageAndUsageOnly) {
    const RvHIDServiceRef service = hid().make_service({{}, {{0x000C, 0x0001}, {0xFF00, 0x0029}}, nullptr});

    EXPECT_TRUE(RvHIDServiceConformsTo(service, 0x000C, 0x0001));
    EXPECT_TRUE(RvHIDServiceConformsTo(service, 0xFF00, 0x0029));
    EXPECT_FALSE(RvHIDServiceConformsTo(service, 0x000C, 0x0029));
    EXPECT_FALSE(RvHIDServiceConformsTo(service, 0x0001, 0x000C));
}

TEST_F(HIDContract, RegistryIDIsWhateverValueTheServiceHas) {
    const OwnedValue number(TvNumberCreateSInt64(0x100000200));
    const RvHIDServiceRef with = hid().make_service({{}, {}, number.get()});
    const RvHIDServiceRef odd = hid().make_service({{}, {}, TvBooleanGet(true)});
    const RvHIDServiceRef without = hid().make_service({});

    EXPECT_TRUE(TvEqual(RvHIDServiceGetRegistryID(with), number.get()));
    EXPECT_EQ(TvGetTypeID(RvHIDServiceGetRegistryID(odd)), TvBooleanGetTypeID());
    EXPECT_EQ(RvHIDServiceGetRegistryID(without), nullptr);
}

TEST_F(HIDContract, NullServiceAnswersFailure) {
    EXPECT_EQ(RvHIDServiceCopyProperty(nullptr, "Transport"), nullptr);
    EXPECT_EQ(RvHIDServiceGetProperty(nullptr, "Transport"), nullptr);
    EXPECT_FALSE(RvHIDServiceConformsTo(nullptr, 0x000C, 0x0001));
    EXPECT_EQ(RvHIDServiceGetRegistryID(nullptr), nullptr);
}

TEST_F(HIDContract, DeviceObjectLivesUntilItIsReleased) {
    RegisteredEntries entries;
    const std::size_t before = hid().live_devices();

    const RvHIDDeviceRef device = RvHIDDeviceCreate(entries.add(kId, "device"));

    EXPECT_NE(device, nullptr);
    EXPECT_EQ(hid().live_devices(), before + 1);
    RvHIDDeviceRelease(device);
    EXPECT_EQ(hid().live_devices(), before);
}

TEST_F(HIDContract, NoDeviceObjectIsMadeOnAnEntryThatCannotCarryOne) {
    RegisteredEntries entries;
    const RvRegistryEntry refusing = entries.add(kId, "refusing");
    hid().refuse_device(refusing);

    EXPECT_EQ(RvHIDDeviceCreate(refusing), nullptr);
    EXPECT_EQ(RvHIDDeviceCreate(0), nullptr);
}

TEST_F(HIDContract, ReleaseOfNoDeviceDoesNothing) { RvHIDDeviceRelease(nullptr); }

} // namespace
