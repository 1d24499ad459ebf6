/** The prompt of `qorstat query` in a pseudo-terminal, through the built program. */
#include <csignal>
#include <filesystem>
#include <map>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/program.h"

using testing::HasSubstr;
using testing::Not;

namespace cli_tests {
namespace {

namespace fs = std::filesystem;

const std::string kPrompt = "qorstat> ";
const std::string kContinued = "    ...> ";
const std::string kInterrupt = "\x03";
const std::string kEnd = "\x04";
const std::string kUp = "\x1B[A";
const std::string kSearch = "\x12";
const std::string kToStart = "\x01";

/** An answer that is computed for hours. */
const std::string kEndless =
    "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT count(*) AS numbers FROM n;\r";

class PromptTest : public testing::Test {
protected:
    void SetUp() override { SKIP_WITHOUT_TERMINALS(); }

    PromptTest() {
        surroundings.output_is_terminal = true;
        surroundings.input_is_terminal = true;
        surroundings.messages_are_to_terminal = false;
        surroundings.has_controlling_terminal = true;
        surroundings.environment = {{"TERM", "xterm"},
                                    {"LC_ALL", "C.UTF-8"},
                                    {"NO_COLOR", "1"},
                                    {"HOME", folder.path() / "home"},
                                    {"XDG_STATE_HOME", folder.path() / "state"}};
    }

    /** A session over a dump, with the prompt shown. */
    struct Session {
        explicit Session(const Surroundings &surroundings)
            : program({"query", QOR_SOURCE_FOLDER "/examples/reports/reset.bin"}, surroundings) {
            EXPECT_TRUE(program.waits_for_output(kPrompt));
        }

        /** Types, and waits until `text` is shown, once more than the last time. Before Ctrl-D that must be the prompt:
         * the terminal takes it otherwise. */
        void enter(const std::string &keys, const std::string &text) {
            program.type(keys);
            EXPECT_TRUE(program.waits_for_output(text, ++_shown[text])) << keys;
        }

        RunningProgram program;

    private:
        std::map<std::string, std::size_t> _shown;
    };

    std::string history() const { return content_of(folder.path() / "state" / "qorstat" / "query-history"); }

