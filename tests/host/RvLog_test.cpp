#include "host/RvLog.h"

#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/error.h"

namespace {

using ::testing::ElementsAre;
using ::testing::MatchesRegex;

/** The lines written to the journal. */
struct JournalEntry {
    std::string message;
    int priority;
    std::string identifier;

    friend bool operator==(const JournalEntry &, const JournalEntry &) = default;
};

std::vector<JournalEntry> journal;

std::string text_argument(va_list &arguments) {
    const int length = va_arg(arguments, int);
    return {va_arg(arguments, const char *), static_cast<std::size_t>(length)};
}

} // namespace

/** Replaces the journal's own function, so that no journal need run. Takes the three fields of a line. */
extern "C" int sd_journal_send(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    JournalEntry entry{};
    EXPECT_STREQ(format, "MESSAGE=%.*s");
    entry.message = text_argument(arguments);
    EXPECT_STREQ(va_arg(arguments, const char *), "PRIORITY=%d");
    entry.priority = va_arg(arguments, int);
    EXPECT_STREQ(va_arg(arguments, const char *), "SYSLOG_IDENTIFIER=%.*s");
    entry.identifier = text_argument(arguments);
    va_end(arguments);
    journal.push_back(entry);
    return 0;
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

    RvLogWrite(log, kRvLogLevelDefault, "one\n");
    RvLogWrite(log, kRvLogLevelError, "two");
    RvLogWrite(log, kRvLogLevelFault, "three");

    // Informational, error and critical condition, by the numbers of syslog.
    EXPECT_THAT(journal, ElementsAre(JournalEntry{"one", 6, "Sub:Cat"}, JournalEntry{"two", 3, "Sub:Cat"},
                                     JournalEntry{"three", 2, "Sub:Cat"}));
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
