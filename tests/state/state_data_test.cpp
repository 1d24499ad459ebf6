// Encoding a typed value as a record.

#include <cstring>
#include <map>

#include "tests/plugin/plug_in_fixture.h"

namespace plug_in_tests {
namespace {

using testing::Each;
using testing::IsEmpty;

struct FreeRecord {
    void operator()(RvStateCaptureRecord *record) const { std::free(record); }
};
using Record = std::unique_ptr<RvStateCaptureRecord, FreeRecord>;

class StateData : public PlugInTest {
protected:
    Record copy(TvRef value, const char *title) { return Record(plug_in->copyStateData(value, title)); }
    platform::OwnedMutableValue empty{TvDictionaryCreateMutable()};
};

TEST_F(StateData, OfAnEmptyDictionaryIsAHeaderAndFourBytes) {
    Record record = copy(empty.get(), "SensorInfo");

    ASSERT_TRUE(record);
    const auto *bytes = reinterpret_cast<const uint8_t *>(record.get());
    // type code 1; payload size 4; the self-described tag 55799 (d9 d9 f7) and an empty map (a0)
    EXPECT_THAT(std::vector<uint8_t>(bytes, bytes + 8), testing::ElementsAre(1, 0, 0, 0, 4, 0, 0, 0));
    EXPECT_STREQ(reinterpret_cast<const char *>(bytes + 136), "SensorInfo");
    EXPECT_THAT(std::vector<uint8_t>(bytes + 200, bytes + 204), testing::ElementsAre(0xD9, 0xD9, 0xF7, 0xA0));
}

TEST_F(StateData, ZeroesTheDecoderNamesAndTheRestOfTheTitle) {
    Record record = copy(empty.get(), "x");

    ASSERT_TRUE(record);
    const auto *bytes = reinterpret_cast<const uint8_t *>(record.get());
    EXPECT_THAT(std::vector<uint8_t>(bytes + 8, bytes + 136), Each(0));
    EXPECT_THAT(std::vector<uint8_t>(bytes + 137, bytes + 200), Each(0));
}

TEST_F(StateData, CutsATitleAt63Characters) {
    for (size_t length : {62u, 63u, 64u, 65u, 200u}) {
        Record record = copy(empty.get(), std::string(length, 't').c_str());

        ASSERT_TRUE(record);
        EXPECT_EQ(record->title[63], '\0');
        EXPECT_EQ(std::strlen(record->title), std::min<size_t>(length, 63)) << length;
    }
}

TEST_F(StateData, LeavesTheValueOwnedByTheCaller) {
    TvDictionarySetValue(empty.get(), string_value("key").get(), number_value(5).get());

    copy(empty.get(), "x");

    EXPECT_EQ(TvDictionaryGetCount(empty.get()), 1u);
}

TEST_F(StateData, IsNullWithoutALogLineWhenTheValueCannotBeEncoded) {
    EXPECT_FALSE(copy(nullptr, "x"));

    host::arm_fault("TvCreateBinaryEncoding", 0, host::Strikes::Once);
    EXPECT_FALSE(copy(empty.get(), "x"));
    EXPECT_THAT(lines(), IsEmpty());
}

} // namespace
} // namespace plug_in_tests
