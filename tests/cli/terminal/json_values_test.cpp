#include "cli/terminal/json_values.h"

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

std::string json_text(std::string_view text, std::string_view mark = "\"") {
    std::vector<char> out(cli::json_text_room(text.size()));
    return std::string(out.data(), cli::put_json_text(out.data(), text, mark));
}

TEST(JsonTextTest, UsualCharactersStandAsTheyAre) {
    EXPECT_EQ(json_text(""), "");
    EXPECT_EQ(json_text("gr\xC3\xBC\xC3\x9F"), "gr\xC3\xBC\xC3\x9F");
}

TEST(JsonTextTest, MarksAreEscaped) { EXPECT_EQ(json_text("\"a\\b\""), R"(\"a\\b\")"); }

TEST(JsonTextTest, AMarkIsWrittenAsItsSurroundingsWantIt) { EXPECT_EQ(json_text("\"\\", "\"\""), R"(\""\\)"); }

TEST(JsonTextTest, ControlCharactersAreEscapedUpToU009F) {
    EXPECT_EQ(json_text(std::string_view("\0a\n", 3)), R"(\u0000a\u000a)");
    EXPECT_EQ(json_text("\x1F \x7E\x7F"), "\\u001f ~\\u007f");
    EXPECT_EQ(json_text("\xC2\x80\xC2\x9F\xC2\xA0"), "\\u0080\\u009f\xC2\xA0");
}

TEST(JsonTextTest, OnlyCharactersThatStandAsTheyAreArePlain) {
    EXPECT_TRUE(cli::is_plain_in_json(""));
    EXPECT_TRUE(cli::is_plain_in_json(" main_thread~"));
    for (const char *const text : {"a\"", "a\\", "a\x1F", "a\x7F", "a\x80", "a\xFF"}) {
        EXPECT_FALSE(cli::is_plain_in_json(text)) << text;
    }
}

} // namespace
