#include "host/device/toml_keys.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/device/description.h"
#include "host/device/toml_texts.h"
#include "host/error.h"

namespace {

std::string key_of(std::size_t parts, const std::string &part = "a", const std::string &between = ".") {
    std::string key = part;
    for (std::size_t i = 1; i < parts; ++i) {
        key += between + part;
    }
    return key;
}

/** The place of the error; empty for none. */
std::string refused_at(const std::string &toml) {
    try {
        host::require_short_keys(toml, "x.toml");
    } catch (const host::Error &error) {
        EXPECT_EQ(error.file(), "x.toml");
        EXPECT_EQ(error.reason(), "a key has more than 32 parts");
        return error.place();
    }
    return "";
}

TEST(TomlKeys, HaveSoManyPartsAtMostWhereverTheyStand) {
    const std::string most = key_of(32);
    const std::string more = key_of(33);
    EXPECT_EQ(refused_at("[" + most + "]\n" + most + " = {" + most + " = 1, " + most + " = [\n{" + most + " = 2}]}\n"),
              "");

    EXPECT_EQ(refused_at(more + " = 1"), "line 1, column 64");
    EXPECT_EQ(refused_at("x = 1\n[" + more + "]"), "line 2, column 65");
    EXPECT_EQ(refused_at("x = 1\n\n[[" + more + "]]"), "line 3, column 66");
    EXPECT_EQ(refused_at("x = {" + more + " = 1}"), "line 1, column 69");
    EXPECT_EQ(refused_at("x = [{y = 1, " + more + " = 1}]"), "line 1, column 77");
}

TEST(TomlKeys, PartsMayBeQuotedAndApart) {
    for (const std::string part :
         {R"("a")", "'a'", R"("=")", "']'", R"("\"")", R"("#")", "''", R"("'")", R"('\')", " a\t"}) {
        for (const std::string between : {".", " . ", "\t."}) {
            EXPECT_EQ(refused_at("[" + key_of(32, part, between) + "]"), "") << part;
            EXPECT_NE(refused_at("[" + key_of(33, part, between) + "]"), "") << part;
        }
    }
}

TEST(TomlKeys, NothingInAStringOrACommentIsOneOrHidesOne) {
    const std::string more = key_of(33);
    const std::vector<std::string> all = {"# " + more,
                                          "# it's",
                                          R"(x = ")" + more + R"(")",
                                          R"(x = "\")" + more + R"(")",
                                          R"(x = "\\" # ")",
                                          R"(x = "")",
                                          R"(x = '\')",
                                          "x = '" + more + "'",
                                          "x = '''" + more + "'''''",
                                          "x = '''\n" + more + "\n'''",
                                          "x = '''\"\n" + more + "'''",
                                          R"(x = """)" + more + "\n" + more + R"(""")",
                                          R"(x = """'\""")" + more + R"(""")"};
    for (const std::string &passed : all) {
        EXPECT_EQ(refused_at(passed + "\n"), "") << passed;
        EXPECT_NE(refused_at(passed + "\n" + more + " = 1"), "") << passed;
    }
    std::string numbers = "x = [";
    for (int i = 0; i < 100; ++i) {
        numbers += "1.5, ";
    }
    EXPECT_EQ(refused_at(numbers + "]"), "");
}

TEST(TomlKeys, AnyTextIsChecked) {
    for (const std::string toml :
         {"", R"(")", "'", R"(""")", "'''", R"("\)", R"("""\)", "#", ".", R"(""""")", "'''''''''"}) {
        EXPECT_EQ(refused_at(toml), "") << toml;
    }
}

/** The parser alone would end the process when it destroys the tables, also behind an error of its own. */
TEST(TomlKeys, ADescriptionAndAFileOfNamesOfManyPartsAreRefused) {
    for (const std::string end : {"]\n", "]\n="}) {
        const std::string toml = "[" + key_of(100'000) + end;
        EXPECT_THROW(host::read_device_description_text(toml, "x.toml"), host::Error);
        EXPECT_THROW(host::parse_toml_texts(toml, "x.toml", "a file of names", {"a"}), host::Error);
    }
}

} // namespace
