#include <clocale>
#include <cstdint>
#include <cstring>
#include <limits>
#include <locale.h>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/Owned.h"
#include "platform/TvValues.h"

namespace {

using platform::OwnedMutableValue;
using platform::OwnedValue;

OwnedValue text(const char *content) { return OwnedValue(TvStringCreateWithCString(content, kTvStringEncodingUTF8)); }

OwnedValue number(std::int64_t value) { return OwnedValue(TvNumberCreateSInt64(value)); }

OwnedValue data_of(const std::string &bytes) { return OwnedValue(TvDataCreate(bytes.data(), bytes.size())); }

/** One value of every kind. */
struct OneOfEach {
    OwnedValue string = text("text");
    OwnedValue a_number = number(1);
    OwnedValue bytes = data_of("bytes");
    OwnedMutableValue array{TvArrayCreateMutable()};
    OwnedMutableValue dictionary{TvDictionaryCreateMutable()};

    std::vector<TvRef> all() const {
        return {string.get(), a_number.get(), TvBooleanGet(true), bytes.get(), array.get(), dictionary.get()};
    }
    /** All but the value of this kind, and null. */
    std::vector<TvRef> all_but(TvTypeID type) const {
        std::vector<TvRef> others{nullptr};
        for (TvRef value : all()) {
            if (TvGetTypeID(value) != type) {
                others.push_back(value);
            }
        }
        return others;
    }
};

// ---- every kind

TEST(ValuesContract, EveryKindHasItsOwnTypeAndNullHasNone) {
    const OneOfEach values;

    EXPECT_EQ(TvGetTypeID(values.string.get()), TvStringGetTypeID());
    EXPECT_EQ(TvGetTypeID(values.a_number.get()), TvNumberGetTypeID());
    EXPECT_EQ(TvGetTypeID(TvBooleanGet(false)), TvBooleanGetTypeID());
    EXPECT_EQ(TvGetTypeID(values.bytes.get()), TvDataGetTypeID());
    EXPECT_EQ(TvGetTypeID(values.array.get()), TvArrayGetTypeID());
    EXPECT_EQ(TvGetTypeID(values.dictionary.get()), TvDictionaryGetTypeID());
    EXPECT_EQ(TvGetTypeID(nullptr), 0u);
    const std::set<TvTypeID> types{TvStringGetTypeID(), TvNumberGetTypeID(), TvBooleanGetTypeID(),
                                   TvDataGetTypeID(),   TvArrayGetTypeID(),  TvDictionaryGetTypeID()};
    EXPECT_EQ(types.size(), 6u);
    EXPECT_FALSE(types.contains(0));
}

TEST(ValuesContract, BothNumberWidthsAreOneKind) {
    const OwnedValue narrow(TvNumberCreateSInt32(1));
    const OwnedValue wide(TvNumberCreateSInt64(1));

    EXPECT_EQ(TvGetTypeID(narrow.get()), TvGetTypeID(wide.get()));
}

TEST(ValuesContract, RetainGivesTheSameHandleAndNullForNull) {
    const OneOfEach values;
    for (TvRef value : values.all()) {
        EXPECT_EQ(TvRetain(value), value);
        TvRelease(value);
    }
    EXPECT_EQ(TvRetain(nullptr), nullptr);
}

TEST(ValuesContract, ReleasingNullDoesNothing) { TvRelease(nullptr); }

TEST(ValuesContract, RetainedValueOutlivesItsFirstOwner) {
    OwnedValue first = text("kept");
    const OwnedValue second(TvRetain(first.get()));

    first.reset();

    EXPECT_STREQ(TvStringGetCString(second.get()), "kept");
}

TEST(ValuesContract, CountsAreAtomic) {
    const OwnedValue shared = text("shared");
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int turn = 0; turn < 10'000; ++turn) {
                TvRelease(TvRetain(shared.get()));
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }

    EXPECT_STREQ(TvStringGetCString(shared.get()), "shared");
}

TEST(ValuesContract, LongChainOfArraysIsReleased) {
    OwnedValue chain(TvArrayCreateMutable());
    for (int depth = 0; depth < 200'000; ++depth) {
        OwnedMutableValue outer(TvArrayCreateMutable());
        ASSERT_TRUE(TvArrayAppend(outer.get(), chain.get()));
        chain.reset(outer.detach());
    }

    chain.reset();
}

