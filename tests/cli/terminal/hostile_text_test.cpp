/** What verbs send to a terminal when texts hold what a terminal would obey. */
#include <algorithm>
#include <filesystem>
#include <ostream>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "host/store/analytics_store.h"
#include "host/utf8.h"
#include "tests/cli/hosting.h"
#include "tests/cli/program.h"
#include "tests/cli/records/records.h"
#include "tests/cli/reports.h"

namespace cli_tests {
namespace {

/** Everything below U+0020 but the zero character and the newline, delete, and a colour of somebody else. */
std::string low_controls() {
    std::string text;
    for (char byte = 1; byte < 0x20; ++byte) {
        text += byte == '\n' ? "" : std::string(1, byte);
    }
    return text + "\x7F\x1b[8mhidden\x1b]0;title\x07";
}

/** A colour of the program's own. */
const std::string kOurColour = "\x1b[31mred";

/** U+0080 to U+009F. */
std::string high_controls() {
    std::string text;
    for (int byte = 0x80; byte <= 0x9F; ++byte) {
        text += std::string("\xC2") + static_cast<char>(byte);
    }
    return text;
}

/** Bytes that are no UTF-8, some of which decode to a control character where overlong forms are not refused. */
const std::string kBroken = "\x9B"
                            "1m\xC2|\xC0\x9B\xC1\x9B\xE0\x82\x9B\xF0\x80\x82\x9B\xED\xA0\x80\xF5\x80\x80\x80\xFE\xFF";

struct HostileText {
    std::string name;
    std::string text;
};

void PrintTo(const HostileText &row, std::ostream *out) { *out << row.name; }

class HostileTextTest : public testing::TestWithParam<HostileText> {
protected:
    void SetUp() override { SKIP_WITHOUT_TERMINALS(); }

    const std::string &text() const { return GetParam().text; }
    bool is_utf8() const { return host::is_utf8(text()); }

    Surroundings on_terminals(std::string input = {}) const {
        Surroundings surroundings = isolate_in(folder);
        surroundings.standard_input = std::move(input);
        surroundings.output_is_terminal = true;
        surroundings.messages_are_to_terminal = true;
        if (text() == kOurColour) {
            surroundings.environment["NO_COLOR"] = "1"; // every colour is that of the text then
        }
        return surroundings;
    }

    /** @return what came to both terminals. */
    std::string expect_harmless(const std::vector<std::string> &arguments, std::string input = {}) const {
        const Outcome outcome = qorstat(arguments, on_terminals(std::move(input)));
        const std::string all = outcome.out + outcome.err;
        // Bold, faint, the colours of keys, lines and levels; and the terminal's own carriage returns.
        static const std::regex kOurs("\x1b\\[([012]?|3[0-7]|41|9[0-7])m|\r+(?=\n)");
        static const std::regex kLineEnds("\r+(?=\n)");
        std::string left = std::regex_replace(all, text() == kOurColour ? kLineEnds : kOurs, "");
        left.erase(std::remove(left.begin(), left.end(), '\n'), left.end());
        EXPECT_TRUE(host::is_utf8(left)) << testing::PrintToString(arguments) << testing::PrintToString(left);
        for (std::string_view rest = left; !rest.empty(); rest.remove_prefix(1)) {
            if (host::control_character_length(rest) != 0) {
                ADD_FAILURE() << testing::PrintToString(arguments) << " " << testing::PrintToString(all);
                break;
            }
        }
        EXPECT_NE(all, "") << testing::PrintToString(arguments);
        return all;
    }

    /** A file in the folder whose name has the text. */
    std::string hostile_path() const {
        std::string name = text();
        std::replace(name.begin(), name.end(), '/', '_');
        return folder.path() / name;
    }

