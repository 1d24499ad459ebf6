#include "host/utf8.h"

#include <string_view>

#include <gtest/gtest.h>

using namespace std::string_view_literals;

namespace {

struct Row {
    std::string_view text;
    std::size_t length; ///< of the sequence at the start
};

TEST(Utf8Test, KnowsTheLengthOfWellFormedSequencesAtTheirBorders) {
    for (const Row &row : {
             Row{"\x00"sv, 1}, Row{"\x7F"sv, 1},                         // one byte
             Row{"\xC2\x80"sv, 2}, Row{"\xDF\xBF"sv, 2},                 // U+0080, U+07FF
             Row{"\xE0\xA0\x80"sv, 3}, Row{"\xEF\xBF\xBF"sv, 3},         // U+0800, U+FFFF
             Row{"\xED\x9F\xBF"sv, 3}, Row{"\xEE\x80\x80"sv, 3},         // either side of the surrogates
             Row{"\xF0\x90\x80\x80"sv, 4}, Row{"\xF4\x8F\xBF\xBF"sv, 4}, // U+10000, U+10FFFF
         }) {
        EXPECT_EQ(host::utf8_sequence_length(row.text), row.length) << testing::PrintToString(row.text);
    }
}

TEST(Utf8Test, DecodesWellFormedSequences) {
    EXPECT_EQ(host::decode_utf8("\x7F"), U'\x7F');
    EXPECT_EQ(host::decode_utf8("\xC2\x80"), U'\u0080');
    EXPECT_EQ(host::decode_utf8("\xDF\xBF"), U'\u07FF');
    EXPECT_EQ(host::decode_utf8("\xE2\x82\xAC"), U'\u20AC');
    EXPECT_EQ(host::decode_utf8("\xEF\xBF\xBF"), U'\uFFFF');
    EXPECT_EQ(host::decode_utf8("\xF0\x9F\x98\x80"), U'\U0001F600');
    EXPECT_EQ(host::decode_utf8("\xF4\x8F\xBF\xBF"), U'\U0010FFFF');
}

TEST(Utf8Test, RefusesWhatIsNotWellFormed) {
    for (const std::string_view text : {
             ""sv, // nothing
             "\x80"sv,
             "\xBF"sv, // a continuation alone
             "\xC0\x80"sv,
             "\xC1\xBF"sv, // overlong, two bytes
             "\xE0\x9F\xBF"sv,
             "\xF0\x8F\xBF\xBF"sv, // overlong, three and four
             "\xED\xA0\x80"sv,     // a surrogate
             "\xF4\x90\x80\x80"sv,
             "\xF5\x80\x80\x80"sv, // above U+10FFFF
             "\xC2"sv,
             "\xE1\x80"sv,
             "\xF1\x80\x80"sv, // cut short
             "\xC2\x41"sv,
             "\xE1\x80\x41"sv,
             "\xF1\x80\x80\x41"sv,
         }) {
        EXPECT_EQ(host::utf8_sequence_length(text), 0u) << testing::PrintToString(text);
    }
}

TEST(Utf8Test, TextIsUtf8OnlyWhenAllOfItIs) {
    EXPECT_TRUE(host::is_utf8(""));
    EXPECT_TRUE(host::is_utf8("gr\xC3\xBC\xC3\x9F"));
    EXPECT_FALSE(host::is_utf8("gr\xC3\xBC\xC3"));
}

TEST(Utf8Test, CountsCharactersNotBytes) {
    EXPECT_EQ(host::character_count(""), 0u);
    EXPECT_EQ(host::character_count("gr\xC3\xBC\xC3\x9F"), 4u);
    EXPECT_EQ(host::character_count("a\xFF\xFE"), 3u);
}

TEST(Utf8Test, ControlCharactersTakeOneByteOrTwo) {
    for (int character = 0; character < 0x80; ++character) {
        const std::string text(2, static_cast<char>(character));
        const bool is_control = character <= 0x1F || character == 0x7F;
        EXPECT_EQ(host::control_character_length(text), is_control ? 1U : 0U) << character;
    }
    EXPECT_EQ(host::control_character_length("\xC2\x80"), 2U);  // U+0080
    EXPECT_EQ(host::control_character_length("\xC2\x9F-"), 2U); // U+009F
    EXPECT_EQ(host::control_character_length("\xC2\xA0"), 0U);  // U+00A0
    EXPECT_EQ(host::control_character_length("\xC3\x80"), 0U);  // U+00C0
    EXPECT_EQ(host::control_character_length("\xC2"), 0U);
    EXPECT_EQ(host::control_character_length(""), 0U);
}

} // namespace