// ---- equality

TEST(ValuesContract, ValueEqualsItself) {
    const OneOfEach values;
    for (TvRef value : values.all()) {
        EXPECT_TRUE(TvEqual(value, value)) << TvGetTypeID(value);
    }
}

TEST(ValuesContract, NullEqualsNothing) {
    const OwnedValue value = text("x");

    EXPECT_FALSE(TvEqual(nullptr, nullptr));
    EXPECT_FALSE(TvEqual(value.get(), nullptr));
    EXPECT_FALSE(TvEqual(nullptr, value.get()));
}

TEST(ValuesContract, DifferentKindsAreNeverEqual) {
    const OneOfEach values;
    for (TvRef a : values.all()) {
        for (TvRef b : values.all()) {
            EXPECT_EQ(TvEqual(a, b), a == b) << TvGetTypeID(a) << " " << TvGetTypeID(b);
        }
    }
    EXPECT_FALSE(TvEqual(text("bytes").get(), data_of("bytes").get()));
}

TEST(ValuesContract, StringsAndDataAreEqualByteForByte) {
    EXPECT_TRUE(TvEqual(text("abc").get(), text("abc").get()));
    EXPECT_FALSE(TvEqual(text("abc").get(), text("abd").get()));
    EXPECT_FALSE(TvEqual(text("abc").get(), text("abcd").get()));
    EXPECT_TRUE(TvEqual(data_of(std::string("a\0b", 3)).get(), data_of(std::string("a\0b", 3)).get()));
    EXPECT_FALSE(TvEqual(data_of(std::string("a\0b", 3)).get(), data_of(std::string("a\0c", 3)).get()));
}

TEST(ValuesContract, NumbersAreEqualByValueWhateverTheirWidth) {
    const OwnedValue narrow(TvNumberCreateSInt32(-7));

    EXPECT_TRUE(TvEqual(narrow.get(), number(-7).get()));
    EXPECT_FALSE(TvEqual(narrow.get(), number(7).get()));
}

TEST(ValuesContract, BooleansAreEqualByValue) {
    EXPECT_TRUE(TvEqual(TvBooleanGet(true), TvBooleanGet(true)));
    EXPECT_FALSE(TvEqual(TvBooleanGet(true), TvBooleanGet(false)));
}

TEST(ValuesContract, ArraysAreEqualInOrder) {
    const auto array_of = [](std::initializer_list<std::int64_t> numbers) {
        OwnedMutableValue array(TvArrayCreateMutable());
        for (const std::int64_t value : numbers) {
            TvArrayAppend(array.get(), number(value).get());
        }
        return array;
    };

    EXPECT_TRUE(TvEqual(array_of({1, 2}).get(), array_of({1, 2}).get()));
    EXPECT_FALSE(TvEqual(array_of({1, 2}).get(), array_of({2, 1}).get()));
    EXPECT_FALSE(TvEqual(array_of({1, 2}).get(), array_of({1, 2, 3}).get()));
}

TEST(ValuesContract, DictionariesAreEqualByTheirEntries) {
    const auto dictionary_of = [](std::initializer_list<std::pair<const char *, std::int64_t>> entries) {
        OwnedMutableValue dictionary(TvDictionaryCreateMutable());
        for (const auto &[key, value] : entries) {
            TvDictionarySetValue(dictionary.get(), text(key).get(), number(value).get());
        }
        return dictionary;
    };

    EXPECT_TRUE(TvEqual(dictionary_of({{"a", 1}, {"b", 2}}).get(), dictionary_of({{"b", 2}, {"a", 1}}).get()));
    EXPECT_FALSE(TvEqual(dictionary_of({{"a", 1}, {"b", 2}}).get(), dictionary_of({{"a", 1}, {"b", 3}}).get()));
    EXPECT_FALSE(TvEqual(dictionary_of({{"a", 1}}).get(), dictionary_of({{"b", 1}}).get()));
    EXPECT_FALSE(TvEqual(dictionary_of({{"a", 1}}).get(), dictionary_of({{"a", 1}, {"b", 2}}).get()));
}

// ---- strings

struct TextRow {
    std::string bytes;
    bool ascii;
    bool utf8;
    const char *meaning;
};

