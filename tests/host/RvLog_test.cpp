#include "host/RvLog.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include <sys/uio.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/error.h"

namespace {

using ::testing::ElementsAre;
using ::testing::MatchesRegex;

/** The fields of each message that is sent to the journal. */
std::vector<std::vector<std::string>> journal;

/** What the journal answers. */
int journal_answer = 0;

} // namespace

/** Replaces the journal's own function, so that no journal need run. */
extern "C" int sd_journal_sendv(const iovec *fields, int count) {
    std::vector<std::string> message;
    for (int i = 0; i < count; ++i) {
        message.emplace_back(static_cast<const char *>(fields[i].iov_base), fields[i].iov_len);
    }
    journal.push_back(message);
    return journal_answer;
}

namespace {

class Log : public ::testing::Test {
protected:
    void SetUp() override {
        _folder = std::filesystem::path(::testing::TempDir()) /
                  (std::string("log-") + ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(_folder);
        std::filesystem::create_directories(_folder);
        journal.clear();
        journal_answer = 0;
    }
    void TearDown() override { std::filesystem::remove_all(_folder); }

    std::string path(const char *name) const { return (_folder / name).string(); }

    RvLogRef log = RvLogCreate("Sub", "Cat");

private:
    std::filesystem::path _folder;
};

std::vector<std::string> lines_of(const std::string &content) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end = 0; (end = content.find('\n', start)) != std::string::npos; start = end + 1) {
        lines.push_back(content.substr(start, end - start));
    }
    EXPECT_EQ(start, content.size()) << "the last line has no end";
    return lines;
}

std::string content_of(const std::string &path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

constexpr char kTime[] = "[0-9]+-[0-9]+-[0-9]+ [0-9]+:[0-9]+:[0-9]+\\.[0-9]+ ";

auto line_like(const std::string &rest) { return MatchesRegex(kTime + rest); }

TEST_F(Log, FileTakesOneLineForEachMessageWithTimeLevelAndNames) {
    const auto sink = host::log_to_file(path("log"));

    RvLogWrite(log, kRvLogLevelDefault, "plain");
    RvLogWrite(log, kRvLogLevelError, "with its newline\n");
    RvLogWrite(log, kRvLogLevelFault, "%s {}");

    EXPECT_THAT(lines_of(content_of(path("log"))),
                ElementsAre(line_like("default \\[Sub:Cat\\] plain"), line_like("error \\[Sub:Cat\\] with its newline"),
                            line_like("fault \\[Sub:Cat\\] %s \\{\\}")));
}

TEST_F(Log, FileIsAppendedTo) {
    std::ofstream(path("log")) << "before\n";
    const auto sink = host::log_to_file(path("log"));

    RvLogWrite(log, kRvLogLevelDefault, "after");

    EXPECT_THAT(lines_of(content_of(path("log"))), ElementsAre("before", line_like("default \\[Sub:Cat\\] after")));
}

TEST_F(Log, FileThatCannotBeOpenedIsAnErrorThatNamesItAndTheReason) {
    try {
        (void)host::log_to_file(path("missing/log"));
        FAIL() << "opened";
    } catch (const host::Error &error) {
        EXPECT_EQ(error.what(), path("missing/log") + ": cannot open the log file: No such file or directory");
    }
    EXPECT_FALSE(std::filesystem::exists(path("missing")));
}

TEST_F(Log, LinesSayWhereTheLevelIs) {
    std::vector<host::LogLine> lines;
    const auto sink = host::log_to_lines([&](const host::LogLine &line) { lines.push_back(line); });

    RvLogWrite(log, kRvLogLevelFault, "seen\n");

    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, kRvLogLevelFault);
    EXPECT_THAT(lines_of(lines[0].text), ElementsAre(line_like("fault \\[Sub:Cat\\] seen")));
    EXPECT_EQ(lines[0].text.substr(lines[0].level_begin, lines[0].level_end - lines[0].level_begin), "fault");
    EXPECT_EQ(lines[0].text.back(), '\n');
}

TEST_F(Log, JournalGetsTheMessageItsPriorityAndTheNames) {
    const auto sink = host::log_to_journal();
    const auto fields = [](const char *message, const char *priority, const char *level) {
        return ElementsAre(std::string("MESSAGE=") + message, std::string("PRIORITY=") + priority,
                           "SYSLOG_IDENTIFIER=Sub:Cat", "QOR_SUBSYSTEM=Sub", "QOR_CATEGORY=Cat",
                           std::string("QOR_LEVEL=") + level);
    };

    RvLogWrite(log, kRvLogLevelDefault, "one\n");
    RvLogWrite(log, kRvLogLevelError, "two %s");
    RvLogWrite(log, kRvLogLevelFault, "three\nQOR_DEVICE=forged");

    // Informational, error and critical condition, by the numbers of syslog. A message is one field, whatever it has.
    EXPECT_THAT(journal, ElementsAre(fields("one", "6", "default"), fields("two %s", "3", "error"),
                                     fields("three\nQOR_DEVICE=forged", "2", "fault")));
}

