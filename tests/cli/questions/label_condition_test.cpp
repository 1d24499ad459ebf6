// Conditions over labels, as a command line has them.
#include "cli/questions/label_condition.h"

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/arguments/wrong_use.h"

namespace {

using testing::HasSubstr;

const cli::Labels kPhone = {{"firmware", "7"}, {"site", "it's 2"}, {"rev.a-1", "x/y+z:1.0"}};

TEST(LabelCondition, ComparesTexts) {
    for (const auto &[text, holds] : std::vector<std::pair<std::string, bool>>{
             {"firmware = 7", true},
             {"firmware=8", false},
             {"firmware = 07", false},
             {"firmware != 8", true},
             {"firmware!=7", false},
             {"firmware IN (6, 7,8)", true},
             {"firmware in ( 6 )", false},
             {"firmware NOT IN (6, 8)", true},
             {"firmware not in (7)", false},
             {"site = 'it''s 2'", true},
             {"site = 'it''s'", false},
             {"\trev.a-1 =\nx/y+z:1.0 ", true},
             {"Firmware = 7", false},
             {"firmware = 'AND'", false},
         }) {
        EXPECT_EQ(cli::LabelCondition("--a", text).holds(kPhone), holds) << text;
    }
}

TEST(LabelCondition, HoldsNotWithoutTheLabel) {
    for (const char *text : {"colour = red", "colour != red", "colour IN (red)", "colour NOT IN (red)"}) {
        EXPECT_FALSE(cli::LabelCondition("--a", text).holds(kPhone)) << text;
        EXPECT_TRUE(cli::LabelCondition("--a", std::string("NOT ") + text).holds(kPhone)) << text;
        EXPECT_FALSE(cli::LabelCondition("--a", text).holds({})) << text;
    }
}

/** Every condition of two labels against what the operators of this language say. */
TEST(LabelCondition, NotBindsMostAndOrLeast) {
    const auto holds = [](const std::string &text, bool a, bool b, bool c) {
        const auto word = [](bool is) { return std::string(is ? "1" : "0"); };
        return cli::LabelCondition("--a", text).holds({{"a", word(a)}, {"b", word(b)}, {"c", word(c)}});
    };
    for (unsigned bits = 0; bits < 8; ++bits) {
        const bool a = (bits & 1) != 0;
        const bool b = (bits & 2) != 0;
        const bool c = (bits & 4) != 0;
        EXPECT_EQ(holds("a = 1 OR b = 1 AND c = 1", a, b, c), a || (b && c)) << bits;
        EXPECT_EQ(holds("a = 1 and b = 1 or c = 1", a, b, c), (a && b) || c) << bits;
        EXPECT_EQ(holds("(a = 1 OR b = 1) AND c = 1", a, b, c), (a || b) && c) << bits;
        EXPECT_EQ(holds("NOT a = 1 AND b = 1", a, b, c), !a && b) << bits;
        EXPECT_EQ(holds("not (a = 1 AND b = 1)", a, b, c), !(a && b)) << bits;
        EXPECT_EQ(holds("NOT NOT a = 1 OR NOT (b = 1 OR ((c = 1)))", a, b, c), a || !(b || c)) << bits;
    }
}

TEST(LabelCondition, SaysWhereAndWhatIsWrong) {
    for (const auto &[text, said] : std::vector<std::pair<std::string, std::string>>{
             {"", "expected a key, NOT or ( at byte 0"},
             {"firmware", "expected =, != or IN at byte 8"},
             {"firmware =", "expected a value at byte 10"},
             {"firmware = =", "expected a value at byte 11"},
             {"firmware = and", "expected a value at byte 11"},
             {"firmware == 7", "expected a value at byte 10"},
             {"firmware ! 7", "expected =, != or IN at byte 9"},
             {"firmware NOT 7", "expected IN at byte 13"},
             {"firmware IN 7", "expected ( at byte 12"},
             {"firmware IN ()", "expected a value at byte 13"},
             {"firmware IN (7,)", "expected a value at byte 15"},
             {"firmware IN (7", "expected ) at byte 14"},
             {"firmware = 7 8", "expected AND, OR or the end at byte 13"},
             {"firmware = 7 AND", "expected a key, NOT or ( at byte 16"},
             {"firmware = 7; DROP TABLE", "expected AND, OR or the end at byte 12"},
             {"(firmware = 7", "expected ) at byte 13"},
             {"firmware = 7)", "expected AND, OR or the end at byte 12"},
             {"7 = 7", "expected a key, NOT or ( at byte 0"},
             {"in = 7", "expected a key, NOT or ( at byte 0"},
             {"'firmware' = 7", "expected a key, NOT or ( at byte 0"},
             {"firmware = 'x", "the quoted value has no end at byte 11"},
             {"firmware = ''", "a label cannot have this value at byte 11"},
             {"firmware = 'a\xFF'", "a label cannot have this value at byte 11"},
             {"firmware = \"7\"", "expected a value at byte 11"},
             {std::string(200, '(') + "a = 1" + std::string(200, ')'), "more than 100 parts are inside one another"},
             {[] {
                  std::string nots;
                  for (unsigned i = 0; i < 200; ++i) {
                      nots += "NOT ";
                  }
                  return nots + "a = 1";
              }(),
              "more than 100 parts are inside one another"},
         }) {
        try {
            const cli::LabelCondition condition("--a", text);
            ADD_FAILURE() << text;
        } catch (const cli::WrongUse &error) {
            EXPECT_THAT(error.what(), HasSubstr(said)) << text;
            EXPECT_THAT(error.what(), HasSubstr("--a")) << text;
        }
    }
}

} // namespace
