// The button's latency statistics.

#include "qor/latency.h"

#include "tests/state/snapshot_fixture.h"

namespace plug_in_tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;
using testing::UnorderedElementsAre;

/** 330 bytes: every field that is read holds a different number, and every other byte is 0xEE. */
Bytes numbered_statistics() {
    Bytes bytes;
    bytes.s64(1).s64(2).s64(3).s64(4);
    bytes.resize(88, 0xEE);
    for (int64_t value : {10, 11, 12, 13, 14, 15, 20, 21, 22, 23, 24, 25, 30, 31, 32, 33, 34, 35}) {
        bytes.s64(value);
    }
    bytes.u8(0xEE).s32(7);
    bytes.resize(266, 0xEE);
    bytes.s64(40).s32(41);
    bytes.resize(282, 0xEE);
    bytes.s64(50).s64(51).s64(52).s64(53).s64(54).s64(55);
    return bytes;
}

class SSHBStatistics : public SnapshotTest {
protected:
    static constexpr uint32_t kProperty = 215;

    std::vector<host::StateRecord> ask() { return read_back(plug_in->stateHandler_SSHBStats(&kHints, context)); }

    static TvRef at(const host::StateRecord &record, std::initializer_list<const char *> path) {
        TvRef value = record.payload.get();
        for (const char *key : path) {
            value = TvDictionaryGetValue(value, key);
        }
        return value;
    }
};

TEST_F(SSHBStatistics, HoldEachFieldUnderItsKey) {
    ASSERT_THAT(numbered_statistics(), SizeIs(330));
    properties[kProperty].bytes = numbered_statistics();

    auto records = ask();

    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].title, "SSHB Statistics");
    EXPECT_THAT(entries(at(records[0], {})),
                UnorderedElementsAre(Pair("last button press", "(10 keys)"), Pair("latency", "(6 keys)")));
    EXPECT_THAT(entries(at(records[0], {"last button press"})),
                UnorderedElementsAre(Pair("click count", "3"), Pair("finger on ts", "1"), Pair("start haptic ts", "3"),
                                     Pair("finger detect to button down", "4"), Pair("click 1", "(5 keys)"),
                                     Pair("click 2", "(5 keys)"), Pair("click 3", "(5 keys)"),
                                     Pair("second scan ts", "40"), Pair("turtle scans", "41"),
                                     Pair("finger off ts", "2")));
    EXPECT_THAT(entries(at(records[0], {"latency"})),
                UnorderedElementsAre(Pair("min_nz_latency_FD_to_BD", "50"), Pair("max_latency_FD_to_BD", "51"),
                                     Pair("min_nz_latency_BC_to_PlayAsset", "52"),
                                     Pair("max_latency_BC_to_PlayAsset", "53"), Pair("min_latency_Total", "54"),
                                     Pair("max_latency_Total", "55")));
}

TEST_F(SSHBStatistics, KeepOnlyThePlayAssetTimeOfTheUpEdge) {
    properties[kProperty].bytes = numbered_statistics();

    auto records = ask();

    ASSERT_THAT(records, SizeIs(1));
    EXPECT_THAT(entries(at(records[0], {"last button press", "click 1"})),
                UnorderedElementsAre(Pair("button down ts", "10"), Pair("button up ts", "11"),
                                     Pair("play asset ts", "21"), Pair("button down to play asset", "30"),
                                     Pair("button up to play asset", "31")));
    EXPECT_THAT(entries(at(records[0], {"last button press", "click 2"})),
                UnorderedElementsAre(Pair("button down ts", "12"), Pair("button up ts", "13"),
                                     Pair("play asset ts", "23"), Pair("button down to play asset", "32"),
                                     Pair("button up to play asset", "33")));
    EXPECT_THAT(entries(at(records[0], {"last button press", "click 3"})),
                UnorderedElementsAre(Pair("button down ts", "14"), Pair("button up ts", "15"),
                                     Pair("play asset ts", "25"), Pair("button down to play asset", "34"),
                                     Pair("button up to play asset", "35")));
}

struct TimeField {
    std::size_t offset;
    std::vector<const char *> path;
};

