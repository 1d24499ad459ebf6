/** Baselines with a right checksum and impossible contents. */
#include "cli/comparison/baseline.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <utility>

#include <gmock/gmock.h>

#include "cli/comparison/side.h"
#include "cli/terminal/output_file.h"
#include "host/error.h"
#include "tests/cli/program.h"

namespace {

using cli::CountedValue;
using cli::CountedValues;
using cli::MeasureKind;
using cli::Side;
using cli::SideDevice;
using cli_tests::TemporaryFolder;
using testing::AllOf;
using testing::HasSubstr;

CountedValues values(std::uint64_t key, std::uint64_t count) {
    return CountedValues(std::array{CountedValue{key, count}});
}

/** Two devices with a measure of each form that is kept, and a setting. */
Side whole_side() {
    SideDevice one{.name = "one", .recordings = 2, .reports = 300, .gaps = 3, .missing = 70, .restarts = 1};
    one.firmware_time = std::numeric_limits<std::uint64_t>::max();
    one.wakes = 5;
    one.paths = {{0x0001'0005, 200}, {0xFFFF'FFFF, 100}};
    one.reasons = {{4, 2}, {1'000'000, 3}};
    Side side;
    side.devices = {one, {.name = "two", .recordings = 1}};
    side.measures = {
        {{.kind = MeasureKind::FunctionDuration, .number = 77}, {{0, values(250, 3)}, {1, values(0, 1)}}},
        {{.kind = MeasureKind::FunctionDuration, .text = "\xFF"}, {{1, values(9, 1)}}},
        {{.kind = MeasureKind::Scalar, .text = "presses"}, {{0, values(cli::key_of_real(-3), 1)}}},
        {{.kind = MeasureKind::PayloadField, .path = 3, .layout = "event", .text = "arg1"}, {{0, values(1, 300)}}},
        {{.kind = MeasureKind::Interval, .path = 3}, {{0, values(1000, 299)}}},
    };
    std::ranges::sort(side.measures, {}, &cli::SideMeasure::id);
    side.settings = {{"SensorInfo accel: model", {{0, "KA-31"}, {1, "KA-32"}}}};
    side.not_compared = 12;
    return side;
}

class BaselineTest : public testing::Test {
protected:
    std::string write(const Side &side) const {
        const std::string file = folder.path() / "side.qorbase";
        cli::OutputFile out(file);
        cli::write_baseline(out, side);
        out.finish();
        return file;
    }

    /** What is said of a whole baseline after `change`; nothing when it can be read. */
    std::string refusal(const std::function<void(Side &)> &change) const {
        Side side = whole_side();
        change(side);
        const std::string file = write(side);
        try {
            cli::read_baseline(file);
        } catch (const host::Error &error) {
            EXPECT_EQ(error.file(), file);
            return error.what();
        }
        return "";
    }

