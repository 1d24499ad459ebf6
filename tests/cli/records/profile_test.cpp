#include <set>
#include <string>

#include <gtest/gtest.h>

#include "cli/records/profile.h"
#include "tests/cli/typed_values.h"

using cli_tests::array;
using cli_tests::number;
using cli_tests::OwnedValue;
using cli_tests::text;

namespace {

constexpr cli::TextStyle kColoured{true, true};

std::string show(const OwnedValue &payload, const cli::TextStyle &style) {
    return cli::profile_text(payload.get(), style).value_or("(another shape)");
}

TEST(ProfileTextTest, LinesStandAsTheyAre) {
    EXPECT_EQ(show(array(text("{  'category':  'exec',\x1b[1m}"), text("x")), {}),
              "{  'category':  'exec',\x1b[1m}\nx\n");
}

TEST(ProfileTextTest, EachCategoryHasAColourOfItsOwn) {
    std::set<std::string> colours;
    for (const std::string name :
         {"exec", "trace", "sensor", "quoril", "vastrel", "interrupt", "uart", "sshb", "control", "scm", "wake"}) {
        const std::string line = show(array(text("'category': '" + name + "',")), kColoured);
        const std::size_t value = line.find("'" + name + "'");
        ASSERT_NE(value, std::string::npos) << line;
        EXPECT_EQ(line.substr(value), "'" + name + "'\x1b[0m,\n");
        colours.insert(line.substr(12, value - 12));
    }

    EXPECT_EQ(colours.size(), 11u);
}

TEST(ProfileTextTest, OnlyTheValueIsColoured) {
    EXPECT_EQ(show(array(text("{  'category':  'exec', 'component': 'exec',}")), kColoured),
              "{  'category':  \x1b[34m'exec'\x1b[0m, 'component': 'exec',}\n");
}

TEST(ProfileTextTest, ControlCharactersAreEscapedAroundTheColour) {
    EXPECT_EQ(show(array(text("\x07 'category':'exec'\x1b")), kColoured),
              "\\x07 'category':\x1b[34m'exec'\x1b[0m\\x1b\n");
    EXPECT_EQ(show(array(text("\x07 'category':'exec'\x1b")), {true, false}), "\\x07 'category':'exec'\\x1b\n");
}

TEST(ProfileTextTest, ACategoryWithoutANameHasNoColour) {
    for (const char *const line : {"'category':   '200',", "'category': ''", "'category':", "'category': 'exec",
                                   "'category': exec'", "", "'", "'category':   "}) {
        EXPECT_EQ(show(array(text(line)), kColoured), line + std::string("\n"));
    }
}

TEST(ProfileTextTest, ALongLineStaysWhole) {
    const std::string line = "'category': 'uart'," + std::string(10'000, 'x');

    EXPECT_EQ(show(array(text(line)), {}), line + "\n");
}

TEST(ProfileTextTest, AnythingButAListOfTextsIsAnotherShape) {
    EXPECT_EQ(cli::profile_text(nullptr, {}), std::nullopt);
    EXPECT_EQ(cli::profile_text(text("line").get(), {}), std::nullopt);
    EXPECT_EQ(cli::profile_text(array().get(), {}), std::nullopt);
    EXPECT_EQ(cli::profile_text(array(text("line"), number(1)).get(), {}), std::nullopt);
    EXPECT_EQ(cli::profile_text(array(array(text("line"))).get(), {}), std::nullopt);
}

} // namespace