TEST_F(Log, JournalGetsTheNameOfTheDevice) {
    const auto sink = host::log_to_journal("phone");

    RvLogWrite(log, kRvLogLevelDefault, "one");

    ASSERT_EQ(journal.size(), 1u);
    EXPECT_EQ(journal[0].back(), "QOR_DEVICE=phone");
}

TEST_F(Log, AMessageThatTheJournalDoesNotTakeIsSaidToBeLost) {
    const auto sink = host::log_to_journal();
    journal_answer = -EMSGSIZE;

    testing::internal::CaptureStderr();
    RvLogWrite(log, kRvLogLevelDefault, "one");

    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "log: a message was lost: Failed writing to systemd: Message too long\n");
}

TEST_F(Log, FunctionReceivesMessagesUnchanged) {
    std::vector<std::string> texts;
    const auto sink = host::log_to_function([&](const host::LogMessage &message) { texts.push_back(message.text); });

    RvLogWrite(log, kRvLogLevelDefault, "with newline\n");
    RvLogWrite(log, kRvLogLevelDefault, "");

    EXPECT_THAT(texts, ElementsAre("with newline\n", ""));
}

TEST_F(Log, SinkThatIsGoneReceivesNothing) {
    host::LogRecorder recorder;
    std::vector<std::string> texts;
    auto sink = host::log_to_function([&](const host::LogMessage &message) { texts.push_back(message.text); });
    sink.reset();

    RvLogWrite(log, kRvLogLevelDefault, "x");

    EXPECT_THAT(texts, ElementsAre());
    EXPECT_THAT(recorder.lines(), ElementsAre("x"));
}

TEST_F(Log, SinkThatAnotherReceiverTakesAwayMissesThatMessage) {
    std::vector<std::string> texts;
    std::unique_ptr<host::LogSink> second;
    const auto first = host::log_to_function([&](const host::LogMessage &) { second.reset(); });
    second = host::log_to_function([&](const host::LogMessage &message) { texts.push_back(message.text); });

    RvLogWrite(log, kRvLogLevelDefault, "x");

    EXPECT_THAT(texts, ElementsAre());
}

TEST_F(Log, ReceiverMayLogItself) {
    host::LogRecorder recorder;
    const auto sink = host::log_to_function([&](const host::LogMessage &message) {
        if (message.text == "question") {
            RvLogWrite(log, kRvLogLevelDefault, "answer");
        }
    });

    RvLogWrite(log, kRvLogLevelDefault, "question");

    EXPECT_THAT(recorder.lines(), ElementsAre("question", "answer"));
}

TEST_F(Log, ReceiverThatThrowsLosesOnlyItsOwnMessage) {
    const auto sink = host::log_to_function([](const host::LogMessage &) { throw std::runtime_error("full"); });
    host::LogRecorder recorder;

    ::testing::internal::CaptureStderr();
    RvLogWrite(log, kRvLogLevelDefault, "x");

    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "log: a message was lost: full\n");
    EXPECT_THAT(recorder.lines(), ElementsAre("x"));
}

TEST_F(Log, RecorderGivesMessagesWholeAndLinesWithoutTheirNewline) {
    host::LogRecorder recorder;

    RvLogWrite(log, kRvLogLevelError, "text\n");

    ASSERT_EQ(recorder.messages().size(), 1u);
    EXPECT_EQ(recorder.messages()[0].level, kRvLogLevelError);
    EXPECT_EQ(recorder.messages()[0].subsystem, "Sub");
    EXPECT_EQ(recorder.messages()[0].category, "Cat");
    EXPECT_EQ(recorder.messages()[0].text, "text\n");
    EXPECT_THAT(recorder.lines(), ElementsAre("text"));
    recorder.clear();
    EXPECT_TRUE(recorder.messages().empty());
}

TEST_F(Log, LevelThatIsNoLevelIsNeverEnabled) {
    host::LogRecorder recorder;

    EXPECT_FALSE(RvLogIsEnabled(log, static_cast<RvLogLevel>(3)));
    RvLogWrite(log, static_cast<RvLogLevel>(3), "x");

    EXPECT_TRUE(recorder.messages().empty());
}

TEST_F(Log, OneSubsystemAndCategoryHaveOneLog) {
    EXPECT_EQ(RvLogCreate("Sub", "Cat"), log);
    EXPECT_NE(RvLogCreate("Sub", "Other"), log);
}

} // namespace