    TemporaryFolder folder;
};

TEST_F(BaselineTest, IsReadAsItWasWritten) {
    const Side side = cli::read_baseline(write(whole_side()));
    const Side whole = whole_side();
    ASSERT_EQ(side.devices.size(), 2U);
    const SideDevice &one = side.devices[0];
    EXPECT_EQ(one.name, "one");
    EXPECT_EQ(one.recordings, 2U);
    EXPECT_EQ(one.reports, 300U);
    EXPECT_EQ(one.gaps, 3U);
    EXPECT_EQ(one.missing, 70U);
    EXPECT_EQ(one.restarts, 1U);
    EXPECT_EQ(one.firmware_time, std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(one.wakes, 5U);
    EXPECT_EQ(one.paths, whole.devices[0].paths);
    EXPECT_EQ(one.reasons, whole.devices[0].reasons);
    ASSERT_EQ(side.measures.size(), whole.measures.size());
    for (std::size_t index = 0; index < side.measures.size(); ++index) {
        EXPECT_EQ(side.measures[index].id, whole.measures[index].id);
        ASSERT_EQ(side.measures[index].devices.size(), whole.measures[index].devices.size());
        for (std::size_t device = 0; device < side.measures[index].devices.size(); ++device) {
            EXPECT_EQ(side.measures[index].devices[device].device, whole.measures[index].devices[device].device);
            EXPECT_EQ(side.measures[index].devices[device].values.bytes(),
                      whole.measures[index].devices[device].values.bytes());
        }
    }
    EXPECT_EQ(side.settings, whole.settings);
    EXPECT_EQ(side.not_compared, 12U);
}

TEST_F(BaselineTest, WhatIsImpossibleIsRefused) {
    const std::pair<const char *, std::function<void(Side &)>> changes[] = {
        {"the baseline has no devices", [](Side &side) { side = {}; }},
        {"a device's name is not UTF-8", [](Side &side) { side.devices[0].name = "\xFF"; }},
        {"devices are not in order", [](Side &side) { side.devices[0].name = "two"; }},
        {"a count is not possible", [](Side &side) { side.devices[0].gaps = 301; }},
        {"a count is not possible", [](Side &side) { side.devices[0].restarts = 4; }},
        {"a count is not possible", [](Side &side) { side.devices[0].wakes = 301; }},
        {"a count is not possible", [](Side &side) { side.devices[0].paths[7] = 0; }},
        {"a count is not possible", [](Side &side) { side.devices[0].paths[7] = 301; }},
        {"a count is not possible", [](Side &side) { side.devices[0].reasons[7] = 6; }},
        {"a measure is of an unknown kind", [](Side &side) { side.measures[0].id.kind = MeasureKind{14}; }},
        {"a measure does not have the parts of its kind",
         [](Side &side) { side.measures[0].id.kind = MeasureKind::EventShare; }},
        {"a measure does not have the parts of its kind", [](Side &side) { side.measures[0].id.path = 1; }},
        {"a measure does not have the parts of its kind", [](Side &side) { side.measures.back().id.path.reset(); }},
        {"a measure does not have the parts of its kind",
         [](Side &side) {
             side.measures.push_back({{.kind = MeasureKind::PayloadField, .path = 3}, {}});
         }},
        {"measures are not in order", [](Side &side) { std::swap(side.measures[0], side.measures[1]); }},
        {"measures are not in order", [](Side &side) { side.measures[1].id = side.measures[0].id; }},
        {"a measure has no values", [](Side &side) { side.measures[0].devices.clear(); }},
        {"a device is not there, or not in ascending order",
         [](Side &side) { side.measures[0].devices.back().device = 2; }},
        {"a device is not there, or not in ascending order",
         [](Side &side) { std::swap(side.measures[1].devices[0], side.measures[1].devices[1]); }},
        {"values are damaged", [](Side &side) { side.measures[1].devices[0].values = {}; }},
        {"values are damaged",
         [](Side &side) { side.measures[1].devices[0].values = values(std::numeric_limits<std::uint64_t>::max(), 1); }},
        {"a device has several values",
         [](Side &side) {
             side.measures[2].devices[0].values =
                 CountedValues(std::array{CountedValue{cli::key_of_real(1), 1}, CountedValue{cli::key_of_real(2), 1}});
         }},
        {"a device has several values",
         [](Side &side) { side.measures[2].devices[0].values = values(cli::key_of_real(-3), 2); }},
        {"a setting has no text", [](Side &side) { side.settings["SensorInfo gyro: model"] = {}; }},
        {"a device is not there, or not in ascending order",
         [](Side &side) { side.settings.begin()->second.back().first = 2; }},
        {"a device is not there, or not in ascending order",
         [](Side &side) { side.settings.begin()->second.back().first = 0; }},
    };
    EXPECT_EQ(refusal([](Side &) {}), "");
    for (const auto &[reason, change] : changes) {
        EXPECT_THAT(refusal(change), AllOf(HasSubstr("byte "), HasSubstr(reason)));
    }
}

} // namespace
