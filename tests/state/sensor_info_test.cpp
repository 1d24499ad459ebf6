// The sensor information snapshot.

#include "tests/state/snapshot_fixture.h"

namespace plug_in_tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Key;
using testing::Not;
using testing::SizeIs;

class SensorInfo : public SnapshotTest {
protected:
    SensorInfo() {
        properties[0].bytes = Bytes().s32(10'000);
        commands[57] = {};
    }

    std::vector<host::StateRecord> ask() { return read_back(plug_in->stateHandler_SensorInfo(&kHints, context)); }

    /** All entries of the snapshot; empty if there is no record. */
    Entries snapshot() {
        auto records = ask();
        if (records.empty()) {
            return {};
        }
        EXPECT_EQ(records[0].title, "SensorInfo");
        return entries(records[0].payload.get());
    }

    /** One entry, or "(absent)". */
    std::string value(const std::string &key) {
        const Entries all = snapshot();
        const auto entry = all.find(key);
        return entry == all.end() ? "(absent)" : entry->second;
    }

    static Bytes client(const std::string &name, int32_t report, int32_t batch, int32_t threshold, int32_t limit,
                        uint8_t in_use) {
        return Bytes().text(name, 12).s32(report).s32(batch).s32(threshold).s32(limit).u8(in_use).u16(0xEEEE);
    }

    static Bytes join(std::initializer_list<Bytes> parts) {
        Bytes all;
        for (const Bytes &part : parts) {
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }
};

TEST_F(SensorInfo, HoldsDefaultsWhenTheDriverHasOnlyTheReportInterval) {
    const Entries expected = {
        {"reportInterval", "10000"},
        {"sensorType", "QOR interface"},
        {"manufacturer", ""},
        {"model", ""},
        {"location", "N/A"},
        {"systickInterval", "-1"},
        {"decimationEnabled", "-1"},
        {"sensorBatchInterval", "0"},
        {"muxBatchInterval", "0"},
        {"apBatchInterval", "0"},
        {"apReportInterval", "0"},
        {"endpointBatchCount", "0"},
        {"rawMode", "-1"},
        {"factoryMode", "-1"},
        {"calibrationComplete", "-1"},
        {"startupTime", "-1"},
        {"intCal", "-1"},
        {"calibrationMatrix", "0.000000 0.000000 0.000000 | 0.000000 0.000000 0.000000 | 0.000000 0.000000 0.000000"},
        {"calibrationOffset", "0 0 0"},
        {"orientationMatrix", "0 0 0, 0 0 0, 0 0 0"},
        {"compassSensitivityCalibrationMatrix",
         "0.000000 0.000000 0.000000 | 0.000000 0.000000 0.000000 | 0.000000 0.000000 0.000000"},
        {"registers", ""},
        {"APEvents", "-1 [enqueued=-1 dropped=-1; event_delta=0.000000 dropped_delta=0.000000]\n"},
    };

    EXPECT_EQ(snapshot(), expected);
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(SensorInfo, HoldsEachPropertyUnderItsKey) {
    const std::pair<uint32_t, const char *> words[] = {
        {64, "systickInterval"},     {36, "decimationEnabled"}, {10, "rawMode"}, {13, "factoryMode"},
        {61, "calibrationComplete"}, {45, "startupTime"},       {25, "intCal"}};
    for (const auto &[property, key] : words) {
        properties[property].bytes = Bytes().s32(static_cast<int32_t>(1000 + property));
    }
    properties[15].bytes = Bytes().text("Maker", 32);
    properties[16].bytes = Bytes().text("Model 5", 32);
    properties[68].bytes = Bytes().u8('B').s32(2);
    properties[67].bytes = Bytes().s32(1).s32(2).s32(3).s32(4).s32(5);
    properties[11].bytes = Bytes().s32(65536).s32(-65536).s32(1).s32(4).s32(5).s32(6).s32(7).s32(8).s32(INT32_MIN);
    properties[26].bytes = Bytes().s32(-1).s32(2).s32(INT32_MAX);
    properties[24].bytes = {1, 0, 0, 0, 0xFF, 0, 0, 0, 0x80};
    properties[29].bytes = Bytes().s32(32768).s32(0).s32(0).s32(0).s32(0).s32(0).s32(0).s32(0).s32(0);

    const Entries all = snapshot();

    for (const auto &[property, key] : words) {
        EXPECT_EQ(all.at(key), std::to_string(1000 + property)) << key;
    }
    EXPECT_EQ(all.at("manufacturer"), "Maker");
    EXPECT_EQ(all.at("model"), "Model 5");
    EXPECT_EQ(all.at("location"), "B alternate=2");
    EXPECT_EQ(all.at("sensorBatchInterval"), "1");
    EXPECT_EQ(all.at("muxBatchInterval"), "2");
    EXPECT_EQ(all.at("apBatchInterval"), "3");
    EXPECT_EQ(all.at("apReportInterval"), "4");
    EXPECT_EQ(all.at("endpointBatchCount"), "5");
    EXPECT_EQ(all.at("calibrationMatrix"), "1.000000 -1.000000 0.000015 | 0.000061 0.000076 0.000092 | "
                                           "0.000107 0.000122 -32768.000000");
    EXPECT_EQ(all.at("calibrationOffset"), "-1 2 2147483647");
    EXPECT_EQ(all.at("orientationMatrix"), "1 0 0, 0 -1 0, 0 0 -128");
    EXPECT_THAT(all.at("compassSensitivityCalibrationMatrix"), testing::StartsWith("0.500000 0.000000 "));
    EXPECT_EQ(reads[67], 1);
}

TEST_F(SensorInfo, ReadsEachOfItsPropertiesOnceAndNoOther) {
    snapshot();

    std::map<uint32_t, int> expected;
    constexpr uint32_t kProperties[] = {0,  10, 11, 13, 15, 16, 24, 25, 26, 29, 36,
                                        45, 56, 57, 58, 59, 60, 61, 64, 67, 68};
    for (uint32_t property : kProperties) {
        expected[property] = 1;
    }
    EXPECT_EQ(reads, expected);
}

TEST_F(SensorInfo, OffersEachPropertyAndTheClientsTheirCapacity) {
    snapshot();

    const std::map<uint32_t, std::size_t> expected = {
        {0, 4},  {10, 4},   {11, 36},  {13, 4},   {15, 32},  {16, 32},  {24, 9}, {25, 4}, {26, 12}, {29, 36}, {36, 4},
        {45, 4}, {56, 128}, {57, 256}, {58, 256}, {59, 256}, {60, 256}, {61, 4}, {64, 4}, {67, 20}, {68, 5}};
    EXPECT_EQ(property_capacities, expected);
    EXPECT_EQ(command_capacities, (std::map<uint32_t, std::size_t>{{57, 496}}));
}

/** 1, 2, 3, ... with 16 fraction bits: the row-by-row numbers of a matrix. */
Bytes counting_matrix(int first) {
    Bytes bytes;
    for (int element = 0; element < 9; ++element) {
        bytes.s32((first + element) * 65536);
    }
    return bytes;
}

TEST_F(SensorInfo, PrintsEachMatrixRowByRow) {
    properties[11].bytes = counting_matrix(1);
    properties[29].bytes = counting_matrix(11);
    properties[24].bytes = {1, 2, 3, 4, 5, 6, 7, 127, 0x80};

    const Entries all = snapshot();

    EXPECT_EQ(all.at("calibrationMatrix"), "1.000000 2.000000 3.000000 | 4.000000 5.000000 6.000000 | "
                                           "7.000000 8.000000 9.000000");
    EXPECT_EQ(all.at("compassSensitivityCalibrationMatrix"),
              "11.000000 12.000000 13.000000 | 14.000000 15.000000 16.000000 | 17.000000 18.000000 19.000000");
    EXPECT_EQ(all.at("orientationMatrix"), "1 2 3, 4 5 6, 7 127 -128");
}

TEST_F(SensorInfo, ReadsAnUnterminatedNameToItsCapacity) {
    properties[15].bytes = Bytes().text(std::string(40, 'm'), 40);

    EXPECT_EQ(value("manufacturer"), std::string(32, 'm'));
}

TEST_F(SensorInfo, LeavesOutTextThatIsNotASCII) {
    properties[15].bytes = Bytes().text("caf\xC3\xA9", 32);
    properties[68].bytes = Bytes().u8(0x80).s32(2);

    const Entries all = snapshot();

    EXPECT_THAT(all, Not(Contains(Key("manufacturer"))));
    EXPECT_THAT(all, Not(Contains(Key("location"))));
    EXPECT_THAT(all, Contains(Key("model")));
}

TEST_F(SensorInfo, DetectsAMissingLocationByItsCharacterAlone) {
    properties[68].bytes = Bytes().u8(0).s32(7);
    EXPECT_EQ(value("location"), "N/A");

    properties[68].bytes = Bytes().u8('L').s32(-7);
    EXPECT_EQ(value("location"), "L alternate=-7");
}

// ---- registers

Bytes registers(uint32_t count) {
    Bytes bytes = Bytes().s32(static_cast<int32_t>(count));
    for (unsigned entry = 0; entry < 31; ++entry) {
        bytes.u16(0x10 + entry).u16(0x80 + entry);
    }
    return bytes;
}

struct RegisterCount {
    uint32_t count;
    const char *text;
};

class Registers : public SensorInfo, public testing::WithParamInterface<RegisterCount> {};

TEST_P(Registers, PrintEverySecondEntryBelowTheCount) {
    properties[56].bytes = registers(GetParam().count);

    EXPECT_EQ(value("registers"), GetParam().text);
}

constexpr const char *kAllRegisters = "R10=80 R12=82 R14=84 R16=86 R18=88 R1a=8a R1c=8c R1e=8e R20=90 R22=92 R24=94 "
                                      "R26=96 R28=98 R2a=9a R2c=9c R2e=9e ";

INSTANTIATE_TEST_SUITE_P(Counts, Registers,
                         testing::Values(RegisterCount{0, ""}, RegisterCount{1, "R10=80 "}, RegisterCount{2, "R10=80 "},
                                         RegisterCount{3, "R10=80 R12=82 "}, RegisterCount{31, kAllRegisters},
                                         RegisterCount{32, kAllRegisters}, RegisterCount{33, kAllRegisters},
                                         RegisterCount{4294967295u, kAllRegisters}));

TEST_F(SensorInfo, PrintsTheLargestRegistersInFull) {
    properties[56].bytes = Bytes().s32(31);
    properties[56].bytes.resize(128, 0xFF);

    EXPECT_EQ(value("registers").size(), 16u * 11u);
}

// ---- extra data

TEST_F(SensorInfo, NumbersExtraLinesAcrossTheFourProperties) {
    properties[57].bytes = Bytes({2, 'a', 0, 3, 2, 'b', 0});
    properties[59].bytes = Bytes({2, 'c', 0, 3});
    properties[60].bytes = Bytes({0, 5, 0, 0, 0});

    const Entries all = snapshot();

    EXPECT_EQ(all.at("extra0"), "a");
    EXPECT_EQ(all.at("extra1"), "b");
    EXPECT_EQ(all.at("extra2"), "c"); // the mark at the end of property 59 does not carry over to the next property
    EXPECT_EQ(all.at("extra3"), "5");
    EXPECT_THAT(all, Not(Contains(Key("extra4"))));
}

TEST_F(SensorInfo, StartsEachPropertyInDecimal) {
    properties[57].bytes = Bytes({4, 0, 255, 0, 0, 0});
    properties[58].bytes = Bytes({0, 255, 0, 0, 0});

    const Entries all = snapshot();

    EXPECT_EQ(all.at("extra0"), "ff");
    EXPECT_EQ(all.at("extra1"), "255");
}

TEST_F(SensorInfo, CountsAnExtraLineThatIsNotASCIIAndLeavesItOut) {
    properties[57].bytes = Bytes({2, 0x80, 0, 3, 2, 'b', 0});

    const Entries all = snapshot();

    EXPECT_THAT(all, Not(Contains(Key("extra0"))));
    EXPECT_EQ(all.at("extra1"), "b");
}

TEST_F(SensorInfo, IgnoresExtraDataOfAFailingRead) {
    properties[57] = {.status = 0xE00002BC, .bytes = Bytes({2, 'a', 0}), .reported_size = 3};

    EXPECT_THAT(snapshot(), Not(Contains(Key("extra0"))));
}

TEST_F(SensorInfo, IgnoresExtraDataOfReportedLengthZero) {
    properties[57] = {.status = 0, .bytes = Bytes({2, 'a', 0}), .reported_size = 0};

    EXPECT_THAT(snapshot(), Not(Contains(Key("extra0"))));
}

// ---- clients

TEST_F(SensorInfo, ListsClientsInUseUnderTheirRecordNumbers) {
    commands[57].bytes = join({client("idle", 1, 2, 3, 4, 0), client("compass", 10000, -1, 3, 4, 1)});
    ASSERT_THAT(commands[57].bytes, SizeIs(62));

    const Entries all = snapshot();

    EXPECT_THAT(all, Not(Contains(Key("client0"))));
    EXPECT_EQ(all.at("client1"), "compass: report=10000 batch=-1 threshold=3 timelimit=4");
}

TEST_F(SensorInfo, ReadsEachFieldOfAllSixteenClients) {
    for (int number = 0; number < 16; ++number) {
        const Bytes record = client("client-" + std::to_string(number), 0x01000000 + number, 0x02000000 + number,
                                    -0x03000000 - number, 0x04000000 + number, 1);
        commands[57].bytes.insert(commands[57].bytes.end(), record.begin(), record.end());
    }
    ASSERT_THAT(commands[57].bytes, SizeIs(16 * 31));

    const Entries all = snapshot();

    for (int number = 0; number < 16; ++number) {
        const std::string digits = std::to_string(number);
        EXPECT_EQ(all.at("client" + digits), "client-" + digits + ": report=" + std::to_string(0x01000000 + number) +
                                                 " batch=" + std::to_string(0x02000000 + number) +
                                                 " threshold=" + std::to_string(-0x03000000 - number) +
                                                 " timelimit=" + std::to_string(0x04000000 + number));
    }
}

TEST_F(SensorInfo, IgnoresAPartialClientRecord) {
    commands[57].bytes = client("compass", 1, 2, 3, 4, 1);
    commands[57].bytes.resize(30);

    EXPECT_THAT(snapshot(), Not(Contains(Key("client0"))));
}

TEST_F(SensorInfo, ReadsAnUnterminatedClientNameToItsCapacity) {
    commands[57].bytes = client("twelve-chars-and-more", 1, 2, 3, 4, 255);

    EXPECT_EQ(value("client0"), "twelve-chars: report=1 batch=2 threshold=3 timelimit=4");
}

TEST_F(SensorInfo, ReadsNoFurtherThanSixteenClients) {
    for (std::size_t lie : {std::size_t{497}, std::size_t{100'000}, SIZE_MAX}) {
        commands[57].bytes.assign(496, 'x'); // no zero anywhere
        commands[57].reported_size = lie;

        const Entries all = snapshot();

        EXPECT_THAT(all, Contains(Key("client15")));
        EXPECT_THAT(all, Not(Contains(Key("client16"))));
        EXPECT_THAT(all.at("client0"), testing::StartsWith("xxxxxxxxxxxx: report=2021161080 "));
    }
}

TEST_F(SensorInfo, FailsWhenTheClientsCannotBeRead) {
    commands[57].status = kRvStatusNotReady;

    EXPECT_THAT(ask(), IsEmpty());

    ASSERT_THAT(lines(), SizeIs(2));
    EXPECT_THAT(lines()[0], assertion_line("result == 0 ", "e00002d8"));
    EXPECT_EQ(lines()[1], std::string(": Kelmarks: result == 0 , ") + RvStatusGetText(kRvStatusNotReady) +
                              " file: plugin/OndreQORHIDStatistics.cpp, line: 1012 value:e00002d8");
}

// ---- failures of the whole snapshot

TEST_F(SensorInfo, FailsWithoutADriverInterface) {
    Context bare{};

    EXPECT_THAT(read_back(plug_in->stateHandler_SensorInfo(&kHints, &bare)), IsEmpty());

    EXPECT_THAT(lines(), ElementsAre(": Kelmarks: context->_driver._interface,  file: "
                                     "plugin/OndreQORHIDStatistics.cpp, line: 916 value:0"));
}

TEST_F(SensorInfo, FailsWithoutTheDictionary) {
    host::arm_fault("TvDictionaryCreateMutable", 0, host::Strikes::Once);

    EXPECT_THAT(ask(), IsEmpty());

    EXPECT_THAT(lines(), ElementsAre(": Kelmarks: state,  file: plugin/OndreQORHIDStatistics.cpp, line: 919 value:0"));
    EXPECT_THAT(reads, IsEmpty());
}

TEST_F(SensorInfo, FailsWithoutTheReportInterval) {
    properties[0].status = kRvStatusNotReady;

    EXPECT_THAT(ask(), IsEmpty());

    EXPECT_THAT(lines(), ElementsAre(std::string(": Kelmarks: result == 0 , ") + RvStatusGetText(kRvStatusNotReady) +
                                     " file: plugin/OndreQORHIDStatistics.cpp, line: 922 value:e00002d8"));
}

TEST_F(SensorInfo, TreatsAReportIntervalOfAnotherSizeAsZero) {
    properties[0].bytes = Bytes().u16(5);

    EXPECT_EQ(value("reportInterval"), "0");
    EXPECT_THAT(lines(), ElementsAre(assertion_line("size == sizeof(uint32_t)")));
}

TEST_F(SensorInfo, FailsWhenTheParentCannotBeLookedUp) {
    host::arm_fault("RvRegistryEntryCopyParent", 0, host::Strikes::Once);

    EXPECT_THAT(ask(), IsEmpty());

    ASSERT_THAT(lines(), SizeIs(1));
    EXPECT_THAT(lines()[0], testing::HasSubstr("Kelmarks: kr == 0 , "));
    EXPECT_THAT(lines()[0], testing::HasSubstr("line: 926 value:e"));
}

TEST_F(SensorInfo, FailsWithoutAParent) {
    Context orphan = *context;
    orphan._driver._service = qor.device_entry;

    EXPECT_THAT(read_back(plug_in->stateHandler_SensorInfo(&kHints, &orphan)), IsEmpty());

    EXPECT_THAT(lines(),
                ElementsAre(": Kelmarks: interface,  file: plugin/OndreQORHIDStatistics.cpp, line: 927 value:0"));
}

TEST_F(SensorInfo, ReleasesTheParent) {
    ask();

    EXPECT_EQ(host::device_registry::reference_count(qor.interface_entry), 0u);
}

} // namespace
} // namespace plug_in_tests
