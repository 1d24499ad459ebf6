// The button's latency statistics.

#include "state/SSHBStatistics.h"

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

TEST_F(SSHBStatistics, HoldNumbersOfTheRightWidth) {
    platform::OwnedMutableValue state(plug_in->copySSHBStatistics(_SSHBLatencyStatsV2{}));
    TvRef press = TvDictionaryGetValue(state.get(), "last button press");

    EXPECT_EQ(host::number_width(TvDictionaryGetValue(press, "click count")), 32);
    EXPECT_EQ(host::number_width(TvDictionaryGetValue(press, "turtle scans")), 32);
    EXPECT_EQ(host::number_width(TvDictionaryGetValue(press, "finger on ts")), 64);
    EXPECT_EQ(
        host::number_width(TvDictionaryGetValue(TvDictionaryGetValue(state.get(), "latency"), "max_latency_Total")),
        64);
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
