/** The properties of examples/phone.toml that the plug-in and readers of the example rely on. */
#include <array>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/device/described_device.h"
#include "host/device/description.h"
#include "platform/RvConnection.h"
#include "qor/analytics.h"

namespace {

using platform::OwnedEntry;

constexpr const char *kPhone = SOURCE_FOLDER "/examples/phone.toml";
constexpr std::size_t kReportSize = 48;

const host::ReplyDescription &stream(const host::DeviceDescription &phone, const char *client, host::MethodKey method) {
    return phone.user_clients.at(client).methods.at(method);
}

std::uint64_t time_of(const std::byte *report) {
    std::uint64_t time = 0;
    std::memcpy(&time, report + 8, sizeof time);
    return time;
}

struct Source {
    const char *name;
    const char *client;
    host::MethodKey method;
    std::size_t reports;
};

const Source kSources[] = {
    {"Firmware", "firmware_reports", {2, 209}, 384},
    {"Driver", "driver_reports", {9, std::nullopt}, 256},
    {"Errors", "driver_reports", {8, std::nullopt}, 256},
};

class PhoneSources : public testing::TestWithParam<Source> {};

TEST_P(PhoneSources, HoldAMultipleOf32Reports) {
    const host::DeviceDescription phone = host::read_device_description(kPhone);

    const host::ReplyDescription &reply = stream(phone, GetParam().client, GetParam().method);

    EXPECT_EQ(reply.kind, host::ByteSource::Kind::Stream);
    EXPECT_EQ(reply.bytes.size(), GetParam().reports * kReportSize);
}

TEST_P(PhoneSources, TimesAscendFromTheSynchronisationPointForAtMostTenSeconds) {
    const host::DeviceDescription phone = host::read_device_description(kPhone);
    const TvRef clock = phone.entries.back().properties.at("timesync").get();
    std::int64_t qor = 0;
    ASSERT_TRUE(TvNumberGetSInt64(TvDictionaryGetValue(clock, "qor"), &qor));

    const std::vector<std::byte> &bytes = stream(phone, GetParam().client, GetParam().method).bytes;

    std::uint64_t last = static_cast<std::uint64_t>(qor) / 1000;
    EXPECT_LT(time_of(&bytes[bytes.size() - kReportSize]), last + 10'000'000);
    for (std::size_t at = 0; at < bytes.size(); at += kReportSize) {
        EXPECT_GE(time_of(&bytes[at]), last) << "report " << at / kReportSize;
        last = time_of(&bytes[at]);
    }
}

TEST_P(PhoneSources, SequenceNumbersHaveNoGaps) {
    const host::DeviceDescription phone = host::read_device_description(kPhone);
    const std::vector<std::byte> &bytes = stream(phone, GetParam().client, GetParam().method).bytes;

    std::uint32_t first = 0;
    std::memcpy(&first, &bytes[4], sizeof first);
    for (std::size_t at = 0; at < bytes.size(); at += kReportSize) {
        std::uint32_t number = 0;
        std::memcpy(&number, &bytes[at + 4], sizeof number);
        EXPECT_EQ(number, first + at / kReportSize);
    }
}

INSTANTIATE_TEST_SUITE_P(PhoneExample, PhoneSources, testing::ValuesIn(kSources),
                         [](const auto &row) { return row.param.name; });

TEST(PhoneExample, EveryServiceOfTheQORLeadsUpToOneDevice) {
    host::SerialQueue queue;
    const host::DescribedDevice phone(kPhone, queue);

    std::vector<std::string> of_the_device;
    for (const auto &service : phone.services()) {
        std::int64_t id = 0;
        ASSERT_TRUE(TvNumberGetSInt64(RvHIDServiceGetRegistryID(service.get()), &id));
        const OwnedEntry driver(RvRegistryCopyServiceMatchingID(static_cast<std::uint64_t>(id)));
        RvRegistryEntry interface = 0;
        RvRegistryEntry device = 0;
        RvRegistryEntryCopyParent(driver.get(), kRvServicePlane, &interface);
        RvRegistryEntryCopyParent(interface, kRvServicePlane, &device);
        char name[kRvRegistryNameSize] = "";
        RvRegistryEntryGetName(device, name);
        if (std::string(name) == "QORDevice") {
            of_the_device.push_back(service->name);
        }
        RvRegistryEntryRelease(interface);
        RvRegistryEntryRelease(device);
    }

    EXPECT_EQ(of_the_device, (std::vector<std::string>{"button", "accelerometer", "gyroscope", "compass",
                                                       "pressure sensor", "vendor endpoint"}));
}

TEST(PhoneExample, All104EntriesOfACaptureGetFullReads) {
    host::SerialQueue queue;
    const host::DescribedDevice phone(kPhone, queue);
    const std::uint64_t property = 209;

    const auto read = [&](const char *service, std::uint32_t method, const std::uint64_t *scalar) {
        std::array<std::byte, 32 * kReportSize> out;
        std::size_t size = out.size();
        const OwnedEntry entry(RvRegistryCopyServiceMatchingName(service));
        RvConnection connection = 0;
        EXPECT_EQ(RvConnectionOpen(entry.get(), 0, &connection), 0u);
        EXPECT_EQ(RvConnectionCallMethod(connection, method, scalar, scalar == nullptr ? 0 : 1, nullptr, 0, nullptr,
                                         nullptr, out.data(), &size),
                  0u);
        EXPECT_EQ(RvConnectionClose(connection), 0u);
        EXPECT_EQ(size, out.size());
    };
    queue.run([&] {
        for (int entry = 0; entry < 48; ++entry) {
            read("ZEL_profile", 2, &property);
            read("OndreQORProfileDriver", 8, nullptr);
        }
        for (int entry = 0; entry < 8; ++entry) {
            read("OndreQORProfileDriver", 9, nullptr);
        }
    });
}

TEST(PhoneExample, TheDaysAnalyticsAreEntriesThatThePlugInKnows) {
    const std::vector<std::byte> day = host::read_device_description(kPhone).analytics.at(0).entries;

    for (std::size_t at = 0; at < day.size(); at += qor::analytics::kEntrySize) {
        EXPECT_EQ(std::to_integer<int>(day[at]), qor::analytics::kVersion) << at;
        EXPECT_LT(std::to_integer<int>(day[at + 2]), qor::analytics::kKeyCount) << at;
    }
    // One line of the log for each.
    EXPECT_LE(day.size() / qor::analytics::kEntrySize, 500u);
}

TEST(PhoneExample, TheDayHasDistributionsOfButtonProximityAndAudio) {
    const std::vector<std::byte> day = host::read_device_description(kPhone).analytics.at(0).entries;
    std::map<std::string, int> distinct_values;

    for (std::size_t at = 0; at < day.size(); at += qor::analytics::kEntrySize) {
        if (std::to_integer<int>(day[at + 1]) >= qor::analytics::kPush) {
            ++distinct_values[qor::analytics::kKeys[std::to_integer<std::size_t>(day[at + 2])]];
        }
    }

    EXPECT_GE(distinct_values["com.ondre.zel.button.click.duration"], 12);
    EXPECT_GE(distinct_values["com.ondre.com.zel.prox.baseline_to_trigger.time.dist"], 12);
    EXPECT_GE(distinct_values["com.ondre.zel.audio.riv.on.duration"], 8);
}

} // namespace