    const TemporaryFolder folder;
};

TEST_P(HostileTextTest, OfReportsIsEscaped) {
    std::string dump;
    for (std::size_t at = 0; at < text().size(); at += 12) {
        dump += report(kForeignInfo, 1, 1, std::string(19, '\0') + text().substr(at, 12));
        dump += report(kExtFunction, 1, 1, std::string(16, '\0') + text().substr(at, 12));
    }
    for (const std::string format : {"text", "brief", "jsonl", "csv", "chrome-trace"}) {
        expect_harmless({"decode", "-", "--format", format}, dump);
    }
    expect_harmless({"decode", "-", "--stats"}, dump);
    expect_harmless({"decode", "-", "--stats", "--json"}, dump);
}

TEST_P(HostileTextTest, OfRecordsIsEscaped) {
    std::string payload = "\xD9\xD9\xF7\xA1\x61k\x78";
    payload += static_cast<char>(text().size());
    const std::string records = is_utf8() ? record(text(), payload + text()) + record("ZEL Profile 0", payload + text())
                                          : record(text(), kTwoLines);

    expect_harmless({"show", "-"}, records);
    expect_harmless({"show", "-", "--json"}, records);
    expect_harmless({"show", folder.file("name", records), hostile_path()});
}

TEST_P(HostileTextTest, OfAStoreIsEscaped) {
    host::StoreContents contents;
    contents.scalars[text()] = 1;
    contents.distributions[text()][2.5] = 3;
    host::write_new_analytics_store(folder.path() / "store.db", contents);

    for (const std::string option : {"", "--json", "--openmetrics"}) {
        std::vector<std::string> arguments = {"metrics", folder.path() / "store.db"};
        arguments.resize(option.empty() ? 2 : 3, option);
        expect_harmless(arguments);
    }
}

TEST_P(HostileTextTest, OfNamesAndArgumentsIsEscaped) {
    const std::string store = folder.path() / "store.db";
    host::write_new_analytics_store(store, {});

    expect_harmless({"metrics", "--merge", store, store, "-o", hostile_path()});
    expect_harmless({"capture", kSmall, "-o", hostile_path() + "-captured"});
    expect_harmless({"capture", kSmall, "-o", "-", "--json"});
    expect_harmless({"publish", hostile_path() + "-missing", "--store", ":memory:"});
    expect_harmless({"publish", "-", "--log", "--store", hostile_path() + "-store"},
                    std::string("\x3A\x03\x03\0\0\0\0", 7));
    expect_harmless({"notify", text()});
    expect_harmless({"decode", hostile_path() + "-missing", "--format", "csv"});
    expect_harmless({"decode", "-", "--category", text()});
    expect_harmless({text()});
    expect_harmless({"--" + text()});
    expect_harmless({"validate", "--list", "--only", text()});
}

TEST_P(HostileTextTest, OfAModulesNameIsEscaped) {
    const std::string module = hostile_path() + ".so";
    std::filesystem::copy_file(QOR_SILENT_MODULE, module);

    expect_harmless({"validate", module, "--only", "^query-", "--reproduce"});
    expect_harmless({"validate", module, "--only", "^query-", "--json"});
}

TEST_P(HostileTextTest, OfADescriptionIsEscaped) {
    if (!is_utf8()) {
        GTEST_SKIP() << "a description is UTF-8";
    }
    std::string description = content_of(kSmall);
    std::string name;
    for (const char character : text()) {
        char escaped[8];
        std::snprintf(escaped, sizeof escaped, "\\u%04X", static_cast<unsigned char>(character));
        name += static_cast<unsigned char>(character) < 0x20 || character == 0x7F ? std::string(escaped)
                                                                                  : std::string(1, character);
    }
    for (const std::string what : {"\"small\"", "\"button\""}) {
        const std::size_t at = description.find(what);
        ASSERT_NE(at, std::string::npos) << what;
        description.replace(at, what.size(), "\"" + name + "\"");
    }
    const std::string file = folder.file("device.toml", description);

    expect_harmless({"run", file, "--for", "0", "--store", ":memory:"});
    expect_harmless({"capture", file, "-o", folder.path() / "out"});
}

INSTANTIATE_TEST_SUITE_P(EveryKind, HostileTextTest,
                         testing::Values(HostileText{"LowControls", low_controls()},
                                         HostileText{"HighControls", high_controls()}, HostileText{"NoUtf8", kBroken},
                                         HostileText{"OurColour", kOurColour}),
                         [](const testing::TestParamInfo<HostileText> &row) { return row.param.name; });

TEST(HostileTextsTest, ReachFilesAndPipesAsItIs) {
    const TemporaryFolder folder;
    host::StoreContents contents;
    contents.scalars["\x1b[31m\x7F\xC2\x9B"] = 1;
    host::write_new_analytics_store(folder.path() / "store.db", contents);

    const Outcome openmetrics = qorstat({"metrics", folder.path() / "store.db", "--openmetrics"});
    const Outcome json = qorstat({"metrics", folder.path() / "store.db", "--json"});

    EXPECT_NE(openmetrics.out.find("\x1b[31m\x7F\xC2\x9B"), std::string::npos) << openmetrics.out;
    EXPECT_NE(json.out.find("\"\\u001b[31m\\u007f\\u009b\""), std::string::npos) << json.out;
}

} // namespace
} // namespace cli_tests
