#include "cli/questions/prompt_session.h"

#include <csignal>
#include <deque>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "host/error.h"
#include "tests/cli/program.h"

using cli::LineEditor;
using cli::TabEffect;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

/** What is entered, line by line: "^C" clears one, Tab is pressed behind a line that begins with it and is not entered,
 * and behind the last line the input ends. */
struct Typed {
    std::deque<std::string> lines;
    std::vector<std::string> prompts;
    std::vector<std::string> remembered;
    std::vector<TabEffect> effects;
    cli::LineEditorSurroundings surroundings;
};

class TypedEditor final : public LineEditor {
public:
    explicit TypedEditor(Typed &typed) : _typed(typed) {}

    Result read(const std::string &prompt) override {
        _typed.prompts.push_back(prompt);
        if (_typed.lines.empty()) {
            return {End::EndOfInput, {}};
        }
        const std::string line = _typed.lines.front();
        _typed.lines.pop_front();
        if (line.starts_with('\t')) {
            _typed.effects.push_back(_typed.surroundings.press_tab(line.substr(1)));
            return read(prompt);
        }
        return line == "^C" ? Result{End::Interrupted, {}} : Result{End::Line, line};
    }

    void remember(const std::string &entry) override { _typed.remembered.push_back(entry); }

private:
    Typed &_typed;
};

class PromptSessionTest : public testing::Test {
protected:
    /** Holds a session. @return what its commands show. */
    std::string hold(const std::deque<std::string> &lines) {
        typed.lines = lines;
        const std::string file = folder.file("shown", "");
        const int descriptor = open(file.c_str(), O_WRONLY | O_APPEND);
        testing::internal::CaptureStderr();
        {
            cli::Output output(descriptor, "shown");
            cli::Interruption interruption;
            cli::PromptSubject subject;
            subject.names.tables = {{"reports", {"device", "timestamp"}}, {"wake_event", {"device", "wake_reason"}}};
            subject.names.formats = {"csv", "jsonl"};
            subject.answer = [&](const std::string &statement) {
                asked.push_back(statement);
                if (statement == "fails;") {
                    throw host::Error("", "", "no such table: x");
                }
                if (statement.starts_with("signal ")) {
                    std::raise(std::stoi(statement.substr(7)));
                    throw cli::Interrupted{};
                }
            };
            subject.describe = [](const std::string &table) { return "about \"" + table + "\"\n"; };
            subject.choose_format = [&](const std::string &format) { asked.push_back("format " + format); };
            signal = cli::hold_session(subject, history, output, interruption,
                                       [&](cli::LineEditorSurroundings surroundings) {
                                           typed.surroundings = std::move(surroundings);
                                           return std::make_unique<TypedEditor>(typed);
                                       });
            output.flush();
        }
        messages = testing::internal::GetCapturedStderr();
        close(descriptor);
        return cli_tests::content_of(file);
    }

    cli_tests::TemporaryFolder folder;
    cli::PromptHistory history{folder.path() / "history"};
    Typed typed;
    std::vector<std::string> asked;
    std::string messages;
    int signal = -1;
};

TEST_F(PromptSessionTest, AStatementEndsWithASemicolon) {
    hold({"SELECT 1", "  -- not the end;", "", "FROM t;", "SELECT ';'", ";  ", "", "SELECT 2; SELECT 3;"});

    EXPECT_THAT(asked, ElementsAre("SELECT 1\n  -- not the end;\n\nFROM t;", "SELECT ';'\n;", "SELECT 2; SELECT 3;"));
    EXPECT_THAT(typed.prompts, ElementsAre("qorstat> ", "    ...> ", "    ...> ", "    ...> ", "qorstat> ", "    ...> ",
                                           "qorstat> ", "qorstat> ", "qorstat> "));
    EXPECT_EQ(signal, 0);
    EXPECT_EQ(messages, "");
}

TEST_F(PromptSessionTest, WhatWasEnteredIsInTheHistoryOfTheNextSession) {
    hold({"SELECT 1", "FROM t;", ".tables", "SELECT 2 -- why", ";", "", "SELECT"});
    const std::vector<std::string> remembered = {"SELECT 1 FROM t;", ".tables", "SELECT 2 -- why\n;"};
    EXPECT_EQ(typed.remembered, remembered);

    typed.remembered.clear();
    hold({});
    EXPECT_EQ(typed.remembered, remembered);
}