const TextRow kTextRows[] = {
    {"", true, true, "nothing"},
    {"plain", true, true, "ASCII"},
    {"\x01\x7F", true, true, "the lowest and the highest of ASCII"},
    {"\xC3\xA9", false, true, "two bytes"},
    {"\xC2\x80", false, true, "U+0080, the first of two bytes"},
    {"\xDF\xBF", false, true, "U+07FF, the last of two bytes"},
    {"\xE0\xA0\x80", false, true, "U+0800, the first of three bytes"},
    {"\xEF\xBF\xBF", false, true, "U+FFFF, the last of three bytes"},
    {"\xED\x9F\xBF", false, true, "U+D7FF, the last before the surrogates"},
    {"\xEE\x80\x80", false, true, "U+E000, the first after the surrogates"},
    {"\xF0\x90\x80\x80", false, true, "U+10000, the first of four bytes"},
    {"\xF4\x8F\xBF\xBF", false, true, "U+10FFFF, the last of all"},
    {"\x80", false, false, "a byte that continues nothing"},
    {"\xC3", false, false, "a first byte alone"},
    {"\xC3(", false, false, "a first byte followed by ASCII"},
    {"\xE2\x82", false, false, "three bytes cut to two"},
    {"\xE2\x82(", false, false, "three bytes whose last continues nothing"},
    {"\xF0\x9F\x98", false, false, "four bytes cut to three"},
    {"\xF0\x9F\x98\xC0", false, false, "four bytes whose last continues nothing"},
    {"\xC0\xAF", false, false, "an overlong form of two bytes"},
    {"\xC1\xBF", false, false, "the last overlong form of two bytes"},
    {"\xE0\x9F\xBF", false, false, "an overlong form of three bytes"},
    {"\xF0\x8F\xBF\xBF", false, false, "an overlong form of four bytes"},
    {"\xED\xA0\x80", false, false, "the first surrogate"},
    {"\xED\xBF\xBF", false, false, "the last surrogate"},
    {"\xF4\x90\x80\x80", false, false, "U+110000"},
    {"\xF5\x80\x80\x80", false, false, "a first byte beyond all"},
    {"\xFF", false, false, "no first byte of anything"},
    {"ok\xFFok", false, false, "a bad byte in the middle"},
};

TEST(ValuesContract, StringsAreMadeOfTextThatIsValidInItsEncodingAndOfNoOther) {
    for (const TextRow &row : kTextRows) {
        const OwnedValue ascii(TvStringCreateWithCString(row.bytes.c_str(), kTvStringEncodingASCII));
        const OwnedValue utf8(TvStringCreateWithCString(row.bytes.c_str(), kTvStringEncodingUTF8));
        const OwnedValue ascii_bytes(
            TvStringCreateWithBytes(row.bytes.data(), row.bytes.size(), kTvStringEncodingASCII));
        const OwnedValue utf8_bytes(TvStringCreateWithBytes(row.bytes.data(), row.bytes.size(), kTvStringEncodingUTF8));

        EXPECT_EQ(static_cast<bool>(ascii), row.ascii) << row.meaning;
        EXPECT_EQ(static_cast<bool>(ascii_bytes), row.ascii) << row.meaning;
        EXPECT_EQ(static_cast<bool>(utf8), row.utf8) << row.meaning;
        EXPECT_EQ(static_cast<bool>(utf8_bytes), row.utf8) << row.meaning;
        if (utf8) {
            EXPECT_EQ(TvStringGetCString(utf8.get()), row.bytes) << row.meaning;
            EXPECT_EQ(TvStringGetLength(utf8.get()), row.bytes.size()) << row.meaning;
            EXPECT_TRUE(TvEqual(utf8.get(), utf8_bytes.get())) << row.meaning;
        }
    }
}

