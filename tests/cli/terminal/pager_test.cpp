/** Long output on a terminal: the pager of the built program, which is a script here. */
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/cli/program.h"
#include "tests/cli/records/records.h"
#include "tests/cli/reports.h"

namespace cli_tests {
namespace {

namespace fs = std::filesystem;

/** What fits on the terminals of tests, which have 24 rows, beside a pager's prompt. */
constexpr std::uint32_t kRows = 23;
/** More than pipes hold, as brief lines. */
constexpr std::uint32_t kMany = 20'000;

/** The size of a file without blocks on the disk that takes hours to read. */
constexpr std::uintmax_t kHours = std::uintmax_t{48} << 36;

const std::string kReportLine = "sensor.accel.data";

/** Marks each line that it shows. */
const std::string kMarking = "sed s/^/paged:/";
/** Says that it runs, shows nothing more than the first line, and ends. */
const std::string kQuitting = "head -n 1";
/** Goes on when it is interrupted, as pagers do, and ends when the user says so. */
const std::string kInteractive = "trap 'echo interrupted' INT; "
                                 "while read -r line; do echo \"paged:$line\"; done; "
                                 "echo waiting; read -r key < /dev/tty";

/** Says what ends it. A shell that waits in `read` may see a signal only after it. */
const std::string kTerminable = "trap 'echo terminated; exit' TERM; cat; echo waiting; while :; do sleep 0.02; done";

class PagerTest : public testing::Test {
protected:
    void SetUp() override { SKIP_WITHOUT_TERMINALS(); }

    PagerTest() {
        surroundings.output_is_terminal = true;
        surroundings.environment["NO_COLOR"] = "1";
    }

    /** The arguments that decode so many reports. Each is a row of brief. */
    std::vector<std::string> decode(std::uint32_t reports, const std::vector<std::string> &options = {}) const {
        std::string dump;
        for (std::uint32_t i = 0; i < reports; ++i) {
            dump += report(kAccelData, i, i);
        }
        std::vector<std::string> arguments = {"decode", folder.file("dump", dump)};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return arguments;
    }

    Surroundings with_pager(const std::string &command) const {
        Surroundings chosen = surroundings;
        chosen.environment["PAGER"] = command;
        return chosen;
    }

