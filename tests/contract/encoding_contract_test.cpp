#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "platform/Owned.h"
#include "platform/TvValues.h"

namespace {

using platform::OwnedMutableValue;
using platform::OwnedValue;

OwnedValue text(const std::string &content) {
    return OwnedValue(TvStringCreateWithBytes(content.data(), content.size(), kTvStringEncodingUTF8));
}

OwnedValue number(std::int64_t value) { return OwnedValue(TvNumberCreateSInt64(value)); }

std::string hex(const std::string &bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string digits;
    for (const char c : bytes) {
        digits += kDigits[static_cast<unsigned char>(c) >> 4];
        digits += kDigits[static_cast<unsigned char>(c) & 0xF];
    }
    return digits;
}

/** The bytes of a value's encoding. */
std::string encode(TvRef value) {
    const OwnedValue data(TvCreateBinaryEncoding(value));
    EXPECT_TRUE(data);
    return {reinterpret_cast<const char *>(TvDataGetBytes(data.get())), TvDataGetLength(data.get())};
}

/** The encoding in hex without the self-described tag, whose three bytes are checked. */
std::string encoded_hex(TvRef value) {
    const std::string digits = hex(encode(value));
    EXPECT_EQ(digits.substr(0, 6), "d9d9f7");
    return digits.substr(6);
}

TEST(EncodingContract, EncodingStandsBehindTheSelfDescribedTag) { EXPECT_EQ(hex(encode(number(0).get())), "d9d9f700"); }

struct NumberRow {
    std::int64_t number;
    const char *hex;
};

// Major type 0 for n >= 0 with argument n, major type 1 for n < 0 with argument -1 - n; the argument in the initial
// byte up to 23, then in 1, 2, 4 or 8 bytes, whichever is the shortest that holds it.
const NumberRow kNumberRows[] = {
    {0, "00"},
    {1, "01"},
    {23, "17"},
    {24, "1818"},
    {255, "18ff"},
    {256, "190100"},
    {65535, "19ffff"},
    {65536, "1a00010000"},
    {4294967295, "1affffffff"},
    {4294967296, "1b0000000100000000"},
    {std::numeric_limits<std::int64_t>::max(), "1b7fffffffffffffff"},
    {-1, "20"},
    {-24, "37"},
    {-25, "3818"},
    {-256, "38ff"},
    {-257, "390100"},
    {-65536, "39ffff"},
    {-65537, "3a00010000"},
    {-4294967296, "3affffffff"},
    {-4294967297, "3b0000000100000000"},
    {std::numeric_limits<std::int64_t>::min(), "3b7fffffffffffffff"},
};

TEST(EncodingContract, NumbersTakeTheShortestForm) {
    for (const NumberRow &row : kNumberRows) {
        EXPECT_EQ(encoded_hex(number(row.number).get()), row.hex) << row.number;
    }
}

TEST(EncodingContract, WidthOfANumberDoesNotShow) {
    const OwnedValue narrow(TvNumberCreateSInt32(-300));

    EXPECT_EQ(encoded_hex(narrow.get()), encoded_hex(number(-300).get()));
}

TEST(EncodingContract, BooleansAreTheSimpleValues20And21) {
    EXPECT_EQ(encoded_hex(TvBooleanGet(false)), "f4");
    EXPECT_EQ(encoded_hex(TvBooleanGet(true)), "f5");
}

TEST(EncodingContract, StringsAreTextWithTheShortestLength) {
    EXPECT_EQ(encoded_hex(text("").get()), "60");
    EXPECT_EQ(encoded_hex(text("a").get()), "6161");
    EXPECT_EQ(encoded_hex(text("\xC3\xBC").get()), "62c3bc");
    EXPECT_EQ(encoded_hex(text(std::string(23, 'a')).get()).substr(0, 4), "7761");
    EXPECT_EQ(encoded_hex(text(std::string(24, 'a')).get()).substr(0, 6), "781861");
    EXPECT_EQ(encoded_hex(text(std::string(256, 'a')).get()).substr(0, 8), "79010061");
    EXPECT_EQ(encoded_hex(text(std::string(65'536, 'a')).get()).substr(0, 12), "7a0001000061");
    EXPECT_EQ(encode(text(std::string(65'536, 'a')).get()).size(), 3u + 5u + 65'536u);
}

TEST(EncodingContract, DataAreByteStrings) {
    const OwnedValue empty(TvDataCreate(nullptr, 0));
    const OwnedValue bytes(TvDataCreate("\x00\xFF\x10", 3));

    EXPECT_EQ(encoded_hex(empty.get()), "40");
    EXPECT_EQ(encoded_hex(bytes.get()), "4300ff10");
}

TEST(EncodingContract, ArraysHaveADefiniteLengthAndKeepTheirOrder) {
    const OwnedMutableValue array(TvArrayCreateMutable());
    EXPECT_EQ(encoded_hex(array.get()), "80");

    for (std::int64_t value = 3; value > 0; --value) {
        ASSERT_TRUE(TvArrayAppend(array.get(), number(value).get()));
    }

    EXPECT_EQ(encoded_hex(array.get()), "83030201");
}

TEST(EncodingContract, EmptyDictionaryIsAnEmptyMap) {
    const OwnedMutableValue dictionary(TvDictionaryCreateMutable());

    EXPECT_EQ(encoded_hex(dictionary.get()), "a0");
}

TEST(EncodingContract, MapKeysAreSortedByteByByteInTheirEncodedForm) {
    // The length stands in the first byte, so "b" (61 62) comes before "aa" (62 61 61), and a key of 24 bytes
    // (78 18 ...) after one of 23 (77 ...); within a length the bytes decide, as unsigned numbers.
    const std::string of_23(23, 'z');
    const std::string of_24(24, 'a');
    const std::string keys[] = {of_24, "aa", of_23, "b", "\xC3\xBC", "", "zz"};
    const OwnedMutableValue dictionary(TvDictionaryCreateMutable());
    for (const std::string &key : keys) {
        ASSERT_TRUE(TvDictionarySetValue(dictionary.get(), text(key).get(), number(0).get()));
    }

    std::string expected = "a7";
    expected += "6000";                     // ""
    expected += "616200";                   // "b"
    expected += "62616100";                 // "aa"
    expected += "627a7a00";                 // "zz"
    expected += "62c3bc00";                 // U+00FC
    expected += "77" + hex(of_23) + "00";   // 23 bytes
    expected += "7818" + hex(of_24) + "00"; // 24 bytes
    EXPECT_EQ(encoded_hex(dictionary.get()), expected);
}

TEST(EncodingContract, NestedTreeIsEncodedFromTheOutside) {
    // {"a": 1, "b": [2, 3]}
    const OwnedMutableValue list(TvArrayCreateMutable());
    ASSERT_TRUE(TvArrayAppend(list.get(), number(2).get()));
    ASSERT_TRUE(TvArrayAppend(list.get(), number(3).get()));
    const OwnedMutableValue dictionary(TvDictionaryCreateMutable());
    ASSERT_TRUE(TvDictionarySetValue(dictionary.get(), text("b").get(), list.get()));
    ASSERT_TRUE(TvDictionarySetValue(dictionary.get(), text("a").get(), number(1).get()));

    EXPECT_EQ(encoded_hex(dictionary.get()), "a26161016162820203");
}

TEST(EncodingContract, EqualTreesHaveEqualBytesHoweverTheyWereBuilt) {
    const OwnedMutableValue one(TvDictionaryCreateMutable());
    const OwnedMutableValue other(TvDictionaryCreateMutable());
    for (int key = 0; key < 50; ++key) {
        ASSERT_TRUE(TvDictionarySetValue(one.get(), text(std::to_string(key)).get(), number(key).get()));
        ASSERT_TRUE(TvDictionarySetValue(other.get(), text(std::to_string(49 - key)).get(), number(49 - key).get()));
    }

    EXPECT_EQ(encode(one.get()), encode(other.get()));
}

/** A number inside `depth` arrays. */
OwnedValue nest(int depth) {
    OwnedValue value = number(7);
    for (int level = 0; level < depth; ++level) {
        OwnedMutableValue outer(TvArrayCreateMutable());
        EXPECT_TRUE(TvArrayAppend(outer.get(), value.get()));
        value.reset(outer.detach());
    }
    return value;
}

TEST(EncodingContract, SixtyFourLevelsAreEncoded) {
    std::string expected;
    for (int level = 0; level < 64; ++level) {
        expected += "81";
    }

    EXPECT_EQ(encoded_hex(nest(64).get()), expected + "07");
}

TEST(EncodingContract, MoreThanSixtyFourLevelsAreNotEncoded) {
    EXPECT_EQ(TvCreateBinaryEncoding(nest(65).get()), nullptr);
    EXPECT_EQ(TvCreateBinaryEncoding(nest(100'000).get()), nullptr);
}

TEST(EncodingContract, DictionariesCountAsLevelsLikeArrays) {
    const OwnedMutableValue inner(TvDictionaryCreateMutable());
    ASSERT_TRUE(TvDictionarySetValue(inner.get(), text("k").get(), nest(63).get()));
    const OwnedMutableValue outer(TvDictionaryCreateMutable());
    ASSERT_TRUE(TvDictionarySetValue(outer.get(), text("k").get(), inner.get()));

    EXPECT_TRUE(OwnedValue(TvCreateBinaryEncoding(inner.get())));
    EXPECT_EQ(TvCreateBinaryEncoding(outer.get()), nullptr);
}

TEST(EncodingContract, NullHasNoEncoding) { EXPECT_EQ(TvCreateBinaryEncoding(nullptr), nullptr); }

} // namespace
