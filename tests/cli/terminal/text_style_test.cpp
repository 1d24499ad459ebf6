#include "cli/terminal/text_style.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include <gtest/gtest.h>

using namespace std::string_view_literals;

namespace {

TEST(TerminalTextTest, EscapesEveryLowControlCharacter) {
    for (int byte = 0; byte < 0x20; ++byte) {
        char expected[8];
        std::snprintf(expected, sizeof expected, "a\\x%02xb", static_cast<unsigned>(byte));
        const std::string text = {'a', static_cast<char>(byte), 'b'};

        EXPECT_EQ(cli::escape_controls(text), expected);
    }
    EXPECT_EQ(cli::escape_controls("\x7F"), "\\x7f");
}

TEST(TerminalTextTest, EscapesHighControlCharacters) {
    EXPECT_EQ(cli::escape_controls("\xC2\x9B\x33\x31m"), "\\u009b31m");
    EXPECT_EQ(cli::escape_controls("\xC2\xA0"), "\xC2\xA0");
}

TEST(TerminalTextTest, EscapesBytesThatAreNoText) { EXPECT_EQ(cli::escape_controls("a\xFF\xC3"), "a\\xff\\xc3"); }

TEST(TerminalTextTest, LeavesPrintableTextAlone) {
    EXPECT_EQ(cli::escape_controls("{ 'key':\\ gr\xC3\xBC\xC3\x9F ~}"), "{ 'key':\\ gr\xC3\xBC\xC3\x9F ~}");
}

TEST(TerminalTextTest, ThePlainStyleChangesNothing) {
    const cli::TextStyle plain;

    EXPECT_EQ(plain.show("\x1b[31m\xFF"), "\x1b[31m\xFF");
    EXPECT_EQ(plain.heading("title"), "title");
    EXPECT_EQ(plain.key("key"), "key");
}

TEST(TerminalTextTest, AColouredHeadingEndsItsColour) {
    const cli::TextStyle style{true, true};

    const std::string heading = style.heading("a\x1b");

    EXPECT_EQ(heading, "\x1b[1ma\\x1b\x1b[0m");
}

TEST(TerminalTextTest, AFileIsNeitherEscapedNorColoured) {
    std::FILE *const file = std::tmpfile();
    ASSERT_NE(file, nullptr);

    const cli::TextStyle style = cli::style_for(fileno(file));

    EXPECT_FALSE(style.escapes_controls);
    EXPECT_FALSE(style.is_coloured);
    std::fclose(file);
}

/** The number of columns for a file when the environment has this `COLUMNS`. */
std::size_t columns_with(const char *value) {
    std::FILE *const file = std::tmpfile();
    setenv("COLUMNS", value, 1);
    const std::size_t columns = cli::style_for(fileno(file)).columns;
    unsetenv("COLUMNS");
    std::fclose(file);
    return columns;
}

TEST(TerminalTextTest, TheEnvironmentMayGiveTheNumberOfColumns) {
    EXPECT_EQ(columns_with("132"), 132u);
    EXPECT_EQ(columns_with("1"), 1u);
}

TEST(TerminalTextTest, ANumberOfColumnsThatIsNoneIsIgnored) {
    for (const char *value : {"", "0", "-5", "80x", " 80", "99999999999999999999"}) {
        EXPECT_EQ(columns_with(value), 80u) << value;
    }
}

} // namespace