    TemporaryFolder folder;
    Surroundings surroundings;
};

TEST_F(PromptTest, AnswersUntilTheInputEnds) {
    Session session(surroundings);
    session.enter("SELECT count(*) + 1000 AS answer FROM reports;\r", "1436");
    session.enter("SELECT 'two'\r", kContinued);
    session.enter("|| 'fold';\r", "twofold");
    session.enter("SELECT nothing FROM reports;\r", kPrompt);
    EXPECT_TRUE(session.program.waits_for_message("nothing"));
    session.enter("SELECT 77 * 77;\r", "5929\r\n" + kPrompt);
    session.program.type(kEnd);
    const Outcome outcome = session.program.wait_for_end();

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_THAT(outcome.err, Not(HasSubstr("interrupted")));
}

TEST_F(PromptTest, AStatementHasTheCharactersThatWereTyped) {
    Session session(surroundings);
    session.enter("SELECT hex('a\u00E4\u07FF\u20AC\U0001F600') || '.';\r", "61C3A4DFBFE282ACF09F9880.\r\n" + kPrompt);
    // What is not UTF-8 takes no other key along.
    for (const std::string byte : {"\xE4", "\xF0\x9F", "\xBF", "\xFF"}) {
        session.enter("SELECT hex('" + byte + "') || '.';\r", "EFBFBD.\r\n" + kPrompt);
    }
    session.program.type(kEnd);

    EXPECT_EQ(session.program.wait_for_end().exit_code, 0);
}

TEST_F(PromptTest, CtrlCEndsAnAnswerOrClearsALineAndNotTheSession) {
    Session session(surroundings);
    session.program.type(kEndless);
    session.program.waits_for_work();
    session.program.type(kInterrupt);
    EXPECT_TRUE(session.program.waits_for_message("interrupted"));
    session.enter("SELECT 1 +\r", kContinued);
    session.enter(kInterrupt, "^C\r\n" + kPrompt);
    session.enter("SELECT 77 * 77;\r", "5929\r\n" + kPrompt);
    session.enter(".quit\r", ".quit");

    EXPECT_EQ(session.program.wait_for_end().exit_code, 0);
}

TEST_F(PromptTest, TabCompletesTablesColumnsAndCommands) {
    Session session(surroundings);
    session.enter("SELECT count(*) + 1000 AS n FROM wake_req\t;\r", "1002");
    session.enter("SELECT max(sequence_n\t) + 1000000 FROM reports;\r", "1061593");
    session.enter(".tab\t\r", "wake_request");
    session.enter(".sche\twake_ev\t\r", "service_id");
    session.enter("SELECT wake_\t\t", "wake_event wake_reason wake_request");
    session.enter(kInterrupt, "^C\r\n" + kPrompt); // by itself: the terminal drops what is typed with it
    session.program.type(kEnd);

    EXPECT_EQ(session.program.wait_for_end().exit_code, 0);
}

TEST_F(PromptTest, TheNextSessionHasTheHistory) {
    {
        Session session(surroundings);
        session.enter("SELECT 77\r", kContinued);
        session.enter("* 77;\r", "5929\r\n" + kPrompt);
        session.program.type(kEnd);
        session.program.wait_for_end();
    }
    EXPECT_EQ(history(), "SELECT 77 * 77;\n");
    EXPECT_EQ(fs::status(folder.path() / "state" / "qorstat" / "query-history").permissions(),
              fs::perms::owner_read | fs::perms::owner_write);

    Session session(surroundings);
    session.enter(kUp + "\r", "5929\r\n" + kPrompt);
    session.program.type(kEnd);
    EXPECT_EQ(session.program.wait_for_end().exit_code, 0);
    EXPECT_EQ(history(), "SELECT 77 * 77;\nSELECT 77 * 77;\n");
}

TEST_F(PromptTest, OfTheSameStatementTwiceTheHistoryOfTheSessionHasOne) {
    Session session(surroundings);
    session.enter("SELECT 1111 * 2;\r", "2222\r\n" + kPrompt);
    session.enter("SELECT 77 * 77;\r", "5929\r\n" + kPrompt);
    session.enter("SELECT 77 * 77;\r", "5929\r\n" + kPrompt);
    session.enter(kUp + kUp + "\r", "2222\r\n" + kPrompt);
    session.program.type(kEnd);

    EXPECT_EQ(session.program.wait_for_end().exit_code, 0);
}

TEST_F(PromptTest, CtrlRSearchesTheHistory) {
    Session session(surroundings);
    session.enter("SELECT 1111 * 2;\r", "2222\r\n" + kPrompt);
    session.enter("SELECT 77 * 77;\r", "5929\r\n" + kPrompt);
    session.enter(kSearch + "111\r", "2222\r\n" + kPrompt);
    session.program.type(kEnd);

    EXPECT_EQ(session.program.wait_for_end().exit_code, 0);
}

TEST_F(PromptTest, ALineThatIsEditedFollowsTheWidthOfTheTerminal) {
    Session session(surroundings);
    session.program.resize_terminal(40);
    session.enter("SELECT '" + std::string(60, 'x') + "'", "x'");
    session.enter(kToStart, "\x1B[A"); // up, to the first of two rows
    session.enter(kInterrupt, "^C\r\n" + kPrompt);
    session.program.type(kEnd);

    EXPECT_EQ(session.program.wait_for_end().exit_code, 0);
}

TEST_F(PromptTest, WithoutAHomeThereIsNoHistory) {
    surroundings.environment["HOME"] = "";
    surroundings.environment["XDG_STATE_HOME"] = "";
    surroundings.folder = folder.path();
    Session session(surroundings);
    session.enter("SELECT 77 * 77;\r", "5929\r\n" + kPrompt);
    session.program.type(kEnd);

    const Outcome outcome = session.program.wait_for_end();
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_TRUE(folder.names().empty());
}

TEST_F(PromptTest, AFormatIsForTheAnswersThatFollow) {
    Session session(surroundings);
    session.enter(".format jsonl\r", kPrompt);
    session.enter("SELECT 77 * 77 AS n;\r", "{\"n\":5929}");
    session.enter(".format csv\r", kPrompt);
    session.enter("SELECT 77 * 78 AS n;\r", "6006\r\r\n" + kPrompt);
    session.program.type(kEnd);

    EXPECT_EQ(session.program.wait_for_end().exit_code, 0);
}

/** The terminal is left as it was: its own driver echoes and edits again. */
TEST_F(PromptTest, ASignalThatEndsTheProgramEndsTheSession) {
    for (const int signal : {SIGTERM, SIGHUP}) {
        Session session(surroundings);
        session.program.send(signal);
        EXPECT_EQ(session.program.wait_for_end().exit_code, 128 + signal);
    }
}

TEST_F(PromptTest, ControlCharactersOfAnAnswerDoNotReachTheTerminal) {
    Session session(surroundings);
    session.enter("SELECT char(27) || '[31m' || 'red';\r", "\\x1b[31mred\r\n" + kPrompt);
    session.program.type(kEnd);

    EXPECT_THAT(session.program.wait_for_end().out, Not(HasSubstr("\x1B[31m")));
}

} // namespace
} // namespace cli_tests