/** Every 64-bit field that is read, and the path of its key. */
const TimeField kTimeFields[] = {
    {0, {"last button press", "finger on ts"}},
    {8, {"last button press", "finger off ts"}},
    {16, {"last button press", "start haptic ts"}},
    {24, {"last button press", "finger detect to button down"}},
    {88, {"last button press", "click 1", "button down ts"}},
    {96, {"last button press", "click 1", "button up ts"}},
    {104, {"last button press", "click 2", "button down ts"}},
    {112, {"last button press", "click 2", "button up ts"}},
    {120, {"last button press", "click 3", "button down ts"}},
    {128, {"last button press", "click 3", "button up ts"}},
    {144, {"last button press", "click 1", "play asset ts"}},
    {160, {"last button press", "click 2", "play asset ts"}},
    {176, {"last button press", "click 3", "play asset ts"}},
    {184, {"last button press", "click 1", "button down to play asset"}},
    {192, {"last button press", "click 1", "button up to play asset"}},
    {200, {"last button press", "click 2", "button down to play asset"}},
    {208, {"last button press", "click 2", "button up to play asset"}},
    {216, {"last button press", "click 3", "button down to play asset"}},
    {224, {"last button press", "click 3", "button up to play asset"}},
    {266, {"last button press", "second scan ts"}},
    {282, {"latency", "min_nz_latency_FD_to_BD"}},
    {290, {"latency", "max_latency_FD_to_BD"}},
    {298, {"latency", "min_nz_latency_BC_to_PlayAsset"}},
    {306, {"latency", "max_latency_BC_to_PlayAsset"}},
    {314, {"latency", "min_latency_Total"}},
    {322, {"latency", "max_latency_Total"}},
};

/** Eight different bytes, none of them zero, that no other field holds. */
int64_t time_at(std::size_t field) {
    const auto byte = static_cast<int64_t>(field + 1);
    return 0x0102030405060700 + byte * 0x0101010101010101;
}

TEST_F(SSHBStatistics, ReadAll64BitsOfEachTimeAtItsOffset) {
    Bytes bytes;
    bytes.resize(330, 0xEE);
    for (std::size_t field = 0; field < std::size(kTimeFields); ++field) {
        const Bytes value = Bytes().s64(time_at(field));
        std::copy(value.begin(), value.end(), bytes.begin() + static_cast<std::ptrdiff_t>(kTimeFields[field].offset));
    }
    properties[kProperty].bytes = bytes;

    auto records = ask();

    ASSERT_THAT(records, SizeIs(1));
    for (std::size_t field = 0; field < std::size(kTimeFields); ++field) {
        SCOPED_TRACE(kTimeFields[field].offset);
        TvRef value = records[0].payload.get();
        for (const char *key : kTimeFields[field].path) {
            value = TvDictionaryGetValue(value, key);
        }
        ASSERT_NE(value, nullptr);
        EXPECT_EQ(number_text(value), std::to_string(time_at(field)));
    }
}

TEST_F(SSHBStatistics, ReadAll32BitsOfTheTurtleScans) {
    Bytes bytes = numbered_statistics();
    const Bytes value = Bytes().s32(0x12345678);
    std::copy(value.begin(), value.end(), bytes.begin() + 274);
    properties[kProperty].bytes = bytes;

    auto records = ask();

    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(entries(at(records[0], {"last button press"}))["turtle scans"], std::to_string(0x12345678));
}

TEST_F(SSHBStatistics, ReadTheWholeRecordOnceAndNoOtherProperty) {
    properties[kProperty].bytes = numbered_statistics();

    ask();

    EXPECT_THAT(reads, ElementsAre(Pair(215u, 1)));
    EXPECT_THAT(property_capacities, ElementsAre(Pair(215u, 330u)));
}

TEST_F(SSHBStatistics, ShiftTheClickWordAsUnsigned) {
    for (auto [word, count] :
         {std::pair{7u, "3"}, std::pair{6u, "3"}, std::pair{1u, "0"}, std::pair{0xFFFFFFFFu, "2147483647"}}) {
        Bytes bytes = numbered_statistics();
        std::memcpy(bytes.data() + 233, &word, sizeof word);
        properties[kProperty].bytes = bytes;

        auto records = ask();

        ASSERT_THAT(records, SizeIs(1));
        EXPECT_EQ(entries(at(records[0], {"last button press"}))["click count"], count);
    }
}

TEST_F(SSHBStatistics, StoreAllBitsSetAsMinusOne) {
    properties[kProperty].bytes.assign(330, 0xFF);

    auto records = ask();

    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(entries(at(records[0], {"last button press"}))["finger on ts"], "-1");
    EXPECT_EQ(entries(at(records[0], {"last button press"}))["turtle scans"], "-1");
}

