#include "host/TvValues.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "host/fault_points.h"

namespace {

using platform::OwnedMutableValue;
using platform::OwnedValue;

OwnedValue text(const char *content) { return OwnedValue(TvStringCreateWithCString(content, kTvStringEncodingUTF8)); }

TEST(TypedValues, AreCountedAsLongAsTheyLive) {
    const std::size_t before = host::live_values();
    {
        const OwnedMutableValue dictionary(TvDictionaryCreateMutable());
        const OwnedMutableValue array(TvArrayCreateMutable());
        const OwnedValue number(TvNumberCreateSInt64(1));
        const OwnedValue second_reference(TvRetain(number.get()));
        TvArrayAppend(array.get(), number.get());
        ASSERT_TRUE(host::set_value(dictionary.get(), "array", OwnedValue(TvRetain(array.get()))));

        EXPECT_EQ(host::live_values() - before, 4u); // the key is one, too
    }
    EXPECT_EQ(host::live_values(), before);
}

TEST(TypedValues, BooleansAreNotCounted) {
    const std::size_t before = host::live_values();

    const OwnedValue truth(TvRetain(TvBooleanGet(true)));

    EXPECT_EQ(host::live_values(), before);
}

TEST(TypedValues, EntriesAreVisitedInAscendingOrderOfTheBytesOfTheirKeys) {
    const OwnedMutableValue dictionary(TvDictionaryCreateMutable());
    for (const char *key : {"b", "\xC3\xBC", "aa", "", "a", "Z"}) {
        ASSERT_TRUE(host::set_value(dictionary.get(), key, text(key)));
    }

    std::vector<std::string> keys;
    host::for_each_entry(dictionary.get(), [&](std::string_view key, TvRef value) {
        EXPECT_EQ(TvStringGetCString(value), std::string(key));
        keys.emplace_back(key);
    });

    EXPECT_EQ(keys, (std::vector<std::string>{"", "Z", "a", "aa", "b", "\xC3\xBC"}));
}

TEST(TypedValues, WhatIsNoDictionaryHasNoEntries) {
    int visits = 0;
    const OwnedMutableValue array(TvArrayCreateMutable());
    ASSERT_TRUE(TvArrayAppend(array.get(), text("x").get()));

    host::for_each_entry(array.get(), [&](std::string_view, TvRef) { ++visits; });
    host::for_each_entry(nullptr, [&](std::string_view, TvRef) { ++visits; });

    EXPECT_EQ(visits, 0);
}

TEST(TypedValues, NumbersRememberTheWidthTheyWereMadeWith) {
    EXPECT_EQ(host::number_width(OwnedValue(TvNumberCreateSInt32(1)).get()), 32);
    EXPECT_EQ(host::number_width(OwnedValue(TvNumberCreateSInt64(1)).get()), 64);
    EXPECT_EQ(host::number_width(text("1").get()), 0);
    EXPECT_EQ(host::number_width(nullptr), 0);
}

TEST(TypedValues, SetValueTakesTheReferenceOver) {
    const OwnedMutableValue dictionary(TvDictionaryCreateMutable());

    EXPECT_TRUE(host::set_value(dictionary.get(), std::string_view("key and more").substr(0, 3), text("value")));

    EXPECT_STREQ(TvStringGetCString(TvDictionaryGetValue(dictionary.get(), "key")), "value");
}

TEST(TypedValues, SetValueRefusesNullAndTextThatIsNoKey) {
    const OwnedMutableValue dictionary(TvDictionaryCreateMutable());

    EXPECT_FALSE(host::set_value(dictionary.get(), "key", OwnedValue()));
    EXPECT_FALSE(host::set_value(dictionary.get(), "\xFF", text("value")));
    EXPECT_FALSE(host::set_value(dictionary.get(), std::string_view("a\0b", 3), text("value")));
    EXPECT_FALSE(host::set_value(nullptr, "key", text("value")));

    EXPECT_EQ(TvDictionaryGetCount(dictionary.get()), 0u);
}

// ---- failing on purpose

/** An operation that creates or changes a value, and a call that fails exactly when its fault point strikes. */
struct FailingOperation {
    const char *name;
    std::function<bool()> succeeds;
};

bool is_created(TvRef value) { return static_cast<bool>(OwnedValue(value)); }

bool append_value() {
    const OwnedMutableValue array(TvArrayCreateMutable());
    const bool appended = TvArrayAppend(array.get(), TvBooleanGet(true));
    EXPECT_EQ(TvArrayGetCount(array.get()), appended ? 1u : 0u);
    return appended;
}

bool set_value() {
    const OwnedMutableValue dictionary(TvDictionaryCreateMutable());
    const bool set = TvDictionarySetValue(dictionary.get(), text("key").get(), TvBooleanGet(true));
    EXPECT_EQ(TvDictionaryGetCount(dictionary.get()), set ? 1u : 0u);
    return set;
}

const FailingOperation kFailingOperations[] = {
    {"TvStringCreateWithCString", [] { return is_created(TvStringCreateWithCString("x", kTvStringEncodingUTF8)); }},
    {"TvStringCreateWithBytes", [] { return is_created(TvStringCreateWithBytes("x", 1, kTvStringEncodingUTF8)); }},
    {"TvStringCreateWithFormat", [] { return is_created(TvStringCreateWithFormat("%d", 1)); }},
    {"TvNumberCreateSInt32", [] { return is_created(TvNumberCreateSInt32(1)); }},
    {"TvNumberCreateSInt64", [] { return is_created(TvNumberCreateSInt64(1)); }},
    {"TvDataCreate", [] { return is_created(TvDataCreate("x", 1)); }},
    {"TvArrayCreateMutable", [] { return is_created(TvArrayCreateMutable()); }},
    {"TvArrayAppend", append_value},
    {"TvDictionaryCreateMutable", [] { return is_created(TvDictionaryCreateMutable()); }},
    {"TvDictionarySetValue", set_value},
    {"TvCreateBinaryEncoding", [] { return is_created(TvCreateBinaryEncoding(TvBooleanGet(true))); }},
};

TEST(TypedValues, EveryOperationThatCanFailFailsWhenItIsStruckAndWorksAgainAfterwards) {
    for (const FailingOperation &operation : kFailingOperations) {
        host::arm_fault(operation.name, 0, host::Strikes::Once);

        EXPECT_FALSE(operation.succeeds()) << operation.name;
        EXPECT_TRUE(operation.succeeds()) << operation.name;

        host::disarm_faults();
    }
}

} // namespace