TEST_F(PromptSessionTest, AnInterruptionClearsTheStatementAndNotTheSession) {
    hold({"SELECT 1", "^C", "SELECT 2;", "^C", "SELECT 3;"});
    EXPECT_THAT(asked, ElementsAre("SELECT 2;", "SELECT 3;"));
}

TEST_F(PromptSessionTest, AnInterruptedAnswerDoesNotEndTheSession) {
    hold({"signal " + std::to_string(SIGINT) + ";", "SELECT 2;"});

    EXPECT_THAT(asked, ElementsAre(HasSubstr("signal"), "SELECT 2;"));
    EXPECT_EQ(messages, "qorstat: interrupted\n");
    EXPECT_EQ(signal, 0);
}

TEST_F(PromptSessionTest, AnotherSignalEndsTheSession) {
    hold({"signal " + std::to_string(SIGTERM) + ";", "SELECT 2;"});

    EXPECT_THAT(asked, ElementsAre(HasSubstr("signal")));
    EXPECT_EQ(signal, SIGTERM);
}

TEST_F(PromptSessionTest, WhatFailsIsToldAndTheSessionGoesOn) {
    hold({"fails;", "SELECT 2;"});

    EXPECT_EQ(messages, "qorstat: no such table: x\n");
    EXPECT_THAT(asked, ElementsAre("fails;", "SELECT 2;"));
}

TEST_F(PromptSessionTest, CommandsShowWhatThereIs) {
    EXPECT_EQ(hold({".tables"}), "reports wake_event\n");
    EXPECT_EQ(hold({".schema", " .schema reports", ".schema wake_event"}),
              "about \"\"\nabout \"reports\"\nabout \"wake_event\"\n");
    EXPECT_EQ(hold({".format"}), "one of csv, jsonl\n");
    const std::string help = hold({".help"});
    for (const std::string command : {".format [FORMAT]", ".help", ".quit", ".schema [TABLE]", ".tables"}) {
        EXPECT_THAT(help, testing::AnyOf(HasSubstr("\n" + command), testing::StartsWith(command)));
    }
    EXPECT_EQ(messages, "");
}

TEST_F(PromptSessionTest, AFormatIsChosenByItsName) {
    hold({".format jsonl", ".format xml"});

    EXPECT_THAT(asked, ElementsAre("format jsonl"));
    EXPECT_EQ(messages, "qorstat: no format \"xml\": expected one of csv, jsonl\n");
}

TEST_F(PromptSessionTest, AWrongCommandIsNamed) {
    hold({".tabels", ".help me", ".tables"});

    EXPECT_EQ(messages, "qorstat: no command \".tabels\"; did you mean \".tables\"?; .help shows all\n"
                        "qorstat: .help: unexpected argument \"me\"\n");
}

TEST_F(PromptSessionTest, QuitEndsTheSession) {
    hold({"SELECT 1;", ".quit", "SELECT 2;"});
    EXPECT_THAT(asked, ElementsAre("SELECT 1;"));
    EXPECT_THAT(typed.lines, ElementsAre("SELECT 2;"));
}

TEST_F(PromptSessionTest, AHistoryThatCannotBeKeptIsToldOnce) {
    folder.file("file", "");
    history = cli::PromptHistory(folder.path() / "file" / "history");
    hold({"SELECT 1;", "SELECT 2;"});

    EXPECT_EQ(cli_tests::occurrences(messages, "qorstat: "), 2U); // reading, then writing
    EXPECT_THAT(asked, ElementsAre("SELECT 1;", "SELECT 2;"));
}

TEST_F(PromptSessionTest, TabCompletesOrListsNames) {
    hold({"\tSELECT * FROM rep", "\t.sc", "\tSELECT quant", "\tSELECT dev", "\tSELECT re", "\tSELECT xyz", "SELECT 'a",
          "\tdev", "', time", "\tdev"});

    ASSERT_EQ(typed.effects.size(), 8U);
    const auto expect = [&](std::size_t index, std::size_t erased, const std::string &inserted,
                            const std::string &listed) {
        EXPECT_EQ(typed.effects[index].erased, erased) << index;
        EXPECT_EQ(typed.effects[index].inserted, inserted) << index;
        EXPECT_EQ(typed.effects[index].listed, listed) << index;
    };
    expect(0, 3, "reports ", "");
    expect(1, 3, ".schema ", "");
    expect(2, 5, "quantile(", "");
    expect(3, 3, "device ", "");
    expect(4, 0, "", "recursive reports\n");
    expect(5, 0, "", "");
    expect(6, 0, "", ""); // within quotes that the line before opened
    expect(7, 3, "device ", "");
}

} // namespace
