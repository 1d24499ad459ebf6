// Tagged extra data: items, modes, lines, and the limits of each append.

#include "state/ExtraData.h"

#include "tests/state/snapshot_fixture.h"

namespace plug_in_tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/** The lines of a property whose value is exactly these bytes. */
std::vector<std::string> lines_of(const Bytes &items, std::optional<uint64_t> length = {}) {
    // A heap block of exactly the capacity, so that the address sanitizer catches a read past it.
    std::vector<uint8_t> data(kExtraDataCapacity);
    EXPECT_LE(items.size(), data.size());
    std::copy(items.begin(), items.end(), data.begin());
    std::vector<std::string> lines;
    walkExtraData(data.data(), length.value_or(items.size()), [&](const char *line) { lines.emplace_back(line); });
    return lines;
}

Bytes &operator<<(Bytes &bytes, const std::string &text) { return bytes.u8(2).text(text, text.size() + 1); }

TEST(ExtraData, PutsATextAndANumberOnTwoLines) {
    EXPECT_THAT(lines_of({0x02, 0x61, 0x62, 0x00, 0x03, 0x00, 0x05, 0x00, 0x00, 0x00}), ElementsAre("ab", "5"));
}

TEST(ExtraData, AppendsItemsOfOneLineWithoutSeparators) {
    Bytes items;
    (items << "a=").u8(0).s32(-7);
    (items << " b=").u8(1).s64(INT64_MIN);

    EXPECT_THAT(lines_of(items), ElementsAre("a=-7 b=-9223372036854775808"));
}

TEST(ExtraData, SwitchesBetweenHexadecimalAndDecimal) {
    Bytes items;
    items.u8(4).u8(0).s32(255).u8(2).text(" ", 2).u8(1).s64(-1).u8(2).text(" ", 2).u8(0).s32(-1);
    items.u8(5).u8(2).text(" ", 2).u8(0).s32(255);

    EXPECT_THAT(lines_of(items), ElementsAre("ff ffffffffffffffff ffffffff 255"));
}

TEST(ExtraData, StartsInDecimal) { EXPECT_THAT(lines_of(Bytes().u8(0).s32(255)), ElementsAre("255")); }

TEST(ExtraData, SkipsUnknownTags) {
    EXPECT_THAT(lines_of(Bytes().u8(6).u8(255).u8(0).s32(1).u8(100)), ElementsAre("1"));
}

TEST(ExtraData, MakesNoLineWithoutItems) {
    EXPECT_THAT(lines_of({}), IsEmpty());
    EXPECT_THAT(lines_of({6, 4, 5}), IsEmpty());
    EXPECT_THAT(lines_of({2, 0}), IsEmpty());
}

TEST(ExtraData, EmitsAnEmptyLineAtAMarkThatAnItemFollows) {
    EXPECT_THAT(lines_of({3, 3}), ElementsAre(""));
    EXPECT_THAT(lines_of({3, 99}), ElementsAre(""));
    EXPECT_THAT(lines_of({3, 5}), ElementsAre(""));
}

TEST(ExtraData, EmitsNothingAtAMarkThatNothingFollows) {
    EXPECT_THAT(lines_of({3}), IsEmpty());
    EXPECT_THAT(lines_of({2, 'a', 0, 3}), ElementsAre("a"));
}

TEST(ExtraData, ReadsZerosPastItsEnd) {
    // The length ends after the first two bytes of the value.
    EXPECT_THAT(lines_of(Bytes().u8(0).u16(0x0102)), ElementsAre("258"));

    Bytes last_byte(255, 99);
    EXPECT_THAT(lines_of(Bytes(last_byte).u8(0)), ElementsAre("0"));
    EXPECT_THAT(lines_of(Bytes(last_byte).u8(1)), ElementsAre("0"));
    EXPECT_THAT(lines_of(Bytes(last_byte).u8(2)), IsEmpty());
    Bytes one_before(254, 99);
    EXPECT_THAT(lines_of(Bytes(one_before).u8(1).u8(9)), ElementsAre("9"));
}

TEST(ExtraData, EndsATextWithoutItsZeroAtTheCapacity) {
    Bytes items = Bytes().u8(2);
    items.resize(256, 'x');

    EXPECT_THAT(lines_of(items), ElementsAre(std::string(255, 'x')));
}

TEST(ExtraData, LetsATextRunPastTheLengthUpToItsZero) {
    EXPECT_THAT(lines_of({2, 'a', 'b', 'c', 0}, 2), ElementsAre("abc"));
}

TEST(ExtraData, CutsALengthAboveTheCapacity) {
    Bytes items(255, 99);
    items.u8(3);

    EXPECT_THAT(lines_of(items, 257), IsEmpty());
    EXPECT_THAT(lines_of(items, UINT64_MAX), IsEmpty());
}

/**
 * Builds a line of a given length. Texts alone cannot bring a line near the limits within a property of 256 bytes, but
 * decimal numbers can: an item of 9 bytes makes 20 characters, so 28 items make 560.
 */
Bytes line_of(std::size_t length) {
    Bytes items;
    while (length >= 20) {
        items.u8(1).s64(INT64_MIN);
        length -= 20;
    }
    if (length > 0) {
        items.u8(2).text(std::string(length, 'p'), length + 1);
    }
    return items;
}

/** The number of characters that are appended of a text of `offered` characters to a line of `present`. */
std::size_t appended_size(std::size_t present, std::size_t offered) {
    Bytes items = line_of(present);
    items << std::string(offered, 'x');
    const auto lines = lines_of(items);
    EXPECT_THAT(lines, SizeIs(1));
    EXPECT_GE(lines[0].size(), present);
    return lines[0].size() - present;
}

TEST(ExtraData, AppendsAtMost1022CharactersLessTwiceTheLengthOfTheLine) {
    EXPECT_EQ(line_of(500).size(), 225u);
    EXPECT_EQ(appended_size(500, 21), 21u);
    EXPECT_EQ(appended_size(500, 22), 22u);
    EXPECT_EQ(appended_size(500, 23), 22u);
    EXPECT_EQ(appended_size(508, 5), 5u);
    EXPECT_EQ(appended_size(508, 6), 6u);
    EXPECT_EQ(appended_size(508, 7), 6u);
    EXPECT_EQ(appended_size(509, 4), 4u);
    EXPECT_EQ(appended_size(509, 5), 4u);
    EXPECT_EQ(appended_size(510, 3), 2u);
    EXPECT_EQ(appended_size(511, 3), 0u);
    EXPECT_EQ(appended_size(512, 3), 0u);
    EXPECT_EQ(appended_size(513, 3), 0u);
}

TEST(ExtraData, AppendsNumbersWhereTextsNoLongerFit) {
    Bytes items = line_of(540);
    items.u8(0).s32(-12345);

    EXPECT_THAT(lines_of(items), ElementsAre(testing::EndsWith("-12345")));
}

} // namespace
} // namespace plug_in_tests
