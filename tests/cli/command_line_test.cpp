/** The command line as a whole. */
#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/program.h"

using cli_tests::expect_golden;
using cli_tests::Outcome;
using cli_tests::qorstat;

namespace {

struct WrongUse {
    std::vector<std::string> arguments;
    std::string message;
};

void expect_wrong_use(const WrongUse &row) {
    const Outcome outcome = qorstat(row.arguments);

    EXPECT_EQ(outcome.exit_code, 2) << testing::PrintToString(row.arguments);
    EXPECT_EQ(outcome.out, "") << testing::PrintToString(row.arguments);
    EXPECT_EQ(outcome.err, "qorstat: " + row.message + "\n");
}

TEST(CommandLineTest, AWrongVerbSuggestsTheRightOne) {
    expect_wrong_use({{"captrue", "x.toml"}, "unknown verb \"captrue\"; did you mean \"capture\"?"});
    expect_wrong_use({{"sohw"}, "unknown verb \"sohw\"; did you mean \"show\"?"});
    expect_wrong_use({{"rn"}, "unknown verb \"rn\"; did you mean \"run\"?"});
    expect_wrong_use({{"xyzzy"}, "unknown verb \"xyzzy\""});
}

TEST(CommandLineTest, AWrongOptionSuggestsTheRightOne) {
    expect_wrong_use(
        {{"capture", "x.toml", "--knd", "fault"}, "capture: unknown option \"--knd\"; did you mean \"--kind\"?"});
    expect_wrong_use(
        {{"capture", "x.toml", "--knd=fault"}, "capture: unknown option \"--knd=fault\"; did you mean \"--kind\"?"});
    expect_wrong_use({{"run", "x.toml", "-z"}, "run: unknown option \"-z\""});
    expect_wrong_use({{"--hlep"}, "unknown option \"--hlep\"; did you mean \"--help\"?"});
}

TEST(CommandLineTest, AWrongKindSuggestsTheRightOne) {
    expect_wrong_use({{"capture", "x.toml", "--kind", "fualt"},
                      "capture: invalid value \"fualt\" for --kind: expected one of error, fault, request; did you "
                      "mean \"fault\"?"});
}

TEST(CommandLineTest, ExtraArgumentsAreErrors) {
    expect_wrong_use({{"run", "x.toml", "y.toml"}, "run: unexpected argument \"y.toml\""});
    expect_wrong_use({{"notify", "a", "b"}, "notify: unexpected argument \"b\""});
    expect_wrong_use({{"capture", "x.toml", "run"}, "capture: unexpected argument \"run\""});
}

TEST(CommandLineTest, MissingArgumentsAreErrors) {
    expect_wrong_use({{}, "no verb given; qorstat --help lists the verbs"});
    expect_wrong_use({{"run"}, "run: DEVICE.toml is required"});
    expect_wrong_use({{"notify"}, "notify: NAME is required"});
    expect_wrong_use({{"capture"}, "capture: DEVICE.toml is required"});
    expect_wrong_use({{"show"}, "show: INPUT is required"});
    expect_wrong_use({{"decode"}, "decode: INPUT is required"});
    expect_wrong_use({{"publish"}, "publish: BATCH.bin is required"});
    expect_wrong_use({{"validate"}, "validate: PLUGIN.so is required"});
}

TEST(CommandLineTest, OptionsAreGivenOnceAndWithTheirValues) {
    expect_wrong_use({{"decode", "-", "--first", "3", "--first", "4"}, "decode: --first was given more than once"});
    expect_wrong_use({{"decode", "-", "--format"}, "decode: --format needs a value"});
    expect_wrong_use({{"decode", "-", "--strict=maybe"}, "decode: invalid value \"maybe\" for --strict"});
}

TEST(CommandLineTest, NothingAfterTwoHyphensIsAnOption) {
    expect_wrong_use({{"run", "--", "x.toml", "--store"}, "run: unexpected argument \"--store\""});
}

TEST(CommandLineTest, ATimeThatIsNoneIsWrongUse) {
    for (const std::string seconds : {"0x5", "+5", "soon", "-1", "nan", "inf", "1e99", "5 s", "367d", "-1s", "0.5us"}) {
        expect_wrong_use({{"run", "x.toml", "--for=" + seconds},
                          "run: invalid value \"" + seconds +
                              "\" for --for: expected 0 to 31622400 seconds, such as 10, 2.5s or 2m"});
    }
}

TEST(CommandLineTest, AnOptionMayHaveAShortName) {
    cli_tests::Surroundings surroundings;
    surroundings.standard_input = std::string(std::size_t{48} * 12, '\0');
    const std::string out = qorstat({"decode", "-", "--first", "3", "--format", "csv"}, surroundings).out;
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 4);
    for (const std::vector<std::string> &options :
         {std::vector<std::string>{"-n", "3", "-f", "csv"}, {"-n3", "-fcsv"}}) {
        std::vector<std::string> arguments = {"decode", "-"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        EXPECT_EQ(qorstat(arguments, surroundings).out, out) << testing::PrintToString(arguments);
    }
    expect_wrong_use({{"decode", "-", "-n", "3", "--first", "4"}, "decode: --first was given more than once"});
    expect_wrong_use({{"decode", "-", "-n"}, "decode: --first needs a value"});
    expect_wrong_use({{"decode", "-", "-n", "x"},
                      "decode: invalid value \"x\" for --first: expected a number from 0 to 18446744073709551615"});
    expect_wrong_use({{"decode", "-", "-n", "1", "--last", "1"}, "decode: --first excludes --last"});
}

TEST(CommandLineTest, EveryNumberIsDecimalAndNothingElse) {
    struct Row {
        std::vector<std::string> arguments;
        std::string option;
        std::string value_start; ///< what stands before the number
    };
    const std::vector<Row> rows = {
        {{"decode", "-"}, "--first", ""},
        {{"decode", "-"}, "--last", ""},
        {{"decode", "-"}, "--since", ""},
        {{"decode", "-"}, "--until", ""},
        {{"decode", "-"}, "--boot-time", ""},
        {{"decode", "-"}, "--time-sync", "qor=1,calendar="},
        {{"validate", "x.so"}, "--seed", ""},
        {{"validate", "x.so"}, "--timeout", ""},
        {{"run", "x.toml"}, "--for", ""},
        {{"run", "x.toml"}, "--listen", ""},
        {{"run", "x.toml"}, "--listen", "127.0.0.1:"},
    };
    for (const Row &row : rows) {
        for (const std::string number : {"0x5", "0b1", "0o7", "+5", " 5", "5 ", "5_0", "nan", "inf", "5e"}) {
            std::vector<std::string> arguments = row.arguments;
            arguments.push_back(row.option + "=" + row.value_start + number);

            const Outcome outcome = qorstat(arguments);

            EXPECT_EQ(outcome.exit_code, 2) << testing::PrintToString(arguments);
            EXPECT_EQ(outcome.err.rfind("qorstat: " + row.arguments[0] + ": invalid value \"" + row.value_start +
                                            number + "\" for " + row.option + ": ",
                                        0),
                      0u)
                << outcome.err;
        }
    }
    cli_tests::Surroundings surroundings;
    surroundings.standard_input = std::string(std::size_t{48} * 12, '\0');
    const std::string ten = qorstat({"decode", "-", "--first=010"}, surroundings).out;
    EXPECT_EQ(std::count(ten.begin(), ten.end(), '\n'), 10) << "leading zeros are not octal";
}

TEST(CommandLineTest, AZeroCharacterInAFileDoesNotCutAnErrorShort) {
    const cli_tests::TemporaryFolder folder;
    const std::string file = folder.file("device.toml", "name = \"x\"\n\"zero\\u0000key\" = 1\n");

    const Outcome outcome = qorstat({"run", file});

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.err, "qorstat: " + file + ": line 2, column 1: unknown key \"zero\\x00key\" of a device\n");
}

