#include "cli/terminal/display_width.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace {

/** The beginning and the mark. */
std::string cut(std::string_view line, std::size_t columns, std::string_view mark = "…") {
    const cli::CutText text = cli::cut_to_width(line, columns, mark);
    return std::string(text.start) + "|" + std::string(text.mark);
}

TEST(DisplayWidthTest, CharactersTakeNoneOneOrTwoColumns) {
    EXPECT_EQ(cli::display_width(""), 0U);
    EXPECT_EQ(cli::display_width("abc"), 3U);
    EXPECT_EQ(cli::display_width("größe"), 5U);
    EXPECT_EQ(cli::display_width("e\xCC\x81"), 1U);                // an acute accent that joins the letter
    EXPECT_EQ(cli::display_width("\xE6\x9D\xB1\xE4\xBA\xAC"), 4U); // two ideographs
    EXPECT_EQ(cli::display_width("\xF0\x9F\x98\x80!"), 3U);        // a face
}

TEST(DisplayWidthTest, ByteThatIsNoCharacterTakesOneColumn) {
    EXPECT_EQ(cli::display_width("a\xFF\xC3"), 3U);
    EXPECT_EQ(cli::display_width("\xE6\x9D"), 2U);
}

TEST(CutToWidthTest, ALineThatFitsStaysWhole) {
    EXPECT_EQ(cut("größe", 5), "größe|");
    EXPECT_EQ(cut("", 0), "|");
}

TEST(CutToWidthTest, ALineThatDoesNotLosesWholeCharacters) {
    EXPECT_EQ(cut("größer", 5), "größ|…");
    EXPECT_EQ(cut("größer", 5, "..."), "gr|...");
    // There is one column left beside the mark: too few for an ideograph.
    EXPECT_EQ(cut("a\xE6\x9D\xB1\xE4\xBA\xAC", 3), "a|…");
    EXPECT_EQ(cut("a\xE6\x9D\xB1\xE4\xBA\xAC", 4), "a\xE6\x9D\xB1|…");
    EXPECT_EQ(cut("e\xCC\x81xy", 2), "e\xCC\x81|…");
}

TEST(CutToWidthTest, AMarkThatDoesNotFitIsCutToo) {
    EXPECT_EQ(cut("abc", 2, "..."), "|..");
    EXPECT_EQ(cut("abc", 0), "|");
}

} // namespace
