/** State captures on a page: what stays of each device. */
#include "cli/page/captures_section.h"

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "cli/terminal/json_text.h"

using cli::CapturesSection;
using cli::PageRecord;
using nlohmann::json;

namespace {

cli::Recording recording_of(const std::string &device, std::int64_t taken = 0) {
    return {.kind = cli::RecordingKind::Record,
            .device = device,
            .file = "record",
            .name = "record",
            .argument = "record",
            .has_reports = false,
            .taken = taken,
            .size = 0,
            .kept = nullptr};
}

json data_of(CapturesSection &section) {
    std::vector<cli::PageBlock> blocks;
    return json::parse(cli::json_line(section.finish(blocks).data));
}

TEST(CapturesSectionTest, TheNewestLatenciesAndAssetsStayInWhateverOrderTheyCome) {
    CapturesSection section;
    for (const std::int64_t taken : {20, 30, 10}) {
        section.add(recording_of("phone", taken), {.title = "latencies", .size = 5, .latencies = taken});
        section.add(recording_of("phone", 50 - taken), {.title = "assets", .size = 7, .assets = taken});
    }
    const json device = data_of(section)["devices"][0];
    EXPECT_EQ(device["latencies"], 30);
    EXPECT_EQ(device["assets"], 10);
    EXPECT_EQ(device["records"], 6);
    EXPECT_EQ(device["bytes"], 36);
}

TEST(CapturesSectionTest, LinesOfTheFirstDevicesFillThePage) {
    CapturesSection section;
    for (int device = 10; device < 22; ++device) {
        std::vector<std::string> lines(CapturesSection::kLinesOfDevice - 10, "line");
        section.add(recording_of(std::to_string(device)), {.title = "log", .lines = lines});
        section.add(recording_of(std::to_string(device)),
                    {.title = "log", .lines = {lines.begin(), lines.begin() + 20}});
    }
    const json devices = data_of(section)["devices"];
    ASSERT_EQ(devices.size(), 12u);
    for (std::size_t device = 0; device < 12; ++device) {
        EXPECT_EQ(devices[device]["lines"], 510);
        EXPECT_EQ(devices[device]["lines_shown"], device < 10 ? 500 : 0);
        EXPECT_EQ(devices[device].contains("lines_block"), device < 10);
    }
}

TEST(CapturesSectionTest, TablesAndDevicesBeyondTheirLimitsAreCounted) {
    CapturesSection section;
    for (std::size_t table = 0; table < CapturesSection::kTablesOfDevice + 3; ++table) {
        PageRecord record{.title = "table"};
        (table % 2 == 0 ? record.sensor : record.entries) = cli::Json::array();
        section.add(recording_of("device"), record);
    }
    for (std::size_t device = 0; device < CapturesSection::kDevicesAtMost + 4; ++device) {
        section.add(recording_of("other " + std::to_string(device)), {.title = "empty"});
    }
    section.add(recording_of("device"), {.title = "empty"});
    const json data = data_of(section);
    EXPECT_EQ(data["devices"].size(), 100u);
    EXPECT_EQ(data["records_of_other_devices"], 5);
    const json &device = data["devices"][0];
    EXPECT_EQ(device["records"], 54);
    EXPECT_EQ(device["sensors"].size(), 25u);
    EXPECT_EQ(device["tables"].size(), 25u);
    EXPECT_EQ(device["more_tables"], 3);
}

} // namespace