TEST(CommandLineTest, AMessageStaysOnOneLineWhateverTheArgumentsHold) {
    expect_wrong_use({{"run", "x.toml", "a\nb\x1b[31m"}, "run: unexpected argument \"a\\x0ab\\x1b[31m\""});
}

TEST(CommandLineTest, TheVersionIsPrintedWithCommitCompilerAndModule) {
    const std::string module = std::filesystem::path(QORSTAT).parent_path() / "OndreQORHIDStatistics.so";
    for (const std::string option : {"--version", "-V"}) {
        const Outcome outcome = qorstat({option});

        EXPECT_EQ(outcome.exit_code, 0);
        EXPECT_THAT(outcome.out, testing::MatchesRegex("qorstat 0\\.1\\.0\ncommit ([0-9a-f]+|unknown)\n"
                                                       "compiler (g\\+\\+|.*Clang) 1[^\n]*\nmodule [^\n]*\n"));
        EXPECT_THAT(outcome.out, testing::EndsWith("\nmodule " + module + "\n"));
        EXPECT_EQ(outcome.err, "");
    }
}

TEST(CommandLineTest, HelpPrintsThePageOfAVerbOrOfTheProgram) {
    EXPECT_EQ(qorstat({"help"}).out, qorstat({"--help"}).out);
    EXPECT_EQ(qorstat({"help", "decode"}).out, qorstat({"decode", "--help"}).out);
    EXPECT_EQ(qorstat({"help", "help"}).out, qorstat({"help", "--help"}).out);
    expect_wrong_use({{"help", "dcode"}, "help: unknown verb \"dcode\"; did you mean \"decode\"?"});
    expect_wrong_use({{"help", "--", "--version"}, "help: unknown verb \"--version\""});
    expect_wrong_use({{"help", "decode", "show"}, "help: unexpected argument \"show\""});
}