    TemporaryFolder folder;
    Surroundings surroundings;
};

TEST_F(PagerTest, OutputThatFitsTheScreenIsWrittenStraightToIt) {
    const Outcome outcome = qorstat(decode(kRows), with_pager(kMarking));

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(occurrences(outcome.out, kReportLine), kRows);
    EXPECT_EQ(occurrences(outcome.out, "paged:"), 0U);
}

TEST_F(PagerTest, LongerOutputGoesThroughThePager) {
    for (const std::uint32_t reports : {kRows + 1, kMany}) {
        const Outcome outcome = qorstat(decode(reports), with_pager(kMarking));

        EXPECT_EQ(outcome.exit_code, 0);
        EXPECT_EQ(outcome.err, "");
        EXPECT_EQ(occurrences(outcome.out, kReportLine), reports);
        EXPECT_EQ(occurrences(outcome.out, "paged:"), reports);
    }
}

/** An exact line takes several rows. */
TEST_F(PagerTest, RowsAreCountedNotLines) {
    const Outcome few = qorstat(decode(2, {"--format", "text"}), with_pager(kMarking));
    const Outcome several = qorstat(decode(6, {"--format", "text"}), with_pager(kMarking));

    EXPECT_EQ(few.err, "");
    EXPECT_EQ(split_lines(few.out).size(), 2U);
    EXPECT_EQ(occurrences(few.out, "paged:"), 0U);
    EXPECT_EQ(several.err, "");
    EXPECT_EQ(occurrences(several.out, "paged:"), 6U);
}

TEST_F(PagerTest, ThereIsNoneWhereTheUserWantsNone) {
    for (const char *const pager : {"", " ", "cat"}) {
        const Outcome outcome = qorstat(decode(kRows + 1), with_pager(pager));

        EXPECT_EQ(outcome.exit_code, 0);
        EXPECT_EQ(outcome.err, "");
        EXPECT_EQ(occurrences(outcome.out, kReportLine), kRows + 1) << pager;
    }
    const Outcome outcome = qorstat(decode(kRows + 1, {"--no-pager"}), with_pager(kMarking));
    EXPECT_EQ(occurrences(outcome.out, kReportLine), kRows + 1);
    EXPECT_EQ(occurrences(outcome.out, "paged:"), 0U);
}

TEST_F(PagerTest, ThereIsNoneForAFileOrAPipe) {
    Surroundings piped = with_pager(kMarking);
    piped.output_is_terminal = false;
    EXPECT_EQ(occurrences(qorstat(decode(kRows + 1), piped).out, "paged:"), 0U);
}

/** A pager would hold back what has arrived. */
TEST_F(PagerTest, ThereIsNoneForAPipeThatIsReadAsItFills) {
    std::vector<std::string> arguments = decode(kRows + 1);
    Surroundings piped = with_pager(kMarking);
    piped.standard_input = content_of(arguments[1]);
    EXPECT_EQ(occurrences(qorstat({"decode", "-"}, piped).out, "paged:"), 0U);

    const std::string list = folder.file("list", "-\n");
    EXPECT_EQ(occurrences(qorstat({"decode", arguments[1], "--files-from", list}, piped).out, "paged:"), 0U);

    arguments.emplace_back("--follow");
    RunningProgram following(arguments, with_pager(kMarking));
    ASSERT_TRUE(following.waits_for_output("+0.000023s"));
    following.send(SIGINT);
    EXPECT_EQ(occurrences(following.wait_for_end().out, "paged:"), 0U);
}

TEST_F(PagerTest, WithoutPagerVariableItIsLessWithItsUsualOptions) {
    const std::string less = folder.file("less", "#!/bin/sh\necho \"less with <$LESS>\"; cat > /dev/null\n");
    fs::permissions(less, fs::perms::owner_all);
    Surroundings chosen = surroundings;
    chosen.program = "/bin/sh";
    chosen.environment["PATH"] = folder.path().string() + ":" + std::getenv("PATH");
    std::vector<std::string> arguments = {"-c", "unset PAGER; exec \"$@\"", "sh", QORSTAT};
    for (const std::string &argument : decode(kRows + 1)) {
        arguments.push_back(argument);
    }
    EXPECT_EQ(qorstat(arguments, chosen).out, "less with <FRX>\r\n");
    chosen.environment["LESS"] = "-S";
    EXPECT_EQ(qorstat(arguments, chosen).out, "less with <-S>\r\n");
    chosen.environment["LESS"] = "";
    EXPECT_EQ(qorstat(arguments, chosen).out, "less with <>\r\n");

    // Neither a pager nor a complaint where there is no less.
    chosen.environment["PATH"] = "/nowhere";
    const Outcome without = qorstat(arguments, chosen);
    EXPECT_EQ(without.exit_code, 0);
    EXPECT_EQ(without.err, "");
    EXPECT_EQ(occurrences(without.out, kReportLine), kRows + 1);
}

TEST_F(PagerTest, AMissingPagerIsSaidAndEverythingIsWrittenToTheTerminal) {
    const Outcome outcome = qorstat(decode(kMany), with_pager("no-such-pager -x"));

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "qorstat: PAGER: there is no program \"no-such-pager\"\n");
    EXPECT_EQ(occurrences(outcome.out, kReportLine), kMany);
}

/** Only a shell knows what such a command runs. */
TEST_F(PagerTest, APagerThatTheShellCannotRunIsAnError) {
    const Outcome outcome = qorstat(decode(kMany), with_pager("\"no such pager\""));

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.err.find("qorstat: PAGER: cannot run \"\"no such pager\"\""), std::string::npos) << outcome.err;
}

TEST_F(PagerTest, APagerThatQuitsEarlyIsTheUsualEnd) {
    for (const std::string &pager : {kQuitting, std::string("exit 3;"), std::string("kill -9 $$")}) {
        const Outcome outcome = qorstat(decode(kMany), with_pager(pager));

        EXPECT_EQ(outcome.exit_code, 0) << pager;
        EXPECT_EQ(outcome.err, "") << pager;
        EXPECT_LE(occurrences(outcome.out, kReportLine), 1U) << pager;
    }
}

/** The dump would take hours to read: nothing of it passes the filter, so nothing is written either. */
TEST_F(PagerTest, WhenTheUserLeavesThePagerNothingMoreIsRead) {
    std::vector<std::string> arguments = decode(kRows + 1, {"--type", "event"});
    fs::resize_file(arguments[1], kHours);

    const Outcome outcome = qorstat(arguments, with_pager(kQuitting));

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(occurrences(outcome.out, kReportLine), 1U);
}

TEST_F(PagerTest, CtrlCIsThePagersAlone) {
    Surroundings chosen = with_pager(kInteractive);
    chosen.has_controlling_terminal = true;
    RunningProgram program(decode(kMany), chosen);
    ASSERT_TRUE(program.waits_for_output("paged:"));
    program.type("\x03");
    ASSERT_TRUE(program.waits_for_output("interrupted"));
    ASSERT_TRUE(program.waits_for_output("waiting"));
    program.type("\n");

    const Outcome outcome = program.wait_for_end();

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
}

