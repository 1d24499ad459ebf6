/** Properties and commands that are described by fields: the bytes they become, and what is wrong with bad ones. */
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/device/description.h"
#include "host/error.h"
#include "tests/host/device/written_description.h"

namespace {

using host_tests::WrittenDescription;

using Bytes = std::vector<std::byte>;

constexpr const char *kExample = SOURCE_FOLDER "/tests/data/typed-properties.toml";

/** Some bytes of a property, given as a text that may hold zeros. */
struct Part {
    std::size_t offset;
    std::string bytes;
};

/** `size` bytes, zero but for the parts. */
Bytes zeros_but(std::size_t size, const std::vector<Part> &parts) {
    Bytes bytes(size);
    for (const Part &part : parts) {
        std::ranges::transform(part.bytes, bytes.begin() + static_cast<std::ptrdiff_t>(part.offset),
                               [](char character) { return std::byte(character); });
    }
    return bytes;
}

Bytes bytes_of(const std::string &text) { return zeros_but(text.size(), {{0, text}}); }

/** The text of a literal with the zeros that it holds. */
template <std::size_t Size>
std::string raw(const char (&literal)[Size]) {
    return {literal, Size - 1};
}

Bytes example_property(const char *driver, std::uint32_t id) {
    return host::read_device_description(kExample).drivers.at(driver).properties.at(id).bytes;
}

/** Property `id` of a driver whose table, "driver.a", goes on with `text`. */
Bytes property_of(const std::string &text, std::uint32_t id) {
    const WrittenDescription written("name = 'x'\n[driver.a]\n" + text);
    return host::read_device_description(written.path()).drivers.at("a").properties.at(id).bytes;
}

TEST(PropertyBuilders, LatencyStatisticsAre330BytesWithEachFieldInItsPlace) {
    EXPECT_EQ(example_property("button", 215), zeros_but(330, {
                                                                  {0, raw("\x40\xf4\x4e\xad\x01\x00\x00\x00")},
                                                                  {8, std::string(8, '\xff')},
                                                                  {88, raw("\x88\xe2\x4f\xad\x01\x00\x00\x00")},
                                                                  {96, raw("\xf0\x1e\x51\xad\x01\x00\x00\x00")},
                                                                  {160, raw("\x90\x3c\x57\xad\x01\x00\x00\x00")},
                                                                  {184, raw("\x84\x03\x00\x00\x00\x00\x00\x00")},
                                                                  {192, raw("\x20\x03\x00\x00\x00\x00\x00\x00")},
                                                                  {233, raw("\x04\x00\x00\x00")},
                                                                  {322, raw("\x74\x21\x01\x00\x00\x00\x00\x00")},
                                                              }));
}

struct LatencyField {
    const char *name;
    const char *text;
    Part part;
};

class LatencyFields : public testing::TestWithParam<LatencyField> {};

TEST_P(LatencyFields, StandAloneInTheirPlace) {
    EXPECT_EQ(property_of(std::string("latency.") + GetParam().text, 215), zeros_but(330, {GetParam().part}));
}

const std::string kEightBytes = raw("\x08\x07\x06\x05\x04\x03\x02\x01");

const LatencyField kLatencyFields[] = {
    {"FingerOn", "finger_on = 0x0102030405060708", {0, kEightBytes}},
    {"FingerOff", "finger_off = 0x0102030405060708", {8, kEightBytes}},
    {"StartHaptic", "start_haptic = 0x0102030405060708", {16, kEightBytes}},
    {"FingerDetect", "finger_detect_to_button_down = 0x0102030405060708", {24, kEightBytes}},
    {"LastEdge", "click = [{}, {}, { edge = { up = 0x0102030405060708 } }]", {128, kEightBytes}},
    {"LastPlayAsset", "click = [{}, {}, { play_asset = { up = 0x0102030405060708 } }]", {176, kEightBytes}},
    {"LastLatency", "click = [{}, {}, { latency = { up = 0x0102030405060708 } }]", {224, kEightBytes}},
    {"ClickFlag", "click_flag = true", {233, "\x01"}},
    {"LargestClickCount", "click_count = 0x7fffffff", {233, "\xfe\xff\xff\xff"}},
    {"SecondScan", "second_scan = 0x0102030405060708", {266, kEightBytes}},
    {"TurtleScans", "turtle_scans = 0xffffffff", {274, "\xff\xff\xff\xff"}},
    {"MinNzFDToBD", "min_nz_latency_FD_to_BD = 0x0102030405060708", {282, kEightBytes}},
    {"MaxFDToBD", "max_latency_FD_to_BD = 0x0102030405060708", {290, kEightBytes}},
    {"MinNzBCToPlayAsset", "min_nz_latency_BC_to_PlayAsset = 0x0102030405060708", {298, kEightBytes}},
    {"MaxBCToPlayAsset", "max_latency_BC_to_PlayAsset = 0x0102030405060708", {306, kEightBytes}},
    {"MinTotal", "min_latency_Total = 0x0102030405060708", {314, kEightBytes}},
    {"MaxTotal", "max_latency_Total = 0x0102030405060708", {322, kEightBytes}},
};

INSTANTIATE_TEST_SUITE_P(PropertyBuilders, LatencyFields, testing::ValuesIn(kLatencyFields),
                         [](const auto &row) { return row.param.name; });

TEST(PropertyBuilders, ClickFlagAndClickCountShareTheirWord) {
    EXPECT_EQ(property_of("latency = { click_count = 3, click_flag = true }", 215), zeros_but(330, {{233, "\x07"}}));
}

TEST(PropertyBuilders, AssetsAre3SpeedsOf17EventsOf29Bytes) {
    EXPECT_EQ(example_property("button", 216),
              zeros_but(1479, {
                                  // Slow-SingleDown: enable, gain, maximum and slot.
                                  {0, raw("\x01\x00\x80\x00\x00")},
                                  {13, raw("\x78\x00\x00\x00\x00\x00\x00\x00")},
                                  {21, raw("\x04\x00\x00\x00")},
                                  // The last entry, 1450 = 50 * 29: enable, gain, minimum and slot.
                                  {1450, raw("\x02\x00\xc0\xfe\xff")},
                                  {1455, std::string(8, '\xff')},
                                  {1471, "\xfe\xff\xff\xff"},
                              }));
}

TEST(PropertyBuilders, EveryEventHasItsEntryInEverySpeed) {
    const char *const speeds[] = {"Slow", "Medium", "Fast"};
    const char *const events[] = {"SingleDown",  "SingleUp",     "DoubleDown",   "DoubleUp",    "TripleDown",
                                  "TripleUp",    "SingleTapOn",  "SingleTapOff", "DoubleTapOn", "DoubleTapOff",
                                  "TripleTapOn", "TripleTapOff", "DeepDown",     "DeepUp",      "LongPress",
                                  "LongPressUp", "unnamed"};
    std::size_t offset = 0;
    for (const char *speed : speeds) {
        for (const char *event : events) {
            const std::string key = std::string("assets.") + speed + "." + event;
            EXPECT_EQ(property_of(key + ".enable = 255", 216), zeros_but(1479, {{offset, "\xff"}})) << key;
            offset += 29;
        }
    }
}

struct Gain {
    const char *name;
    const char *text;
    std::string bytes;
};

class Gains : public testing::TestWithParam<Gain> {};

TEST_P(Gains, HaveSixteenFractionBits) {
    EXPECT_EQ(property_of(std::string("assets.Slow.SingleDown.gain = ") + GetParam().text, 216),
              zeros_but(1479, {{1, GetParam().bytes}}));
}

const Gain kGains[] = {
    {"Whole", "1", raw("\x00\x00\x01\x00")},
    {"Fraction", "0.75", raw("\x00\xc0\x00\x00")},
    {"Negative", "-0.5", raw("\x00\x80\xff\xff")},
    {"SmallestStepAsRecordsShowIt", "0.000015", raw("\x01\x00\x00\x00")}, // 1/65536 = 0.0000152...
    {"Smallest", "-32768", raw("\x00\x00\x00\x80")},
    {"Largest", "32767.999985", raw("\xff\xff\xff\x7f")},
};

INSTANTIATE_TEST_SUITE_P(PropertyBuilders, Gains, testing::ValuesIn(kGains),
                         [](const auto &row) { return row.param.name; });

struct SensorProperty {
    const char *name;
    std::uint32_t id;
    Bytes bytes;
};

class SensorProperties : public testing::TestWithParam<SensorProperty> {};

TEST_P(SensorProperties, OfTheExampleBecomeTheirBytes) {
    EXPECT_EQ(example_property("accel", GetParam().id), GetParam().bytes);
}

const SensorProperty kSensorProperties[] = {
    {"ReportInterval", 0, bytes_of(raw("\x10\x27\x00\x00"))},
    {"Manufacturer", 15, zeros_but(32, {{0, "Kalvis"}})},
    {"Location", 68, bytes_of("L\xfe\xff\xff\xff")},
    {"BatchIntervals", 67, zeros_but(20, {{0, "\x01"}, {4, "\x02"}, {8, "\x03"}, {12, "\x04"}, {16, "\x05"}})},
    {"CalibrationMatrix", 11,
     // 1, 1.5 and -240/65536 on the diagonal.
     zeros_but(36, {{0, raw("\x00\x00\x01\x00")}, {16, raw("\x00\x80\x01\x00")}, {32, "\x10\xff\xff\xff"}})},
    {"CalibrationOffset", 26, bytes_of(raw("\x0c\x00\x00\x00\xf9\xff\xff\xff\x03\x00\x00\x00"))},
    {"OrientationMatrix", 24, bytes_of(raw("\x00\x01\x00\xff\x00\x00\x00\x00\x01"))},
    {"Registers", 56, bytes_of(raw("\x02\x00\x00\x00\x0f\x00\x31\x00\x20\x00\x34\x12"))},
    {"Extra57", 57,
     bytes_of(raw("\x02"
                  "ab\x00\x03\x00\xfb\xff\xff\xff"))},
    {"Extra58", 58, bytes_of(raw("\x04\x01\x01\x00\x00\x00\x00\x00\x00\x80\x05"))},
};

INSTANTIATE_TEST_SUITE_P(PropertyBuilders, SensorProperties, testing::ValuesIn(kSensorProperties),
                         [](const auto &row) { return row.param.name; });

struct Identifier {
    const char *key;
    const char *value;
    std::uint32_t id;
    std::size_t size;
};

TEST(PropertyBuilders, EveryKeyOfASensorIsOneProperty) {
    const Identifier identifiers[] = {
        {"report_interval", "1", 0, 4},
        {"raw_mode", "1", 10, 4},
        {"calibration_matrix", "[[0, 0, 0], [0, 0, 0], [0, 0, 0]]", 11, 36},
        {"factory_mode", "1", 13, 4},
        {"manufacturer", "''", 15, 32},
        {"model", "''", 16, 32},
        {"orientation_matrix", "[[0, 0, 0], [0, 0, 0], [0, 0, 0]]", 24, 9},
        {"int_cal", "1", 25, 4},
        {"calibration_offset", "[0, 0, 0]", 26, 12},
        {"compass_matrix", "[[0, 0, 0], [0, 0, 0], [0, 0, 0]]", 29, 36},
        {"decimation_enabled", "1", 36, 4},
        {"startup_time", "1", 45, 4},
        {"registers", "{}", 56, 4},
        {"extra_57", "[]", 57, 0},
        {"extra_58", "[]", 58, 0},
        {"extra_59", "[]", 59, 0},
        {"extra_60", "[]", 60, 0},
        {"calibration_complete", "1", 61, 4},
        {"systick_interval", "1", 64, 4},
        {"batch_intervals", "{}", 67, 20},
        {"location", "{}", 68, 5},
    };
    for (const Identifier &identifier : identifiers) {
        const WrittenDescription written(std::string("name = 'x'\n[driver.a.sensor]\n") + identifier.key + " = " +
                                         identifier.value);
        const auto driver = host::read_device_description(written.path()).drivers.at("a");
        ASSERT_EQ(driver.properties.size(), 1u) << identifier.key;
        EXPECT_EQ(driver.properties.begin()->first, identifier.id) << identifier.key;
        EXPECT_EQ(driver.properties.begin()->second.bytes.size(), identifier.size) << identifier.key;
    }
}

TEST(PropertyBuilders, WhatIsNotDescribedIsNoProperty) {
    const WrittenDescription written("name = 'x'\n[driver.a]\nsensor = {}");

    const host::DeviceDescription description = host::read_device_description(written.path());

    EXPECT_TRUE(description.drivers.at("a").properties.empty());
    EXPECT_TRUE(description.drivers.at("a").commands.empty());
}

TEST(PropertyBuilders, TextMayFillItsWidthWithoutAZeroByte) {
    const std::string model(32, 'm');

    EXPECT_EQ(property_of("sensor.model = '" + model + "'", 16), bytes_of(model));
}

TEST(PropertyBuilders, RegisterCountMayLie) {
    EXPECT_EQ(property_of("sensor.registers = { count = 0xFFFFFFFF, entry = [{ register = 1 }] }", 56),
              bytes_of(raw("\xff\xff\xff\xff\x01\x00\x00\x00")));
}

TEST(PropertyBuilders, ExtraDataMayFill256Bytes) {
    // Tag, 254 characters and the zero byte.
    const std::string text(254, 'e');

    EXPECT_EQ(property_of("sensor.extra_60 = [{ text = '" + text + "' }]", 60), bytes_of("\x02" + text + '\0'));
}

TEST(PropertyBuilders, ClientsAreRecordsOf31Bytes) {
    const host::DeviceDescription description = host::read_device_description(kExample);

    EXPECT_EQ(description.drivers.at("accel").commands.at(57).bytes, zeros_but(31, {
                                                                                       {0, "motion"},
                                                                                       {12, "\x10\x27"},
                                                                                       {16, "\x40\x9c"},
                                                                                       {20, "\xff\xff\xff\xff"},
                                                                                       {24, "\x03"},
                                                                                       {28, "\x01"},
                                                                                   }));
}

TEST(PropertyBuilders, NoClientsAreAnAnswerWithoutBytes) {
    const WrittenDescription written("name = 'x'\n[driver.a]\nclient = []");

    const host::DeviceDescription description = host::read_device_description(written.path());

    EXPECT_EQ(description.drivers.at("a").commands.at(57).status, 0u);
    EXPECT_TRUE(description.drivers.at("a").commands.at(57).bytes.empty());
}

TEST(PropertyBuilders, ClientsMayBe16AndFollowEachOther) {
    std::string text;
    std::vector<Part> parts;
    for (std::size_t i = 0; i < 16; ++i) {
        text += "{ name = 'twelve-bytes', in_use = 7 },";
        parts.push_back({31 * i, "twelve-bytes"});
        parts.push_back({31 * i + 28, "\x07"});
    }
    const WrittenDescription written("name = 'x'\n[driver.a]\nclient = [" + text + "]");

    const host::DeviceDescription description = host::read_device_description(written.path());

    EXPECT_EQ(description.drivers.at("a").commands.at(57).bytes, zeros_but(496, parts));
}

struct BadFields {
    const char *name;
    std::string text; ///< after "name = 'x'" and "[driver.a]", so from line 3 on
    std::string error;
};

class BadFieldDescriptions : public testing::TestWithParam<BadFields> {};

TEST_P(BadFieldDescriptions, GiveOneErrorThatNamesTheFieldAndItsPlace) {
    const WrittenDescription written("name = 'x'\n[driver.a]\n" + GetParam().text);

    try {
        host::read_device_description(written.path());
        FAIL() << "read";
    } catch (const host::Error &error) {
        EXPECT_EQ(error.what(), written.path() + ": " + GetParam().error);
    }
}

std::string repeated(const std::string &text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

const BadFields kBadFields[] = {
    {"LatencyIsNoTable", "latency = 5", "line 3, column 11: \"latency\" must be a table, not an integer"},
    {"UnknownLatencyField", "latency.finger_onn = 5",
     "line 3, column 9: unknown key \"finger_onn\" of the latency statistics; did you mean \"finger_on\"?"},
    {"NegativeTime", "latency.finger_on = -5",
     "line 3, column 21: \"finger_on\" must be 0 to 0xffffffffffffffff, not -5"},
    {"TimeIsAFloat", "latency.finger_on = 5.5",
     "line 3, column 21: \"finger_on\" must be a number, not a floating-point number"},
    {"TimeIsNoHexText", "latency.finger_on = '5'",
     "line 3, column 21: \"finger_on\" must be a number, or as text \"0x\" and up to 16 hex digits, not \"5\""},
    {"ClickCountOf32Bits", "latency.click_count = 0x8000_0000",
     "line 3, column 23: \"click_count\" must be 0 to 0x7fffffff, not 0x80000000"},
    {"ClickFlagIsANumber", "latency.click_flag = 1",
     "line 3, column 22: \"click_flag\" must be a boolean, not an integer"},
    {"TurtleScansOf33Bits", "latency.turtle_scans = 0x1_0000_0000",
     "line 3, column 24: \"turtle_scans\" must be 0 to 0xffffffff, not 0x100000000"},
    {"ClickIsNoArray", "latency.click = {}", "line 3, column 17: \"click\" must be an array of tables, not a table"},
    {"FourClicks", "latency.click = [{}, {}, {}, {}]", "line 3, column 30: \"click\" must have at most 3 elements"},
    {"UnknownClickField", "latency.click = [{ edges = {} }]",
     "line 3, column 20: unknown key \"edges\" of a click; did you mean \"edge\"?"},
    {"UnknownEdge", "latency.click = [{ edge = { dwn = 1 } }]",
     "line 3, column 29: unknown key \"dwn\" of \"edge\" of a click; did you mean \"down\"?"},
    {"EdgeIsNoTable", "latency.click = [{ latency = 900 }]",
     "line 3, column 30: \"latency\" must be a table, not an integer"},
    {"UnknownSpeed", "assets.Slwo = {}",
     "line 3, column 8: unknown key \"Slwo\" of the assets; did you mean \"Slow\"?"},
    {"UnknownEvent", "assets.Fast.SingleDwn = {}",
     "line 3, column 13: unknown key \"SingleDwn\" of the assets \"Fast\"; did you mean \"SingleDown\"?"},
    {"UnknownAssetField", "assets.Fast.DeepUp = { gian = 1 }",
     "line 3, column 24: unknown key \"gian\" of an asset; did you mean \"gain\"?"},
    {"EnableBeyondAByte", "assets.Fast.DeepUp = { enable = 256 }",
     "line 3, column 33: \"enable\" must be 0 to 0xff, not 0x100"},
    {"EnableIsAText", "assets.Fast.DeepUp = { enable = 'yes' }",
     "line 3, column 33: \"enable\" must be a number, or as text \"0x\" and up to 16 hex digits, not \"yes\""},
    {"GainIsAText", "assets.Fast.DeepUp = { gain = '1' }",
     "line 3, column 31: \"gain\" must be a decimal number, not a text"},
    {"GainBetweenTwoSteps", "assets.Fast.DeepUp = { gain = 0.1 }",
     "line 3, column 31: \"gain\" must be a multiple of 1/65536 to six decimals; the nearest to 0.1 is 0.100006"},
    {"GainJustOffAStep", "assets.Fast.DeepUp = { gain = 0.500001 }",
     "line 3, column 31: \"gain\" must be a multiple of 1/65536 to six decimals; the nearest to 0.500001 is 0.500000"},
    {"GainTooLarge", "assets.Fast.DeepUp = { gain = 32768 }",
     "line 3, column 31: \"gain\" must be -32768.000000 to 32767.999985, not 32768"},
    {"GainTooSmall", "assets.Fast.DeepUp = { gain = -32768.5 }",
     "line 3, column 31: \"gain\" must be -32768.000000 to 32767.999985, not -32768.5"},
    {"GainIsInfinite", "assets.Fast.DeepUp = { gain = inf }",
     "line 3, column 31: \"gain\" must be -32768.000000 to 32767.999985, not inf"},
    {"GainIsNoNumber", "assets.Fast.DeepUp = { gain = nan }",
     "line 3, column 31: \"gain\" must be -32768.000000 to 32767.999985, not nan"},
    {"SlotOf33Bits", "assets.Fast.DeepUp = { slot = 2147483648 }",
     "line 3, column 31: \"slot\" must be -2147483648 to 2147483647, not 2147483648"},
    {"UnknownSensorProperty", "sensor.report_intervall = 1",
     "line 3, column 8: unknown key \"report_intervall\" of a sensor; did you mean \"report_interval\"?"},
    {"WordIsAText", "sensor.raw_mode = true", "line 3, column 19: \"raw_mode\" must be a number, not a boolean"},
    {"ManufacturerTooLong", "sensor.manufacturer = '" + std::string(33, 'm') + "'",
     "line 3, column 23: \"manufacturer\" holds 33 bytes, more than its 32"},
    {"ModelWithAZero", "sensor.model = \"a\\u0000b\"", "line 3, column 16: \"model\" cannot hold a zero character"},
    {"LocationOfTwoCharacters", "sensor.location = { name = 'LL' }",
     "line 3, column 28: \"name\" holds 2 bytes, more than its 1"},
    {"UnknownBatchInterval", "sensor.batch_intervals = { app = 1 }",
     "line 3, column 28: unknown key \"app\" of the batch intervals; did you mean \"ap\"?"},
    {"MatrixOfTwoRows", "sensor.calibration_matrix = [[1, 0, 0], [0, 1, 0]]",
     "line 3, column 29: \"calibration_matrix\" must have 3 elements here, not 2"},
    {"MatrixRowOfFour", "sensor.compass_matrix = [[1, 0, 0], [0, 1, 0], [0, 0, 1, 0]]",
     "line 3, column 48: \"compass_matrix\" must have 3 elements here, not 4"},
    {"MatrixRowIsANumber", "sensor.compass_matrix = [1, 0, 0]",
     "line 3, column 26: \"compass_matrix\" must be an array of 3 numbers, not an integer"},
    {"OrientationBeyondAByte", "sensor.orientation_matrix = [[0, 0, 128], [0, 0, 0], [0, 0, 0]]",
     "line 3, column 37: \"orientation_matrix\" must be -128 to 127, not 128"},
    {"OffsetIsAFloat", "sensor.calibration_offset = [0.5, 0, 0]",
     "line 3, column 30: \"calibration_offset\" must be a number, not a floating-point number"},
    {"RegisterBeyond16Bits", "sensor.registers = { entry = [{ value = 0x1_0000 }] }",
     "line 3, column 41: \"value\" must be 0 to 0xffff, not 0x10000"},
    {"32Registers", "sensor.registers = { entry = [" + repeated("{}, ", 32) + "] }",
     "line 3, column 155: \"entry\" must have at most 31 elements"},
    {"ExtraDataIsNoArray", "sensor.extra_57 = 'text'",
     "line 3, column 19: \"extra_57\" must be an array of items, not a text"},
    {"ExtraDataHoldsANumber", "sensor.extra_57 = [5]",
     "line 3, column 20: \"extra_57\" must be a table, not an integer"},
    {"UnknownItem", "sensor.extra_57 = ['hexdecimal']",
     "line 3, column 20: \"extra_57\" has no item \"hexdecimal\"; did you mean \"hexadecimal\"?"},
    {"UnknownItemWithAValue", "sensor.extra_57 = [{ s16 = 5 }]",
     "line 3, column 22: unknown key \"s16\" of an item of extra data; did you mean \"s32\"?"},
    {"ItemOfTwoKinds", "sensor.extra_57 = [{ s32 = 5, s64 = 5 }]",
     "line 3, column 20: \"extra_57\" must have items with one of the keys \"text\", \"s32\" and \"s64\""},
    {"ItemOfNoKind", "sensor.extra_57 = [{}]",
     "line 3, column 20: \"extra_57\" must have items with one of the keys \"text\", \"s32\" and \"s64\""},
    {"Number32OutOfRange", "sensor.extra_57 = [{ s32 = -2147483649 }]",
     "line 3, column 28: \"s32\" must be -2147483648 to 2147483647, not -2147483649"},
    {"TextWithAZero", "sensor.extra_57 = [{ text = \"\\u0000\" }]",
     "line 3, column 29: \"text\" cannot hold a zero character"},
    {"ExtraDataTooLong", "sensor.extra_60 = [{ text = '" + std::string(254, 'e') + "' }, 'decimal']",
     "line 3, column 289: \"extra_60\" must make at most 256 bytes; this item ends at byte 257"},
    {"ClientIsATable", "client = {}", "line 3, column 10: \"client\" must be an array of tables, not a table"},
    {"ClientHoldsANumber", "client = [5]", "line 3, column 11: \"client\" must be a table, not an integer"},
    {"17Clients", "client = [" + repeated("{}, ", 17) + "]",
     "line 3, column 75: \"client\" must have at most 16 elements"},
    {"UnknownClientField", "client = [{ inuse = true }]",
     "line 3, column 13: unknown key \"inuse\" of a client; did you mean \"in_use\"?"},
    {"ClientNameTooLong", "client = [{ name = 'thirteen-char' }]",
     "line 3, column 20: \"name\" holds 13 bytes, more than its 12"},
    {"LatencyAsFieldsAndBytes", "property = [{ id = 215, hex = '00' }]\nlatency = {}",
     "line 4, column 11: \"latency\" describes property 215, which a \"property\" describes already"},
    {"AssetsAsFieldsAndBytes", "assets = {}\nproperty = [{ id = 216, hex = '00' }]",
     "line 3, column 10: \"assets\" describes property 216, which a \"property\" describes already"},
    {"SensorPropertyAsFieldsAndBytes", "property = [{ id = 15, hex = '00' }]\nsensor.manufacturer = 'Kalvis'",
     "line 4, column 23: \"manufacturer\" describes property 15, which a \"property\" describes already"},
    {"ClientsAsFieldsAndBytes", "command = [{ selector = 57 }]\nclient = []",
     "line 4, column 10: \"client\" describes command 57, which a \"command\" describes already"},
};

INSTANTIATE_TEST_SUITE_P(PropertyBuilders, BadFieldDescriptions, testing::ValuesIn(kBadFields),
                         [](const auto &row) { return "Of" + std::string(row.param.name); });

} // namespace