TEST_F(SSHBStatistics, HoldTimesOf64BitsAndTwoCountsOf32) {
    platform::OwnedMutableValue state(plug_in->copySSHBStatistics(_SSHBLatencyStatsV2{}));

    TvRef press = TvDictionaryGetValue(state.get(), "last button press");
    EXPECT_EQ(host::number_width(TvDictionaryGetValue(press, "click count")), 32);
    EXPECT_EQ(host::number_width(TvDictionaryGetValue(press, "turtle scans")), 32);
    for (const TimeField &field : kTimeFields) {
        SCOPED_TRACE(field.offset);
        TvRef value = state.get();
        for (const char *key : field.path) {
            value = TvDictionaryGetValue(value, key);
        }
        EXPECT_EQ(host::number_width(value), 64);
    }
}

TEST_F(SSHBStatistics, ReadZerosPastAShortReplyAndNothingPastALongOne) {
    Bytes bytes = numbered_statistics();
    properties[kProperty].bytes.assign(bytes.begin(), bytes.begin() + 12);
    properties[kProperty].reported_size = 5000;

    auto records = ask();

    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(entries(at(records[0], {"last button press"}))["finger on ts"], "1");
    EXPECT_EQ(entries(at(records[0], {"last button press"}))["finger off ts"], "2");
    EXPECT_EQ(entries(at(records[0], {"latency"}))["max_latency_Total"], "0");
}

TEST_F(SSHBStatistics, FailWithTheReadsStatus) {
    properties[kProperty].status = 0xE00002BC;

    EXPECT_THAT(ask(), IsEmpty());

    EXPECT_THAT(lines(), ElementsAre(": Kelmarks: result == 0 ,  file: plugin/OndreQORHIDStatistics.cpp, line: 613 "
                                     "value:e00002bc"));
}

TEST_F(SSHBStatistics, FailWithoutADriverInterface) {
    Context bare{};

    EXPECT_THAT(read_back(plug_in->stateHandler_SSHBStats(&kHints, &bare)), IsEmpty());

    ASSERT_THAT(lines(), SizeIs(2));
    EXPECT_THAT(lines()[0], assertion_line("context->_driver._interface"));
    EXPECT_THAT(lines()[1], assertion_line("result == 0 ", "e00002d8"));
}

TEST_F(SSHBStatistics, FailWithoutTheDictionaryWithBothLines) {
    properties[kProperty].bytes = numbered_statistics();
    host::arm_fault("TvDictionaryCreateMutable", 0, host::Strikes::Once);

    EXPECT_THAT(ask(), IsEmpty());

    EXPECT_THAT(lines(),
                ElementsAre(": Kelmarks: state,  file: plugin/OndreQORHIDStatistics.cpp, line: 532 value:0",
                            ": Kelmarks: sshbState != __null,  file: plugin/OndreQORHIDStatistics.cpp, line: 616 "
                            "value:0"));
}

struct MissingDictionary {
    uint64_t call;
    const char *missing;
    std::size_t keys_of_press;
    std::size_t keys;
};

class SSHBStatisticsWithout : public SSHBStatistics, public testing::WithParamInterface<MissingDictionary> {};

TEST_P(SSHBStatisticsWithout, OneDictionaryStillHoldTheOthers) {
    properties[kProperty].bytes = numbered_statistics();
    host::arm_fault("TvDictionaryCreateMutable", GetParam().call, host::Strikes::Once);

    auto records = ask();

    ASSERT_THAT(records, SizeIs(1));
    EXPECT_THAT(lines(), IsEmpty());
    EXPECT_EQ(TvDictionaryGetCount(at(records[0], {})), GetParam().keys);
    EXPECT_EQ(TvDictionaryGetCount(at(records[0], {"last button press"})), GetParam().keys_of_press);
}

INSTANTIATE_TEST_SUITE_P(All, SSHBStatisticsWithout,
                         testing::Values(MissingDictionary{1, "last button press", 0, 1},
                                         MissingDictionary{2, "click 1", 9, 2}, MissingDictionary{3, "click 2", 9, 2},
                                         MissingDictionary{4, "click 3", 9, 2},
                                         MissingDictionary{5, "latency", 10, 1}));

} // namespace
} // namespace plug_in_tests
