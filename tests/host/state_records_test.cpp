#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/RvStateCapture.h"
#include "host/TvValues.h"
#include "host/error.h"
#include "host/state_records.h"

namespace {

using host::RecordBytes;

constexpr std::size_t kHeaderSize = 200;

void put_word(RecordBytes &bytes, std::size_t offset, std::uint32_t word) {
    for (std::size_t index = 0; index < 4; ++index) {
        bytes[offset + index] = static_cast<std::byte>(word >> (8 * index));
    }
}

void put_text(RecordBytes &bytes, std::size_t offset, const std::string &text) {
    std::memcpy(bytes.data() + offset, text.data(), text.size());
}

/** A record in the layout of the service: type code, payload size, three texts of 64 bytes, payload. */
RecordBytes record(const std::string &title, const std::vector<int> &payload, std::uint32_t type_code = 1) {
    RecordBytes bytes(kHeaderSize + payload.size());
    put_word(bytes, 0, type_code);
    put_word(bytes, 4, static_cast<std::uint32_t>(payload.size()));
    put_text(bytes, 136, title);
    for (std::size_t index = 0; index < payload.size(); ++index) {
        bytes[kHeaderSize + index] = static_cast<std::byte>(payload[index]);
    }
    return bytes;
}

/** {} after the self-described tag. */
const std::vector<int> kEmptyDictionary = {0xD9, 0xD9, 0xF7, 0xA0};

RecordBytes join(const std::vector<RecordBytes> &records) {
    RecordBytes all;
    for (const RecordBytes &one : records) {
        all.insert(all.end(), one.begin(), one.end());
    }
    return all;
}

std::string refusal(const RecordBytes &bytes) {
    try {
        (void)host::parse_records(bytes, "dump.bin");
        return "";
    } catch (const host::Error &error) {
        return error.what();
    }
}

TEST(StateRecords, NothingHoldsNoRecord) { EXPECT_TRUE(host::parse_records({}, "dump.bin").empty()); }

TEST(StateRecords, RecordIsReadWithItsTextsAndItsPayload) {
    RecordBytes bytes = record("SensorInfo", kEmptyDictionary);
    put_text(bytes, 8, "plug-in");
    put_text(bytes, 72, "type");

    const auto records = host::parse_records(bytes, "dump.bin");

    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].type_code, 1u);
    EXPECT_EQ(records[0].decoder_plug_in, "plug-in");
    EXPECT_EQ(records[0].decoder_type, "type");
    EXPECT_EQ(records[0].title, "SensorInfo");
    EXPECT_EQ(records[0].offset, 0u);
    EXPECT_EQ(records[0].size, 204u);
    EXPECT_EQ(TvGetTypeID(records[0].payload.get()), TvDictionaryGetTypeID());
}

TEST(StateRecords, RecordsStandEndToEnd) {
    const auto records = host::parse_records(
        join({record("one", kEmptyDictionary), record("two", {0x01}), record("three", {0x02})}), "");

    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[1].title, "two");
    EXPECT_EQ(records[1].offset, 204u);
    EXPECT_EQ(records[1].size, 201u);
    EXPECT_EQ(records[2].title, "three");
    EXPECT_EQ(records[2].offset, 405u);
}

TEST(StateRecords, TextWithoutItsEndTakesItsFieldAndNoMore) {
    RecordBytes bytes = record(std::string(64, 't'), kEmptyDictionary);
    put_text(bytes, 8, std::string(64, 'p'));
    put_text(bytes, 72, std::string(64, 'd'));

    const auto records = host::parse_records(bytes, "dump.bin");

    EXPECT_EQ(records[0].decoder_plug_in, std::string(64, 'p'));
    EXPECT_EQ(records[0].decoder_type, std::string(64, 'd'));
    EXPECT_EQ(records[0].title, std::string(64, 't'));
}

TEST(StateRecords, PayloadOfAnotherTypeIsLeftAlone) {
    const auto records = host::parse_records(record("other", {0xFF, 0xFF}, 2), "dump.bin");

    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].type_code, 2u);
    EXPECT_EQ(records[0].size, 202u);
    EXPECT_FALSE(records[0].payload);
}

TEST(StateRecords, HeaderCutShortIsRefusedWhereverItIsCut) {
    const RecordBytes whole = record("cut", kEmptyDictionary);
    for (std::size_t length = 1; length < kHeaderSize; ++length) {
        EXPECT_EQ(refusal(RecordBytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length))),
                  "dump.bin: byte 0: a record header takes 200 bytes and only " + std::to_string(length) + " are left");
    }
}

TEST(StateRecords, PayloadCutShortIsRefusedAtItsSize) {
    const RecordBytes whole = record("cut", kEmptyDictionary);
    for (std::size_t length = kHeaderSize; length < whole.size(); ++length) {
        EXPECT_EQ(refusal(RecordBytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length))),
                  "dump.bin: byte 4: the payload size is 4 and only " + std::to_string(length - kHeaderSize) +
                      " bytes are left");
    }
}

TEST(StateRecords, SizeThatLiesIsRefusedHoweverLargeItIs) {
    for (const std::uint32_t lie : {5u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        RecordBytes bytes = record("lie", kEmptyDictionary);
        put_word(bytes, 4, lie);

        EXPECT_EQ(refusal(bytes),
                  "dump.bin: byte 4: the payload size is " + std::to_string(lie) + " and only 4 bytes are left");
    }
}

TEST(StateRecords, SizeThatIsTooSmallIsRefusedInThePayload) {
    RecordBytes bytes = record("lie", kEmptyDictionary);
    put_word(bytes, 4, 3);

    EXPECT_EQ(refusal(bytes), "dump.bin: byte 203: the item is cut short: only 0 bytes remain");
}

TEST(StateRecords, SizeOfTheSecondRecordIsNamedByItsPlaceInTheFile) {
    RecordBytes second = record("lie", kEmptyDictionary);
    put_word(second, 4, 1000);

    EXPECT_EQ(refusal(join({record("one", kEmptyDictionary), second})),
              "dump.bin: byte 208: the payload size is 1000 and only 4 bytes are left");
}

TEST(StateRecords, PayloadThatIsNoEncodingIsRefusedByItsPlaceInTheFile) {
    EXPECT_EQ(refusal(join({record("one", kEmptyDictionary), record("bad", {0x81, 0xF6})})),
              "dump.bin: byte 405: a null is not supported");
}

TEST(StateRecords, EmptyPayloadOfATypedValueIsRefused) {
    EXPECT_EQ(refusal(record("empty", {})), "dump.bin: byte 200: the item is cut short: only 0 bytes remain");
}

} // namespace
