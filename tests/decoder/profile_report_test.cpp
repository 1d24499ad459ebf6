#include "qor/report.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "tests/decoder/report_builder.h"

namespace {

TEST(ProfileReport, HeaderBytesAreTypeEventComponentCategory) {
    const _QorProfileReport report = ReportBuilder(5, 3, 7, 4);

    EXPECT_EQ(report.type_id(), 5);
    EXPECT_EQ(report.event_id(), 3);
    EXPECT_EQ(report.component_id(), 7);
    EXPECT_EQ(report.category_id(), 4);
    EXPECT_EQ(report.header(), 0x04070305u);
}

TEST(ProfileReport, NumbersAreLittleEndian) {
    const _QorProfileReport report = ReportBuilder(0, 0, 0, 0)
                                         .bytes(4, {0x78, 0x56, 0x34, 0x12})
                                         .bytes(8, {0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0xF1});

    EXPECT_EQ(report.sequence_num(), 0x12345678u);
    EXPECT_EQ(report.timestamp(), 0xF123456789ABCDEFu);
}

TEST(ProfileReport, FieldsNeedNoAlignment) {
    const _QorProfileReport report = ReportBuilder(0, 0, 0, 0).counting(16, 47);

    EXPECT_EQ(report.at<std::uint16_t>(17), 0x0302u);
    EXPECT_EQ(report.at<std::uint32_t>(27), 0x0F0E0D0Cu);
    EXPECT_EQ(report.at<std::uint64_t>(20), 0x0C0B0A0908070605u);
    EXPECT_EQ(report.at<std::uint64_t>(40), 0x201F1E1D1C1B1A19u);
}

TEST(ProfileReport, MayLieAtAnyAddress) {
    const _QorProfileReport report = ReportBuilder(1, 2, 3, 4).u32(4, 77).u64(8, 99);
    std::array<std::uint8_t, _QorProfileReport::kSize + 8> memory{};

    for (std::size_t offset = 0; offset < 8; ++offset) {
        std::memcpy(memory.data() + offset, report.bytes, _QorProfileReport::kSize);
        const _QorProfileReport copy = _QorProfileReport::copied_from(memory.data() + offset);
        EXPECT_EQ(copy.header(), 0x04030201u);
        EXPECT_EQ(copy.sequence_num(), 77u);
        EXPECT_EQ(copy.timestamp(), 99u);
    }
}

} // namespace