TEST(ValuesContract, TextIsJudgedByItsBytesWhereverTheyStand) {
    for (const TextRow &row : kTextRows) {
        for (std::size_t before = 0; before < 80; ++before) {
            for (std::size_t after = 0; after < 12; ++after) {
                const std::string bytes = std::string(before, 'x') + row.bytes + std::string(after, 'x');
                const OwnedValue ascii(TvStringCreateWithBytes(bytes.data(), bytes.size(), kTvStringEncodingASCII));
                const OwnedValue utf8(TvStringCreateWithBytes(bytes.data(), bytes.size(), kTvStringEncodingUTF8));

                ASSERT_EQ(static_cast<bool>(ascii), row.ascii) << row.meaning << " at " << before;
                ASSERT_EQ(static_cast<bool>(utf8), row.utf8) << row.meaning << " at " << before;
            }
        }
    }
}

TEST(ValuesContract, StringOfBytesTakesNoMoreThanItsLengthAndEndsWithAZero) {
    const OwnedValue string(TvStringCreateWithBytes("abcdef", 3, kTvStringEncodingASCII));

    EXPECT_STREQ(TvStringGetCString(string.get()), "abc");
    EXPECT_EQ(TvStringGetLength(string.get()), 3u);
}

TEST(ValuesContract, BytesThatHoldAZeroMakeNoString) {
    EXPECT_EQ(TvStringCreateWithBytes("a\0b", 3, kTvStringEncodingASCII), nullptr);
    EXPECT_EQ(TvStringCreateWithBytes("a\0b", 3, kTvStringEncodingUTF8), nullptr);
}

TEST(ValuesContract, NullBytesMakeAnEmptyStringOnly) {
    const OwnedValue empty(TvStringCreateWithBytes(nullptr, 0, kTvStringEncodingUTF8));

    EXPECT_STREQ(TvStringGetCString(empty.get()), "");
    EXPECT_EQ(TvStringCreateWithBytes(nullptr, 1, kTvStringEncodingUTF8), nullptr);
}

TEST(ValuesContract, NullTextMakesNoString) {
    EXPECT_EQ(TvStringCreateWithCString(nullptr, kTvStringEncodingUTF8), nullptr);
}

TEST(ValuesContract, StringKeepsACopy) {
    char buffer[] = "before";
    const OwnedValue string = text(buffer);

    std::strcpy(buffer, "after!");

    EXPECT_STREQ(TvStringGetCString(string.get()), "before");
}

TEST(ValuesContract, OtherKindsAreNoStrings) {
    const OneOfEach values;
    for (TvRef value : values.all_but(TvStringGetTypeID())) {
        EXPECT_EQ(TvStringGetCString(value), nullptr);
        EXPECT_EQ(TvStringGetLength(value), 0u);
    }
}

TEST(ValuesContract, FormatFollowsThePrintfRules) {
    const OwnedValue string(TvStringCreateWithFormat("%s|%5u|%-4d|%x|%lu|%%", "text", 42u, -7, 0xBEEFu, 9ul));

    EXPECT_STREQ(TvStringGetCString(string.get()), "text|   42|-7  |beef|9|%");
}

