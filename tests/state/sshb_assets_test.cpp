// The button's haptic assets.

#include "tests/state/snapshot_fixture.h"

namespace plug_in_tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

Bytes asset(uint8_t enable, int32_t gain, int64_t minimum, int64_t maximum, int32_t slot) {
    return Bytes().u8(enable).s32(gain).s64(minimum).s64(maximum).s32(slot).number(0xEEEEEEEE, 4);
}

/** 51 assets; the slot of each is its index in the table. */
Bytes asset_table() {
    Bytes table;
    for (int place = 0; place < 51; ++place) {
        Bytes entry = asset(1, 32768, 0, 120, place);
        table.insert(table.end(), entry.begin(), entry.end());
    }
    return table;
}

class SSHBAssets : public SnapshotTest {
protected:
    static constexpr uint32_t kProperty = 216;

    std::vector<host::StateRecord> ask() { return read_back(plug_in->stateHandler_SSHBAssets(&kHints, context)); }

    /** The text of `first`, put at the start of a table. */
    std::string first_text(const Bytes &first) {
        Bytes table = asset_table();
        std::copy(first.begin(), first.end(), table.begin());
        properties[kProperty].bytes = table;
        auto records = ask();
        return entries(records.at(0).payload.get()).at("Slow-SingleDown");
    }
};

TEST_F(SSHBAssets, HaveOneTextForEachSpeedAndEventInTableOrder) {
    const std::vector<std::string> events = {
        "SingleDown",  "SingleUp",     "DoubleDown",  "DoubleUp",     "TripleDown",  "TripleUp",
        "SingleTapOn", "SingleTapOff", "DoubleTapOn", "DoubleTapOff", "TripleTapOn", "TripleTapOff",
        "DeepDown",    "DeepUp",       "LongPress",   "LongPressUp",  "(null)"};
    Entries expected;
    int place = 0;
    for (const char *speed : {"Slow-", "Medium-", "Fast-"}) {
        for (const std::string &event : events) {
            expected[speed + event] = "enable=1 slot=" + std::to_string(place++) + " gain=0.500000 min=0 max=120";
        }
    }
    properties[kProperty].bytes = asset_table();

    auto records = ask();

    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].title, "SSHB assets");
    EXPECT_EQ(entries(records[0].payload.get()), expected);
    EXPECT_THAT(expected, SizeIs(51));
}

/** An asset of which every field holds a value that no other place of the table has. */
Bytes numbered_asset(int place) {
    return asset(static_cast<uint8_t>(200 - place), (place + 1) * 65536, -4'000'000'000'000 - place,
                 5'000'000'000'000 + place, 0x01020300 + place);
}

std::string numbered_text(int place) {
    return "enable=" + std::to_string(200 - place) + " slot=" + std::to_string(0x01020300 + place) +
           " gain=" + std::to_string(place + 1) + ".000000 min=" + std::to_string(-4'000'000'000'000 - place) +
           " max=" + std::to_string(5'000'000'000'000 + place);
}

TEST_F(SSHBAssets, ReadEveryFieldOfEachCellAtItsOffset) {
    // 29 bytes each; the slow assets first, then the medium and the fast ones, each in the order of the events.
    const char *const keys[51] = {
        "Slow-SingleDown",    "Slow-SingleUp",       "Slow-DoubleDown",    "Slow-DoubleUp",       "Slow-TripleDown",
        "Slow-TripleUp",      "Slow-SingleTapOn",    "Slow-SingleTapOff",  "Slow-DoubleTapOn",    "Slow-DoubleTapOff",
        "Slow-TripleTapOn",   "Slow-TripleTapOff",   "Slow-DeepDown",      "Slow-DeepUp",         "Slow-LongPress",
        "Slow-LongPressUp",   "Slow-(null)",         "Medium-SingleDown",  "Medium-SingleUp",     "Medium-DoubleDown",
        "Medium-DoubleUp",    "Medium-TripleDown",   "Medium-TripleUp",    "Medium-SingleTapOn",  "Medium-SingleTapOff",
        "Medium-DoubleTapOn", "Medium-DoubleTapOff", "Medium-TripleTapOn", "Medium-TripleTapOff", "Medium-DeepDown",
        "Medium-DeepUp",      "Medium-LongPress",    "Medium-LongPressUp", "Medium-(null)",       "Fast-SingleDown",
        "Fast-SingleUp",      "Fast-DoubleDown",     "Fast-DoubleUp",      "Fast-TripleDown",     "Fast-TripleUp",
        "Fast-SingleTapOn",   "Fast-SingleTapOff",   "Fast-DoubleTapOn",   "Fast-DoubleTapOff",   "Fast-TripleTapOn",
        "Fast-TripleTapOff",  "Fast-DeepDown",       "Fast-DeepUp",        "Fast-LongPress",      "Fast-LongPressUp",
        "Fast-(null)"};
    Bytes table;
    table.resize(1479, 0xEE);
    for (int place = 0; place < 51; ++place) {
        const Bytes cell = numbered_asset(place);
        ASSERT_THAT(cell, SizeIs(29));
        std::copy(cell.begin(), cell.end(), table.begin() + place * 29);
    }
    properties[kProperty].bytes = table;

    auto records = ask();

    ASSERT_THAT(records, SizeIs(1));
    Entries expected;
    for (int place = 0; place < 51; ++place) {
        expected[keys[place]] = numbered_text(place);
    }
    EXPECT_EQ(entries(records[0].payload.get()), expected);
}

