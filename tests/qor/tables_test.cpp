// How the notation of qor/ is read, and sizes and places that the firmware fixes, written down here once more.

#include <gtest/gtest.h>

#include "qor/analytics.h"
#include "qor/assets.h"
#include "qor/categories.h"
#include "qor/latency.h"
#include "qor/sensor.h"

namespace {

constexpr std::uint8_t kBytes[] = {0xFE, 0xFF, 0xFF, 0xFF, 0x01, 0x80, 0x03, 0x00, 0x00, 0x00, 0x00, 0x80};

TEST(FieldTest, NumbersAreLittleEndianAtAnyOffset) {
    EXPECT_EQ(qor::load_number(kBytes, qor::u8("", 5)), 0x80u);
    EXPECT_EQ(qor::load_number(kBytes, qor::u16("", 5)), 0x0380u);
    EXPECT_EQ(qor::load_number(kBytes, qor::u32("", 3)), 0x038001FFu);
    EXPECT_EQ(qor::load_number(kBytes, qor::u64("", 4)), 0x8000000000038001u);
}

TEST(FieldTest, SignedNumbersKeepTheirSign) {
    EXPECT_EQ(qor::load_signed(kBytes, qor::s8("", 5)), -128);
    EXPECT_EQ(qor::load_signed(kBytes, qor::s32("", 0)), -2);
    EXPECT_EQ(qor::load_signed(kBytes, qor::s32("", 4)), 0x00038001);
    EXPECT_EQ(qor::load_signed(kBytes, qor::s64("", 4)), static_cast<std::int64_t>(0x8000000000038001u));
}

TEST(FieldTest, FixedPointNumbersAreExact) {
    EXPECT_EQ(qor::load_fixed_point(kBytes, qor::fixed_point("", 0, 16)), -2.0 / 65536);
    EXPECT_EQ(qor::load_fixed_point(kBytes, qor::fixed_point("", 4, 12)), 0x00038001 / 4096.0);
}

TEST(FieldTest, WhatIsStoredIsLoaded) {
    std::uint8_t bytes[10] = {};
    qor::store_little_endian(bytes + 1, 0x0102030405060708u, 8);
    EXPECT_EQ(bytes[0], 0);
    EXPECT_EQ(bytes[1], 8);
    EXPECT_EQ(bytes[8], 1);
    EXPECT_EQ(bytes[9], 0);
    EXPECT_EQ(qor::load_little_endian<std::uint64_t>(bytes + 1), 0x0102030405060708u);
}

TEST(FieldTest, AFieldThatLeavesTheRecordIsFound) {
    constexpr qor::Field kInside[] = {qor::u32("", 44), qor::counted_bytes("", 24, 24, 46)};
    constexpr qor::Field kBehind[] = {qor::u32("", 45)};
    constexpr qor::Field kCountBehind[] = {qor::counted_bytes("", 24, 24, 47)};
    EXPECT_TRUE(qor::stay_inside(kInside, 48));
    EXPECT_FALSE(qor::stay_inside(kBehind, 48));
    EXPECT_FALSE(qor::stay_inside(kCountBehind, 48));
}

TEST(TablesTest, SizesAreThoseOfTheFirmware) {
    EXPECT_EQ(qor::kReportSize, 48u);
    EXPECT_EQ(qor::latency::kSize, 330u);
    EXPECT_EQ(qor::assets::kSize, 1479u);
    EXPECT_EQ(qor::assets::kAssetSize, 29u);
    EXPECT_EQ(qor::sensor::kClientSize * qor::sensor::kMostClients, 496u);
    EXPECT_EQ(qor::analytics::kEntrySize, 7u);
    EXPECT_EQ(std::size(qor::kCategories), 11u);
    EXPECT_EQ(std::size(qor::kTypes), 13u);
}

TEST(AnalyticsEntryTest, IsVersionOperationKeyAndALittleEndianValue) {
    const Tbk entry = qor::analytics::make_entry(0x3A, 6, 57, -2);

    EXPECT_EQ(std::vector<int>(std::begin(entry.bytes), std::end(entry.bytes)),
              (std::vector<int>{0x3A, 6, 57, 0xFE, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(entry.version(), 0x3A);
    EXPECT_EQ(entry.operation(), 6);
    EXPECT_EQ(entry.key(), 57);
    EXPECT_EQ(entry.value(), -2);
}

} // namespace