TEST_F(PagerTest, ASignalEndsThePagerToo) {
    for (const int signal : {SIGTERM, SIGHUP}) {
        Surroundings chosen = with_pager(kTerminable);
        chosen.has_controlling_terminal = true;
        RunningProgram program(decode(kRows + 1), chosen);
        ASSERT_TRUE(program.waits_for_output("waiting"));
        program.send(signal);

        const Outcome outcome = program.wait_for_end();

        EXPECT_EQ(outcome.exit_code, 128 + signal);
        EXPECT_NE(outcome.out.find("terminated"), std::string::npos) << outcome.out;
    }
}

/** The dump takes hours to read, and the first screen is not full. */
TEST_F(PagerTest, ASignalLosesNothingOfAScreenThatIsNotFull) {
    std::vector<std::string> arguments = decode(kRows, {"--type", "event"});
    fs::resize_file(arguments[1], kHours);
    RunningProgram program(arguments, with_pager(kMarking));
    for (int piece = 0; piece < 10; ++piece) {
        program.waits_for_work(); // beyond the first block, which has all reports that pass
    }
    program.send(SIGINT);

    const Outcome outcome = program.wait_for_end();

    EXPECT_EQ(outcome.exit_code, 128 + SIGINT);
    EXPECT_EQ(occurrences(outcome.out, kReportLine), kRows);
}

TEST_F(PagerTest, TheTerminalIsAsBeforeWhenThePagerIsKilled) {
    Surroundings chosen = with_pager("stty raw -echo < /dev/tty; kill -9 $$");
    chosen.has_controlling_terminal = true;
    chosen.program = "/bin/sh";
    std::vector<std::string> arguments = {"-c",
                                          "before=$(stty -g < /dev/tty); \"$@\"; echo \"code $?\"; "
                                          "[ \"$before\" = \"$(stty -g < /dev/tty)\" ] && echo 'as before'",
                                          "sh", QORSTAT};
    for (const std::string &argument : decode(kRows + 1)) {
        arguments.push_back(argument);
    }

    EXPECT_EQ(qorstat(arguments, chosen).out, "code 0\r\nas before\r\n");
}

TEST_F(PagerTest, MessagesToTheTerminalComeAfterThePager) {
    std::vector<std::string> arguments = decode(kRows + 1);
    fs::resize_file(arguments[1], 48 * (kRows + 1) + 5);
    Surroundings chosen = with_pager(kMarking + "; sleep 0.2; echo 'left'");
    chosen.program = "/bin/sh";
    std::vector<std::string> both = {"-c", "exec \"$@\" 2>&1", "sh", QORSTAT}; // messages to the same terminal
    both.insert(both.end(), arguments.begin(), arguments.end());

    const Outcome outcome = qorstat(both, chosen);

    const std::size_t left = outcome.out.find("left");
    const std::size_t message = outcome.out.find("5 trailing bytes are not a whole report");
    ASSERT_NE(message, std::string::npos) << outcome.out;
    EXPECT_LT(left, message);
}

TEST_F(PagerTest, TextsAreEscapedAndColoursKeptForThePager) {
    std::string dump;
    for (std::uint32_t i = 0; i < 2 * kRows; ++i) {
        dump += report(kExtFunction, i, i, std::string(16, '\0') + "\x1b[31m\x07");
    }
    Surroundings chosen = with_pager(kMarking);
    chosen.environment["NO_COLOR"] = "";
    const Outcome outcome = qorstat({"decode", folder.file("hostile", dump)}, chosen);

    EXPECT_EQ(occurrences(outcome.out, "paged:"), 2 * kRows);
    EXPECT_EQ(occurrences(outcome.out, "\x1b[34mexec.extfunction.extfunction\x1b[0m"), 2 * kRows);
    EXPECT_EQ(occurrences(outcome.out, "function='\\x1b[31m\\x07'"), 2 * kRows);
    EXPECT_EQ(outcome.out.find("\x1b[31m"), std::string::npos);
}

TEST_F(PagerTest, OtherVerbsHaveItToo) {
    std::string records;
    for (std::uint32_t i = 0; i < kRows; ++i) {
        records += record("title", kTwoLines);
    }
    const std::string file = folder.file("records", records);

    EXPECT_NE(occurrences(qorstat({"show", file}, with_pager(kMarking)).out, "paged:"), 0U);
    EXPECT_EQ(occurrences(qorstat({"show", file, "--no-pager"}, with_pager(kMarking)).out, "paged:"), 0U);

    Surroundings piped = with_pager(kMarking);
    piped.standard_input = records;
    EXPECT_NE(occurrences(qorstat({"show", "-"}, piped).out, "paged:"), 0U);
    EXPECT_EQ(occurrences(qorstat({"show", file, "-"}, piped).out, "paged:"), 0U) << "it may come late";
}

} // namespace
} // namespace cli_tests