TEST_F(SSHBAssets, AreReadOnceWithRoomFor4096BytesAndNoOtherProperty) {
    properties[kProperty].bytes = asset_table();

    ask();

    EXPECT_THAT(reads, ElementsAre(testing::Pair(216u, 1)));
    EXPECT_THAT(property_capacities, ElementsAre(testing::Pair(216u, 4096u)));
}

TEST_F(SSHBAssets, PrintGainsAsFixedPoint) {
    EXPECT_EQ(first_text(asset(0, 65536, 0, 0, 0)), "enable=0 slot=0 gain=1.000000 min=0 max=0");
    EXPECT_EQ(first_text(asset(0, -32768, 0, 0, 0)), "enable=0 slot=0 gain=-0.500000 min=0 max=0");
    EXPECT_EQ(first_text(asset(0, 1, 0, 0, 0)), "enable=0 slot=0 gain=0.000015 min=0 max=0");
    EXPECT_EQ(first_text(asset(0, INT32_MAX, 0, 0, 0)), "enable=0 slot=0 gain=32767.999985 min=0 max=0");
}

TEST_F(SSHBAssets, PrintTheLongestValuesInFull) {
    const std::string text = first_text(asset(255, INT32_MIN, INT64_MIN, INT64_MIN, INT32_MIN));

    EXPECT_EQ(text, "enable=255 slot=-2147483648 gain=-32768.000000 min=-9223372036854775808 "
                    "max=-9223372036854775808");
    EXPECT_LE(text.size(), 127u);
}

TEST_F(SSHBAssets, NeedTheWholeTable) {
    properties[kProperty].bytes = asset_table();
    for (std::size_t length : {1479u, 1480u, 4096u, 5000u}) {
        properties[kProperty].reported_size = length;
        EXPECT_THAT(ask(), SizeIs(1)) << length;
    }
    EXPECT_THAT(lines(), IsEmpty());

    for (std::size_t length : {0u, 1478u}) {
        properties[kProperty].reported_size = length;
        EXPECT_THAT(ask(), IsEmpty()) << length;
        EXPECT_THAT(lines(), ElementsAre(": Kelmarks: propertyLength >= sizeof(assets),  file: "
                                         "plugin/OndreQORHIDStatistics.cpp, line: 637 value:0",
                                         ": Kelmarks: sshbState != __null,  file: plugin/OndreQORHIDStatistics.cpp, "
                                         "line: 710 value:0"));
        log.clear();
    }
}

TEST_F(SSHBAssets, IgnoreBytesPastTheTable) {
    Bytes longer = asset_table();
    longer.resize(4096, 0xFF);
    properties[kProperty].bytes = longer;

    auto records = ask();

    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(TvDictionaryGetCount(records[0].payload.get()), 51u);
}

TEST_F(SSHBAssets, FailWithTheReadsStatus) {
    properties[kProperty].status = 0xE00002BC;

    EXPECT_THAT(ask(), IsEmpty());

    EXPECT_THAT(lines(), ElementsAre(": Kelmarks: result == 0 ,  file: plugin/OndreQORHIDStatistics.cpp, line: 707 "
                                     "value:e00002bc"));
}

TEST_F(SSHBAssets, FailWithoutTheDictionaryWithBothLines) {
    properties[kProperty].bytes = asset_table();
    host::arm_fault("TvDictionaryCreateMutable", 0, host::Strikes::Once);

    EXPECT_THAT(ask(), IsEmpty());

    EXPECT_THAT(lines(),
                ElementsAre(": Kelmarks: stateDict,  file: plugin/OndreQORHIDStatistics.cpp, line: 641 value:0",
                            ": Kelmarks: sshbState != __null,  file: plugin/OndreQORHIDStatistics.cpp, line: 710 "
                            "value:0"));
}

} // namespace
} // namespace plug_in_tests
