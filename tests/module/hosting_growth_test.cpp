/** The work of hosting a described device, from its text to its end, grows with the description, not faster. */
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/RvStateCapture.h"
#include "host/device/description.h"
#include "host/module/hosted_device.h"
#include "platform/RvStateCapture.h"
#include "tests/work_ratio.h"

namespace {

/** How many there are of what a description may have many of. */
struct Counts {
    std::size_t services = 1;
    std::size_t entries = 1;    ///< of the registry, beside those of the QOR
    std::size_t properties = 1; ///< of the driver
    std::size_t reports = 1;    ///< of the firmware
    std::size_t batches = 1;    ///< of analytics
};

constexpr const char *kQor = R"(
name = "growing"
[device.qor]
[[entry]]
id = 0x100
name = "device"
class = "Device"
device = "qor"
[[entry]]
id = 0x110
name = "interface"
class = "Interface"
parent = 0x100
[[entry]]
id = 0x111
name = "driver"
class = "Driver"
parent = 0x110
driver = "it"
[[entry]]
id = 0x112
name = "user-client"
class = "UserClient"
parent = 0x111
[[entry]]
id = 0x200
name = "ZEL_profile"
class = "Profile"
parent = 0x100
user_client = "fw"
)";

constexpr const char *kReport = "05 00 01 00 01 00 00 00 40 42 0f 00 00 00 00 00 01 01 00 00 00 00 00 00\n"
                                "02 00 00 00 5e 01 00 00 01 00 00 00 90 01 00 00 00 00 00 00 00 00 00 00\n";

constexpr const char *kService = "[[service]]\nname = 'button'\nid = 0x111\ntransport = 'QOR'\n"
                                 "usages = [[0x000C, 0x0001]]\nproperties = { ZELSupportsTallybook = true }\n";

constexpr const char *kBatch = "[[analytics]]\ndevice = 'qor'\n"
                               "entry = [{ operation = 'add_to_scalar', key = 'com.ondre.zel.test', value = 1 }]\n";

std::string repeat(std::size_t count, const std::string &text) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

/** `count` times the texts with a number between them, from 1000 on. */
std::string number(std::size_t count, const std::string &before, const std::string &after) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += before + std::to_string(1000 + i) + after;
    }
    return all;
}

std::string description_of(const Counts &counts) {
    return kQor + number(counts.entries, "[[entry]]\nname = 'more'\nclass = 'More'\nparent = 0x100\nid = ", "\n") +
           "[driver.it]\nlatency = { finger_on = 1 }\nproperty = [\n" +
           number(counts.properties, "{ id = ", ", hex = '10 27' },\n") + "]\n" +
           "[[user_client.fw.method]]\nnumber = 2\nproperty = 209\nhex_stream = '''\n" +
           repeat(counts.reports, kReport) + "'''\n" + repeat(counts.services, kService) +
           repeat(counts.batches, kBatch);
}

/** Hosts the device, delivers its analytics, captures its state, and ends. */
void host_once(const Counts &counts) {
    host::HostedDevice hosted(host::read_device_description_text(description_of(counts), "device"), MODULE_UNDER_TEST);
    ASSERT_EQ(hosted.device().services().size(), counts.services);
    for (const host::AnalyticsDescription &batch : hosted.device().analytics()) {
        EXPECT_TRUE(hosted.device().device(batch.device).deliver_batch(batch.entries));
    }
    EXPECT_FALSE(host::capture_state(kRvStateCaptureFault, "somebody").empty());
    EXPECT_GE(host::capture_state(kRvStateCaptureRequest, "somebody").size(), counts.services);
    hosted.stop();
}

struct Growing {
    const char *name;
    std::size_t Counts::*count;
    std::size_t size;

    friend void PrintTo(const Growing &growing, std::ostream *out) { *out << growing.name; }
};

class HostingGrowth : public testing::TestWithParam<Growing> {};

TEST_P(HostingGrowth, IsThatOfTheDescription) {
    const auto work = [](std::size_t size) {
        Counts counts;
        counts.*GetParam().count = size;
        host_once(counts);
    };

    EXPECT_LT(tests::growth_of(work, GetParam().size, CLOCK_PROCESS_CPUTIME_ID), tests::kMostGrowth);
}

INSTANTIATE_TEST_SUITE_P(
    Of, HostingGrowth,
    testing::Values(Growing{"Services", &Counts::services, 200}, Growing{"Entries", &Counts::entries, 2000},
                    Growing{"Properties", &Counts::properties, 2000}, Growing{"Reports", &Counts::reports, 2000},
                    Growing{"Batches", &Counts::batches, 1000}),
    [](const testing::TestParamInfo<Growing> &growing) { return std::string(growing.param.name); });

} // namespace