TEST(ValuesContract, FormatHasNoLimitOfItsOwn) {
    const std::string long_text(100'000, 'x');

    const OwnedValue string(TvStringCreateWithFormat("<%s>", long_text.c_str()));

    EXPECT_EQ(TvStringGetCString(string.get()), "<" + long_text + ">");
}

TEST(ValuesContract, FormattedTextOfEveryLengthIsWhole) {
    for (int length = 0; length < 1'200; ++length) {
        const OwnedValue string(TvStringCreateWithFormat("%*s", length, ""));

        ASSERT_EQ(TvStringGetCString(string.get()), std::string(static_cast<std::size_t>(length), ' ')) << length;
    }
}

TEST(ValuesContract, FormattedTextThatIsNotUtf8IsNoString) {
    EXPECT_EQ(TvStringCreateWithFormat("%s", "\xFF"), nullptr);
    EXPECT_EQ(TvStringCreateWithFormat("%c", 0), nullptr);
    EXPECT_STREQ(TvStringGetCString(OwnedValue(TvStringCreateWithFormat("%s", "\xC3\xA9")).get()), "\xC3\xA9");
}

TEST(ValuesContract, NullFormatMakesNoString) {
    const char *format = nullptr;

    EXPECT_EQ(TvStringCreateWithFormat(format, 1), nullptr);
}

TEST(ValuesContract, FormatIsThatOfTheCLocaleWhateverTheProcessChose) {
    // Any installed locale whose decimal point is a comma.
    const char *const kCommaLocales[] = {"de_DE.UTF-8", "fr_FR.UTF-8", "de_DE.utf8", "de_DE"};
    const std::string before = std::setlocale(LC_ALL, nullptr);
    bool found = false;
    for (const char *name : kCommaLocales) {
        found = found || std::setlocale(LC_ALL, name) != nullptr;
    }
    if (!found) {
        GTEST_SKIP() << "no locale with a decimal comma is installed";
    }
    ASSERT_STREQ(std::localeconv()->decimal_point, ",");

    const OwnedValue string(TvStringCreateWithFormat("%.2f %s", 1.5, "\xC3\xA9"));
    const std::string point_after = std::localeconv()->decimal_point;
    std::setlocale(LC_ALL, before.c_str());

    EXPECT_STREQ(TvStringGetCString(string.get()), "1.50 \xC3\xA9");
    EXPECT_EQ(point_after, ",");
}

// ---- numbers and booleans

TEST(ValuesContract, NumbersKeepTheirValue) {
    for (const std::int64_t value : {std::numeric_limits<std::int64_t>::min(), std::int64_t{-1}, std::int64_t{0},
                                     std::numeric_limits<std::int64_t>::max()}) {
        std::int64_t out = 1;

        EXPECT_TRUE(TvNumberGetSInt64(number(value).get(), &out));
        EXPECT_EQ(out, value);
    }
    for (const std::int32_t value :
         {std::numeric_limits<std::int32_t>::min(), -1, 0, std::numeric_limits<std::int32_t>::max()}) {
        const OwnedValue narrow(TvNumberCreateSInt32(value));
        std::int32_t out = 1;
        std::int64_t wide = 1;

        EXPECT_TRUE(TvNumberGetSInt32(narrow.get(), &out));
        EXPECT_EQ(out, value);
        EXPECT_TRUE(TvNumberGetSInt64(narrow.get(), &wide));
        EXPECT_EQ(wide, value);
    }
}

TEST(ValuesContract, NumberThat32BitsHoldIsGotAs32BitsWhateverItsWidth) {
    std::int32_t out = 0;

    EXPECT_TRUE(TvNumberGetSInt32(number(std::numeric_limits<std::int32_t>::min()).get(), &out));
    EXPECT_EQ(out, std::numeric_limits<std::int32_t>::min());
}

TEST(ValuesContract, NumberThat32BitsCannotHoldIsNotGotAs32Bits) {
    std::int32_t out = 77;

    EXPECT_FALSE(TvNumberGetSInt32(number(std::int64_t{1} << 31).get(), &out));
    EXPECT_FALSE(TvNumberGetSInt32(number(-(std::int64_t{1} << 31) - 1).get(), &out));
    EXPECT_EQ(out, 77);
}

TEST(ValuesContract, OtherKindsAreNoNumbersAndLeaveTheOutputAlone) {
    const OneOfEach values;
    for (TvRef value : values.all_but(TvNumberGetTypeID())) {
        std::int32_t narrow = 77;
        std::int64_t wide = 78;

        EXPECT_FALSE(TvNumberGetSInt32(value, &narrow));
        EXPECT_FALSE(TvNumberGetSInt64(value, &wide));
        EXPECT_EQ(narrow, 77);
        EXPECT_EQ(wide, 78);
    }
}

TEST(ValuesContract, NumberIsNotGotIntoNull) {
    EXPECT_FALSE(TvNumberGetSInt32(number(1).get(), nullptr));
    EXPECT_FALSE(TvNumberGetSInt64(number(1).get(), nullptr));
}

TEST(ValuesContract, BooleansAreTwoValuesThatOutliveEveryRelease) {
    for (const bool value : {false, true}) {
        TvRef boolean = TvBooleanGet(value);

        for (int turn = 0; turn < 3; ++turn) {
            TvRetain(boolean);
        }
        for (int turn = 0; turn < 3; ++turn) {
            TvRelease(boolean);
        }

        EXPECT_EQ(TvBooleanGet(value), boolean);
        EXPECT_EQ(TvBooleanGetValue(boolean), value);
    }
}

TEST(ValuesContract, OnlyTheBooleanTrueIsTrue) {
    const OneOfEach values;
    for (TvRef value : values.all_but(TvBooleanGetTypeID())) {
        EXPECT_FALSE(TvBooleanGetValue(value));
    }
}

// ---- data

TEST(ValuesContract, DataKeepsACopyOfEveryByte) {
    std::string bytes("\0\xFF middle \0", 11);
    const OwnedValue value = data_of(bytes);
    const std::string before = bytes;
    bytes.assign(bytes.size(), 'x');

    ASSERT_EQ(TvDataGetLength(value.get()), before.size());
    EXPECT_EQ(std::memcmp(TvDataGetBytes(value.get()), before.data(), before.size()), 0);
}

TEST(ValuesContract, EmptyDataHasBytesThatAreNotNull) {
    const OwnedValue empty(TvDataCreate(nullptr, 0));

    ASSERT_TRUE(empty);
    EXPECT_NE(TvDataGetBytes(empty.get()), nullptr);
    EXPECT_EQ(TvDataGetLength(empty.get()), 0u);
}

TEST(ValuesContract, DataIsNotMadeFromNullBytesOrWithoutMemory) {
    const char byte = 'x';

    EXPECT_EQ(TvDataCreate(nullptr, 1), nullptr);
    EXPECT_EQ(TvDataCreate(&byte, SIZE_MAX), nullptr);
    EXPECT_EQ(TvDataCreate(&byte, SIZE_MAX / 2 + 1), nullptr);
}

TEST(ValuesContract, OtherKindsAreNoData) {
    const OneOfEach values;
    for (TvRef value : values.all_but(TvDataGetTypeID())) {
        EXPECT_EQ(TvDataGetBytes(value), nullptr);
        EXPECT_EQ(TvDataGetLength(value), 0u);
    }
}

// ---- arrays

TEST(ValuesContract, ArrayKeepsItsValuesInOrder) {
    const OwnedMutableValue array(TvArrayCreateMutable());
    EXPECT_EQ(TvArrayGetCount(array.get()), 0u);

    EXPECT_TRUE(TvArrayAppend(array.get(), text("first").get()));
    EXPECT_TRUE(TvArrayAppend(array.get(), text("second").get()));

    ASSERT_EQ(TvArrayGetCount(array.get()), 2u);
    EXPECT_STREQ(TvStringGetCString(TvArrayGetValue(array.get(), 0)), "first");
    EXPECT_STREQ(TvStringGetCString(TvArrayGetValue(array.get(), 1)), "second");
    EXPECT_EQ(TvArrayGetValue(array.get(), 2), nullptr);
    EXPECT_EQ(TvArrayGetValue(array.get(), SIZE_MAX), nullptr);
}

TEST(ValuesContract, AppendingNullOrToNoArrayFailsAndChangesNothing) {
    const OwnedMutableValue array(TvArrayCreateMutable());
    const OwnedMutableValue dictionary(TvDictionaryCreateMutable());
    const OwnedValue value = text("x");

    EXPECT_FALSE(TvArrayAppend(array.get(), nullptr));
    EXPECT_FALSE(TvArrayAppend(nullptr, value.get()));
    EXPECT_FALSE(TvArrayAppend(dictionary.get(), value.get()));

    EXPECT_EQ(TvArrayGetCount(array.get()), 0u);
    EXPECT_EQ(TvDictionaryGetCount(dictionary.get()), 0u);
}

TEST(ValuesContract, OtherKindsAreNoArrays) {
    const OneOfEach values;
    for (TvRef value : values.all_but(TvArrayGetTypeID())) {
        EXPECT_EQ(TvArrayGetCount(value), 0u);
        EXPECT_EQ(TvArrayGetValue(value, 0), nullptr);
    }
}

// ---- dictionaries

TEST(ValuesContract, DictionaryKeepsItsEntriesByTheTextOfTheirKeys) {
    const OwnedMutableValue dictionary(TvDictionaryCreateMutable());
    EXPECT_EQ(TvDictionaryGetCount(dictionary.get()), 0u);

    EXPECT_TRUE(TvDictionarySetValue(dictionary.get(), text("b").get(), text("bee").get()));
    EXPECT_TRUE(TvDictionarySetValue(dictionary.get(), text("a").get(), text("ay").get()));
    EXPECT_TRUE(TvDictionarySetValue(dictionary.get(), text("").get(), text("nothing").get()));

    EXPECT_EQ(TvDictionaryGetCount(dictionary.get()), 3u);
    EXPECT_STREQ(TvStringGetCString(TvDictionaryGetValue(dictionary.get(), "a")), "ay");
    EXPECT_STREQ(TvStringGetCString(TvDictionaryGetValue(dictionary.get(), "b")), "bee");
    EXPECT_STREQ(TvStringGetCString(TvDictionaryGetValue(dictionary.get(), "")), "nothing");
    EXPECT_EQ(TvDictionaryGetValue(dictionary.get(), "c"), nullptr);
    EXPECT_EQ(TvDictionaryGetValue(dictionary.get(), nullptr), nullptr);
}

TEST(ValuesContract, SettingAKeyAgainReplacesItsValue) {
    const OwnedMutableValue dictionary(TvDictionaryCreateMutable());

    EXPECT_TRUE(TvDictionarySetValue(dictionary.get(), text("key").get(), text("old").get()));
    EXPECT_TRUE(TvDictionarySetValue(dictionary.get(), text("key").get(), text("new").get()));

    EXPECT_EQ(TvDictionaryGetCount(dictionary.get()), 1u);
    EXPECT_STREQ(TvStringGetCString(TvDictionaryGetValue(dictionary.get(), "key")), "new");
}

TEST(ValuesContract, SettingAKeyToItsOwnValueKeepsIt) {
    const OwnedMutableValue dictionary(TvDictionaryCreateMutable());
    const OwnedValue key = text("key");
    EXPECT_TRUE(TvDictionarySetValue(dictionary.get(), key.get(), text("same").get()));

    EXPECT_TRUE(TvDictionarySetValue(dictionary.get(), key.get(), TvDictionaryGetValue(dictionary.get(), "key")));

    EXPECT_STREQ(TvStringGetCString(TvDictionaryGetValue(dictionary.get(), "key")), "same");
}

TEST(ValuesContract, SettingWithoutKeyValueOrDictionaryFailsAndChangesNothing) {
    const OneOfEach values;
    const OwnedMutableValue dictionary(TvDictionaryCreateMutable());
    const OwnedValue key = text("key");

    EXPECT_FALSE(TvDictionarySetValue(dictionary.get(), key.get(), nullptr));
    EXPECT_FALSE(TvDictionarySetValue(nullptr, key.get(), key.get()));
    EXPECT_FALSE(TvDictionarySetValue(values.array.get(), key.get(), key.get()));
    for (TvRef no_string : values.all_but(TvStringGetTypeID())) {
        EXPECT_FALSE(TvDictionarySetValue(dictionary.get(), no_string, key.get()));
    }

    EXPECT_EQ(TvDictionaryGetCount(dictionary.get()), 0u);
    EXPECT_EQ(TvArrayGetCount(values.array.get()), 0u);
}

TEST(ValuesContract, OtherKindsAreNoDictionaries) {
    const OneOfEach values;
    for (TvRef value : values.all_but(TvDictionaryGetTypeID())) {
        EXPECT_EQ(TvDictionaryGetCount(value), 0u);
        EXPECT_EQ(TvDictionaryGetValue(value, "key"), nullptr);
    }
}

TEST(ValuesContract, ContainersKeepWhatTheyHoldAndTheKeysAlive) {
    OwnedMutableValue outer(TvDictionaryCreateMutable());
    {
        const OwnedMutableValue inner(TvArrayCreateMutable());
        ASSERT_TRUE(TvArrayAppend(inner.get(), text("deep").get()));
        ASSERT_TRUE(TvDictionarySetValue(outer.get(), text("inner").get(), inner.get()));
    }

    EXPECT_STREQ(TvStringGetCString(TvArrayGetValue(TvDictionaryGetValue(outer.get(), "inner"), 0)), "deep");
}

TEST(ValuesContract, ValueOutlivesTheContainerThatHeldIt) {
    OwnedMutableValue array(TvArrayCreateMutable());
    ASSERT_TRUE(TvArrayAppend(array.get(), text("kept").get()));
    const OwnedValue kept(TvRetain(TvArrayGetValue(array.get(), 0)));

    array.reset();

    EXPECT_STREQ(TvStringGetCString(kept.get()), "kept");
}

} // namespace
