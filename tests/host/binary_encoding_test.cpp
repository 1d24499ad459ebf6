#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include "host/TvValues.h"
#include "host/binary_encoding.h"
#include "host/error.h"

namespace {

using platform::OwnedMutableValue;
using platform::OwnedValue;

using Bytes = std::vector<std::byte>;

Bytes bytes_of(std::initializer_list<int> values) {
    Bytes bytes;
    for (const int value : values) {
        bytes.push_back(static_cast<std::byte>(value));
    }
    return bytes;
}

Bytes encode(TvRef value) {
    const OwnedValue data(TvCreateBinaryEncoding(value));
    const auto *start = reinterpret_cast<const std::byte *>(TvDataGetBytes(data.get()));
    return {start, start + TvDataGetLength(data.get())};
}

OwnedValue decode(const Bytes &bytes) { return host::decode_binary_encoding(bytes, "", 0); }

/** The error of decoding `bytes`; empty when there is none. */
std::string refusal(const Bytes &bytes, const std::string &file = "", std::size_t base = 0) {
    try {
        (void)host::decode_binary_encoding(bytes, file, base);
        return "";
    } catch (const host::Error &error) {
        return error.what();
    }
}

OwnedValue text(const std::string &content) {
    return OwnedValue(TvStringCreateWithBytes(content.data(), content.size(), kTvStringEncodingUTF8));
}

std::int64_t number_in(const OwnedValue &value) {
    std::int64_t number = 0;
    EXPECT_TRUE(TvNumberGetSInt64(value.get(), &number));
    return number;
}

// ---- what is read

TEST(BinaryEncoding, SelfDescribedTagIsOptional) {
    EXPECT_EQ(number_in(decode(bytes_of({0xD9, 0xD9, 0xF7, 0x18, 0x2A}))), 42);
    EXPECT_EQ(number_in(decode(bytes_of({0x18, 0x2A}))), 42);
}

TEST(BinaryEncoding, WholeRangeOf64SignedBitsIsRead) {
    EXPECT_EQ(number_in(decode(bytes_of({0x1B, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}))),
              std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(number_in(decode(bytes_of({0x3B, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}))),
              std::numeric_limits<std::int64_t>::min());
}

TEST(BinaryEncoding, IntegersOfEveryWidthAreReadShortestOrNot) {
    EXPECT_EQ(number_in(decode(bytes_of({0x07}))), 7);
    EXPECT_EQ(number_in(decode(bytes_of({0x18, 0x07}))), 7);
    EXPECT_EQ(number_in(decode(bytes_of({0x19, 0x00, 0x07}))), 7);
    EXPECT_EQ(number_in(decode(bytes_of({0x1A, 0x00, 0x00, 0x00, 0x07}))), 7);
    EXPECT_EQ(number_in(decode(bytes_of({0x1B, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x07}))), 7);
    EXPECT_EQ(number_in(decode(bytes_of({0x26}))), -7);
    EXPECT_EQ(number_in(decode(bytes_of({0x38, 0x06}))), -7);
    EXPECT_EQ(number_in(decode(bytes_of({0x39, 0x00, 0x06}))), -7);
    EXPECT_EQ(number_in(decode(bytes_of({0x3A, 0x00, 0x00, 0x00, 0x06}))), -7);
}

TEST(BinaryEncoding, BooleansTextAndDataAreRead) {
    EXPECT_TRUE(TvEqual(decode(bytes_of({0xF4})).get(), TvBooleanGet(false)));
    EXPECT_TRUE(TvEqual(decode(bytes_of({0xF5})).get(), TvBooleanGet(true)));
    EXPECT_TRUE(TvEqual(decode(bytes_of({0x62, 0xC3, 0xBC})).get(), text("\xC3\xBC").get()));
    const OwnedValue data = decode(bytes_of({0x42, 0x00, 0xFF}));
    ASSERT_EQ(TvDataGetLength(data.get()), 2u);
    EXPECT_EQ(TvDataGetBytes(data.get())[0], 0x00);
    EXPECT_EQ(TvDataGetBytes(data.get())[1], 0xFF);
}

TEST(BinaryEncoding, MapKeysMayStandInAnyOrder) {
    // {"b": 1, "a": 2}
    const OwnedValue map = decode(bytes_of({0xA2, 0x61, 0x62, 0x01, 0x61, 0x61, 0x02}));

    EXPECT_EQ(TvDictionaryGetCount(map.get()), 2u);
    EXPECT_EQ(number_in(OwnedValue(TvRetain(TvDictionaryGetValue(map.get(), "a")))), 2);
    EXPECT_EQ(number_in(OwnedValue(TvRetain(TvDictionaryGetValue(map.get(), "b")))), 1);
}

TEST(BinaryEncoding, SameKeyMayStandInTwoMaps) {
    // [{"a": 1}, {"a": 2}]
    EXPECT_EQ(refusal(bytes_of({0x82, 0xA1, 0x61, 0x61, 0x01, 0xA1, 0x61, 0x61, 0x02})), "");
}

TEST(BinaryEncoding, SixtyFourLevelsAreRead) {
    Bytes deep(64, std::byte{0x81});
    deep.push_back(std::byte{0x00});

    EXPECT_EQ(refusal(deep), "");
}

// ---- what is refused, and where

struct RefusedRow {
    const char *meaning;
    Bytes bytes;
    std::string error;
};

const RefusedRow kRefusedRows[] = {
    {"nothing", {}, "byte 0: the item is cut short: only 0 bytes remain"},
    {"a tag and nothing", bytes_of({0xD9, 0xD9, 0xF7}), "byte 3: the item is cut short: only 0 bytes remain"},
    {"half a tag", bytes_of({0xD9, 0xD9}), "byte 0: the item is cut short: only 2 bytes remain"},
    {"another tag", bytes_of({0xC1, 0x00}), "byte 0: a tag other than the self-described one"},
    {"the tag twice", bytes_of({0xD9, 0xD9, 0xF7, 0xD9, 0xD9, 0xF7, 0x00}), "byte 3: a tag inside the value"},
    {"a tag inside", bytes_of({0x81, 0xC1, 0x00}), "byte 1: a tag inside the value"},
    {"bytes after the value", bytes_of({0x00, 0x00, 0x00}), "byte 1: 2 bytes follow the value"},
    {"2 to the 63rd", bytes_of({0x1B, 0x80, 0, 0, 0, 0, 0, 0, 0}),
     "byte 0: an integer that 64 signed bits cannot hold"},
    {"-2 to the 63rd - 1", bytes_of({0x3B, 0x80, 0, 0, 0, 0, 0, 0, 0}),
     "byte 0: an integer that 64 signed bits cannot hold"},
    {"the largest negative argument", bytes_of({0x3B, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}),
     "byte 0: an integer that 64 signed bits cannot hold"},
    {"a half", bytes_of({0xF9, 0x3C, 0x00}), "byte 0: a floating-point number is not supported"},
    {"a single", bytes_of({0xFA, 0, 0, 0, 0}), "byte 0: a floating-point number is not supported"},
    {"a double", bytes_of({0xFB, 0, 0, 0, 0, 0, 0, 0, 0}), "byte 0: a floating-point number is not supported"},
    {"null", bytes_of({0xF6}), "byte 0: a null is not supported"},
    {"undefined", bytes_of({0xF7}), "byte 0: an undefined value is not supported"},
    {"a simple value", bytes_of({0xE0}), "byte 0: not a CBOR item"},
    {"a simple value of two bytes", bytes_of({0xF8, 0x20}), "byte 0: not a CBOR item"},
    {"a reserved length", bytes_of({0x1C}), "byte 0: not a CBOR item"},
    {"text of indefinite length", bytes_of({0x7F, 0x61, 0x61, 0xFF}),
     "byte 0: an item of indefinite length is not supported"},
    {"data of indefinite length", bytes_of({0x5F, 0x41, 0x00, 0xFF}),
     "byte 0: an item of indefinite length is not supported"},
    {"an array of indefinite length", bytes_of({0x9F, 0xFF}), "byte 0: an item of indefinite length is not supported"},
    {"a map of indefinite length", bytes_of({0xBF, 0xFF}), "byte 0: an item of indefinite length is not supported"},
    {"a break", bytes_of({0xFF}), "byte 0: a break code is not supported"},
    {"text that is not UTF-8", bytes_of({0x81, 0x61, 0xFF}),
     "byte 1: text that is not well-formed UTF-8 or contains a zero byte"},
    {"text with a zero", bytes_of({0x63, 0x61, 0x00, 0x62}),
     "byte 0: text that is not well-formed UTF-8 or contains a zero byte"},
    {"a key that is a number", bytes_of({0xA1, 0x01, 0x02}), "byte 1: a key that is not text"},
    {"a key that is not UTF-8", bytes_of({0xA1, 0x61, 0xFF, 0x02}),
     "byte 1: text that is not well-formed UTF-8 or contains a zero byte"},
    {"a key twice", bytes_of({0xA2, 0x61, 0x61, 0x01, 0x61, 0x61, 0x02}), "byte 4: a duplicate key in a map"},
    {"text longer than what follows", bytes_of({0x65, 0x61, 0x62}),
     "byte 0: the item is cut short: only 3 bytes remain"},
    {"data of 2 to the 64th - 1 bytes", bytes_of({0x5B, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}),
     "byte 0: the item is cut short: only 9 bytes remain"},
    {"an array of a billion in five bytes", bytes_of({0x9A, 0x3B, 0x9A, 0xCA, 0x00}),
     "byte 0: an array of 1000000000 values in 0 bytes"},
    {"a map of a billion in five bytes", bytes_of({0xBA, 0x3B, 0x9A, 0xCA, 0x00}),
     "byte 0: a map of 1000000000 entries in 0 bytes"},
    {"an array of 2 to the 64th - 1", bytes_of({0x9B, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00}),
     "byte 0: an array of 18446744073709551615 values in 1 bytes"},
    {"a map of 2 to the 64th - 1", bytes_of({0xBB, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x60, 0x00}),
     "byte 0: a map of 18446744073709551615 entries in 2 bytes"},
    {"an array one longer than what follows", bytes_of({0x83, 0x00, 0x00}), "byte 0: an array of 3 values in 2 bytes"},
    {"a map one longer than what follows", bytes_of({0xA2, 0x60, 0x00, 0x61}), "byte 0: a map of 2 entries in 3 bytes"},
    {"an array whose last value is missing", bytes_of({0x82, 0x41, 0x00}),
     "byte 3: the item is cut short: only 0 bytes remain"},
};

TEST(BinaryEncoding, WhatIsNoEncodingIsRefusedWithThePlaceAndTheReason) {
    for (const RefusedRow &row : kRefusedRows) {
        EXPECT_EQ(refusal(row.bytes), row.error) << row.meaning;
    }
}

TEST(BinaryEncoding, ErrorsNameTheFileAndCountFromItsBeginning) {
    EXPECT_EQ(refusal(bytes_of({0x81, 0xF6}), "dump.bin", 204), "dump.bin: byte 205: a null is not supported");
}

TEST(BinaryEncoding, DeepNestingIsRefusedAtTheLevelThatIsTooDeep) {
    for (const int container : {0x81, 0xA1}) {
        Bytes deep;
        for (int level = 0; level < 100'000; ++level) {
            deep.push_back(static_cast<std::byte>(container));
            if (container == 0xA1) {
                deep.push_back(std::byte{0x60});
            }
        }

        EXPECT_EQ(refusal(deep),
                  container == 0x81 ? "byte 64: nested deeper than 64" : "byte 128: nested deeper than 64");
    }
}

TEST(BinaryEncoding, ContainersThatClaimAllThatRemainsAtEveryLevelAreRefused) {
    // Each level claims as many values as bytes remain, so that every count alone is plausible.
    Bytes nested;
    for (int level = 0; level < 60; ++level) {
        nested.push_back(std::byte{0x98});
        nested.push_back(static_cast<std::byte>(2 * (60 - level) - 2));
    }

    EXPECT_NE(refusal(nested), "");
}

/** A tree with every kind of value in it. */
OwnedValue sample_tree() {
    OwnedMutableValue list(TvArrayCreateMutable());
    for (const std::int64_t number : {std::int64_t{0}, std::int64_t{-1}, std::int64_t{1} << 40}) {
        TvArrayAppend(list.get(), OwnedValue(TvNumberCreateSInt64(number)).get());
    }
    TvArrayAppend(list.get(), TvBooleanGet(true));
    TvArrayAppend(list.get(), OwnedValue(TvDataCreate("\x01\x02\x03", 3)).get());
    OwnedMutableValue tree(TvDictionaryCreateMutable());
    host::set_value(tree.get(), "list", OwnedValue(list.detach()));
    host::set_value(tree.get(), "a key that is longer than twenty-three bytes", text("value"));
    host::set_value(tree.get(), "", OwnedValue(TvNumberCreateSInt32(-300)));
    return OwnedValue(tree.detach());
}

TEST(BinaryEncoding, EveryTruncationIsRefused) {
    const Bytes whole = encode(sample_tree().get());
    ASSERT_EQ(refusal(whole), "");

    for (std::size_t length = 0; length < whole.size(); ++length) {
        // Storage of its own, so that an address checker sees a read past the end.
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_NE(refusal(cut), "") << length;
    }
}

TEST(BinaryEncoding, EverySingleChangedByteIsTakenOrRefusedButNeverMore) {
    const Bytes whole = encode(sample_tree().get());
    for (std::size_t place = 0; place < whole.size(); ++place) {
        for (int value = 0; value < 256; ++value) {
            Bytes changed = whole;
            changed[place] = static_cast<std::byte>(value);
            if (refusal(changed).empty()) {
                EXPECT_TRUE(TvEqual(decode(encode(decode(changed).get())).get(), decode(changed).get()));
            }
        }
    }
}

// ---- round trip

rc::Gen<std::string> valid_text() {
    // Code points of every sequence length, without surrogates and zero.
    const auto code_point =
        rc::gen::oneOf(rc::gen::inRange(0x01, 0x80), rc::gen::inRange(0x80, 0x800), rc::gen::inRange(0x800, 0xD800),
                       rc::gen::inRange(0xE000, 0x10000), rc::gen::inRange(0x10000, 0x110000));
    return rc::gen::map(rc::gen::container<std::vector<int>>(code_point), [](const std::vector<int> &points) {
        std::string utf8;
        const auto add = [&](int byte) { utf8.push_back(static_cast<char>(byte)); };
        for (const int point : points) {
            if (point < 0x80) {
                add(point);
            } else if (point < 0x800) {
                add(0xC0 | point >> 6);
                add(0x80 | (point & 0x3F));
            } else if (point < 0x10000) {
                add(0xE0 | point >> 12);
                add(0x80 | (point >> 6 & 0x3F));
                add(0x80 | (point & 0x3F));
            } else {
                add(0xF0 | point >> 18);
                add(0x80 | (point >> 12 & 0x3F));
                add(0x80 | (point >> 6 & 0x3F));
                add(0x80 | (point & 0x3F));
            }
        }
        return utf8;
    });
}

/** A value of any kind, at most `depth` containers deep. */
OwnedValue arbitrary_value(int depth) {
    const int kind = *rc::gen::inRange(0, depth == 0 ? 5 : 7);
    switch (kind) {
    case 0:
        return OwnedValue(TvNumberCreateSInt32(*rc::gen::arbitrary<std::int32_t>()));
    case 1:
        return OwnedValue(TvNumberCreateSInt64(*rc::gen::arbitrary<std::int64_t>()));
    case 2:
        return text(*valid_text());
    case 3: {
        const auto bytes = *rc::gen::arbitrary<std::vector<std::uint8_t>>();
        return OwnedValue(TvDataCreate(bytes.data(), bytes.size()));
    }
    case 4:
        return OwnedValue(TvRetain(TvBooleanGet(*rc::gen::arbitrary<bool>())));
    case 5: {
        OwnedMutableValue array(TvArrayCreateMutable());
        for (int count = *rc::gen::inRange(0, 5); count > 0; --count) {
            TvArrayAppend(array.get(), arbitrary_value(depth - 1).get());
        }
        return OwnedValue(array.detach());
    }
    default: {
        OwnedMutableValue dictionary(TvDictionaryCreateMutable());
        for (int count = *rc::gen::inRange(0, 5); count > 0; --count) {
            host::set_value(dictionary.get(), *valid_text(), arbitrary_value(depth - 1));
        }
        return OwnedValue(dictionary.detach());
    }
    }
}

RC_GTEST_PROP(BinaryEncoding, WhatIsWrittenIsReadBackEqual, ()) {
    const OwnedValue value = arbitrary_value(4);

    const Bytes bytes = encode(value.get());

    RC_ASSERT(!bytes.empty());
    RC_ASSERT(TvEqual(decode(bytes).get(), value.get()));
}

RC_GTEST_PROP(BinaryEncoding, ArbitraryBytesAreReadOrRefused, (const std::vector<std::uint8_t> &raw)) {
    Bytes bytes(raw.size());
    std::transform(raw.begin(), raw.end(), bytes.begin(), [](std::uint8_t byte) { return std::byte{byte}; });

    if (refusal(bytes).empty()) {
        const OwnedValue value = decode(bytes);
        RC_ASSERT(TvEqual(decode(encode(value.get())).get(), value.get()));
    }
}

} // namespace