/** The outcome of decoding twelve reports of zeros with a variable of the environment. */
Outcome decode_with(const std::string &variable, const std::string &text, std::vector<std::string> options = {}) {
    cli_tests::Surroundings surroundings;
    surroundings.standard_input = std::string(std::size_t{48} * 12, '\0');
    surroundings.environment[variable] = text;
    options.insert(options.begin(), {"decode", "-"});
    return qorstat(options, surroundings);
}

TEST(VariablesTest, AVariableSetsWhatTheCommandLineDoesNot) {
    const std::string csv = decode_with("NOTHING", "", {"--format", "csv"}).out;
    const std::string text = decode_with("NOTHING", "").out;
    ASSERT_NE(csv, text);
    EXPECT_EQ(decode_with("QORSTAT_FORMAT", "csv").out, csv);
    EXPECT_EQ(decode_with("QORSTAT_FORMAT", "csv", {"-f", "text"}).out, text);
    EXPECT_EQ(decode_with("QORSTAT_FORMAT", "").out, text);
}

TEST(VariablesTest, AVariableDoesNotMatterBesideAnOptionThatExcludesIt) {
    const Outcome outcome = decode_with("QORSTAT_FORMAT", "wrong, if it were looked at", {"--stats"});
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out.rfind("reports: 12\n", 0), 0u) << outcome.out;
}

TEST(VariablesTest, AFlagsVariableSaysYesOrNo) {
    for (const std::string word : {"1", "yes", "true", "0", "no", "false", ""}) {
        EXPECT_EQ(decode_with("QORSTAT_NO_PAGER", word).exit_code, 0) << word;
    }
    EXPECT_EQ(decode_with("QORSTAT_NO_PAGER", "never").err,
              "qorstat: decode: invalid value \"never\" for QORSTAT_NO_PAGER: expected 1, yes or true, or 0, no or "
              "false\n");
}

TEST(VariablesTest, AMessageAboutAWrongValueNamesTheVariable) {
    EXPECT_EQ(decode_with("QORSTAT_FORMAT", "cvs").err,
              "qorstat: decode: invalid value \"cvs\" for QORSTAT_FORMAT: expected one of text, jsonl, csv, "
              "chrome-trace, brief; did you mean \"csv\"?\n");
    EXPECT_EQ(decode_with("QORSTAT_NAMES", "/none.toml").err, "qorstat: /none.toml: no such file (QORSTAT_NAMES)\n");
    EXPECT_EQ(decode_with("QORSTAT_TIME_ZONE", "../x").err,
              "qorstat: decode: invalid value \"../x\" for --time-zone: expected a name such as Europe/Berlin "
              "(QORSTAT_TIME_ZONE)\n");
    EXPECT_EQ(decode_with("QORSTAT_NAMES", "/none.toml", {"--names", "/other.toml"}).err,
              "qorstat: /other.toml: no such file\n");
    EXPECT_EQ(decode_with("QORSTAT_NAMES", "it", {"--names", "/other.toml"}).err,
              "qorstat: /other.toml: no such file\n");
}

TEST(CompletionTest, AShellIsNamed) {
    expect_wrong_use({{"completion"}, "completion: SHELL is required"});
    expect_wrong_use({{"completion", "csh"},
                      "completion: invalid value \"csh\" for SHELL: expected one of bash, zsh, fish; did you mean "
                      "\"zsh\"?"});
}

class HelpTest : public testing::TestWithParam<std::string> {};

TEST_P(HelpTest, FitsAScreenAndEndsWithTwoExamples) {
    const std::string verb = GetParam();
    const Outcome outcome =
        qorstat(verb.empty() ? std::vector<std::string>{"--help"} : std::vector<std::string>{verb, "--help"});

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
    expect_golden("help-" + (verb.empty() ? "program" : verb) + ".txt", outcome.out);
    std::vector<std::string> lines;
    std::istringstream stream(outcome.out);
    for (std::string line; std::getline(stream, line);) {
        EXPECT_LE(line.size(), 80u) << line;
        lines.push_back(line);
    }
    ASSERT_GE(lines.size(), 3u);
    // The program has more verbs and some verbs more options than a screen has lines.
    const std::map<std::string, std::size_t> longer = {{"", 30},      {"run", 27},  {"capture", 25}, {"decode", 48},
                                                       {"query", 26}, {"load", 27}, {"compare", 32}};
    EXPECT_LE(lines.size(), longer.contains(verb) ? longer.at(verb) : 24u);
    EXPECT_EQ(lines[lines.size() - 3], "Examples:");
    EXPECT_EQ(lines[lines.size() - 2].rfind("  qorstat ", 0), 0u);
    EXPECT_EQ(lines[lines.size() - 1].rfind("  qorstat ", 0), 0u);
}

INSTANTIATE_TEST_SUITE_P(EveryVerb, HelpTest,
                         testing::Values("", "run", "notify", "capture", "show", "decode", "query", "compare", "export",
                                         "load", "schema", "report", "names", "metrics", "publish", "validate",
                                         "completion", "help"),
                         [](const testing::TestParamInfo<std::string> &verb) {
                             return verb.param.empty() ? std::string("program") : verb.param;
                         });

} // namespace
