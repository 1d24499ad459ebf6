/** Every verb ends on SIGINT, SIGTERM and SIGHUP, whatever it is doing, and leaves nothing torn. */
#include <csignal>
#include <filesystem>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "host/store/analytics_store.h"
#include "tests/cli/hosting.h"
#include "tests/cli/program.h"
#include "tests/cli/records/records.h"
#include "tests/cli/reports/dumps.h"

namespace cli_tests {
namespace {

enum class Doing { Sleeping, Working, WritingOutput, WritingMessages };
enum class Ending { BySignal, WithSuccess };
enum class Whole { Nothing, Lines, JsonLines, Records };

struct Row {
    std::string name;
    /** "FIFO" is a pipe that nobody writes to; the others are files of `Inputs`. */
    std::vector<std::string> arguments;
    Doing doing;
    Ending ending;
    Whole output = Whole::Nothing;
};

void PrintTo(const Row &row, std::ostream *out) { *out << row.name; }

const std::vector<Row> kRows = {
    {"DecodeOfAPipe", {"decode", "-"}, Doing::Sleeping, Ending::BySignal},
    {"DecodeOfAFifo", {"decode", "FIFO"}, Doing::Sleeping, Ending::BySignal},
    {"FollowOfAFifo", {"decode", "FIFO", "--follow"}, Doing::Sleeping, Ending::BySignal},
    {"Follow", {"decode", "EMPTY", "--follow"}, Doing::Sleeping, Ending::WithSuccess},
    {"FollowByName", {"decode", "EMPTY", "--follow=name"}, Doing::Sleeping, Ending::WithSuccess},
    {"ShowOfAPipe", {"show", "-"}, Doing::Sleeping, Ending::BySignal},
    {"ShowOfAFifo", {"show", "FIFO"}, Doing::Sleeping, Ending::BySignal},
    {"MetricsOfAPipe", {"metrics", "-"}, Doing::Sleeping, Ending::BySignal},
    {"DecodeOfAFifoToAFile", {"decode", "FIFO", "-o", "RESULT"}, Doing::Sleeping, Ending::BySignal},
    {"ShowOfAFifoToAFile", {"show", "RECORDS", "FIFO", "-o", "RESULT"}, Doing::Sleeping, Ending::BySignal},
    {"MetricsOfAFifoToAFile", {"metrics", "FIFO", "-o", "RESULT"}, Doing::Sleeping, Ending::BySignal},
    {"DecodeToAFileAtWork",
     {"decode", "ZEROS", "--category", "wake", "-o", "RESULT"},
     Doing::Working,
     Ending::BySignal},
    {"PublishOfAPipe", {"publish", "-", "--store", ":memory:"}, Doing::Sleeping, Ending::BySignal},
    {"DecodeAtWork", {"decode", "ZEROS", "--category", "wake"}, Doing::Working, Ending::BySignal},
    {"StatisticsAtWork", {"decode", "ZEROS", "--stats"}, Doing::Working, Ending::BySignal},
    {"FollowAtWork", {"decode", "ZEROS", "--category", "wake", "--follow"}, Doing::Working, Ending::WithSuccess},
    {"FollowLookingForTheLast",
     {"decode", "ZEROS", "--category", "wake", "--last", "1", "--follow"},
     Doing::Working,
     Ending::WithSuccess},
    {"DecodeToAStalledReader", {"decode", "DUMP"}, Doing::WritingOutput, Ending::BySignal, Whole::Lines},
    {"DecodeAsJsonToAStalledReader",
     {"decode", "DUMP", "--format", "jsonl"},
     Doing::WritingOutput,
     Ending::BySignal,
     Whole::JsonLines},
    {"DecodeAsTraceToAStalledReader",
     {"decode", "DUMP", "--format", "chrome-trace"},
     Doing::WritingOutput,
     Ending::BySignal,
     Whole::Lines},
    {"FollowToAStalledReader",
     {"decode", "DUMP", "--format", "jsonl", "--follow"},
     Doing::WritingOutput,
     Ending::WithSuccess,
     Whole::JsonLines},
    {"ShowToAStalledReader", {"show", "RECORDS"}, Doing::WritingOutput, Ending::BySignal, Whole::Lines},
    {"ShowAsJsonToAStalledReader", {"show", "RECORDS", "--json"}, Doing::WritingOutput, Ending::BySignal, Whole::Lines},
    {"MetricsToAStalledReader", {"metrics", "STORE", "--json"}, Doing::WritingOutput, Ending::BySignal, Whole::Lines},
    {"CaptureToAStalledReader",
     {"capture", kPhone, "--kind", "fault", "-o", "-"},
     Doing::WritingOutput,
     Ending::BySignal,
     Whole::Records},
    {"PublishToAStalledReader",
     {"publish", "BATCH", "--log", "--store", ":memory:"},
     Doing::WritingMessages,
     Ending::BySignal},
};

/** The files that the rows name. */
class Inputs {
public:
    Inputs() {
        std::string records;
        for (int i = 0; i < 10'000; ++i) {
            records += record("T", kTwoLines);
        }
        host::StoreContents contents;
        for (int i = 0; i < 3'000; ++i) {
            contents.scalars["key." + std::to_string(i)] = i;
        }
        std::string batch;
        for (int i = 0; i < 2'000; ++i) {
            batch += std::string("\x3A\x03\x03\0\0\0\0", 7);
        }
        _folder.file("RECORDS", records);
        _folder.file("DUMP", numbered_reports(20'000));
        _folder.file("EMPTY", "");
        _folder.file("RESULT", "former");
        _folder.file("BATCH", batch);
        // Sparse: it takes no room, and seconds to read.
        std::filesystem::resize_file(_folder.file("ZEROS", ""), 48ULL * 200'000'000);
        host::write_new_analytics_store(path("STORE"), contents);
        EXPECT_EQ(mkfifo(path("FIFO").c_str(), 0600), 0);
    }

    std::string path(const std::string &name) const { return _folder.path() / name; }

    /** Nothing was added, and the file for results is the former one. */
    void expect_unchanged() const {
        EXPECT_EQ(_folder.names(),
                  (std::vector<std::string>{"BATCH", "DUMP", "EMPTY", "FIFO", "RECORDS", "RESULT", "STORE", "ZEROS"}));
        EXPECT_EQ(content_of(path("RESULT")), "former");
    }

    std::vector<std::string> paths_in(std::vector<std::string> arguments) const {
        for (std::string &argument : arguments) {
            argument = std::filesystem::exists(path(argument)) ? path(argument) : argument;
        }
        return arguments;
    }

private:
    TemporaryFolder _folder;
};

void expect_whole(const std::string &text, Whole what) {
    if (what == Whole::Nothing) {
        EXPECT_EQ(text, "");
        return;
    }
    ASSERT_NE(text, "");
    if (what == Whole::Records) {
        Surroundings surroundings;
        surroundings.standard_input = text;
        EXPECT_EQ(qorstat({"show", "-"}, surroundings).exit_code, 0);
        return;
    }
    EXPECT_EQ(text.back(), '\n');
    std::istringstream lines(text);
    for (std::string line; what == Whole::JsonLines && std::getline(lines, line);) {
        EXPECT_TRUE(nlohmann::json::accept(line)) << line;
    }
}

class SignalTest : public testing::TestWithParam<Row> {
protected:
    static void SetUpTestSuite() { inputs = std::make_unique<Inputs>(); }
    static void TearDownTestSuite() { inputs.reset(); }

    /** Waits until the program does what the row says. */
    static void wait_until(RunningProgram &program, Doing doing) {
        if (doing == Doing::Working) {
            EXPECT_TRUE(program.waits_for_opening(inputs->path("ZEROS")));
            program.waits_for_work();
        } else if (doing == Doing::WritingOutput) {
            program.waits_for_full_output();
        } else if (doing == Doing::WritingMessages) {
            program.waits_for_full_messages();
        } else {
            program.waits_for_sleep();
        }
    }

    static std::unique_ptr<Inputs> inputs;
};

std::unique_ptr<Inputs> SignalTest::inputs;

TEST_P(SignalTest, EndsTheVerbAndTearsNothing) {
    const Row &row = GetParam();
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const TemporaryFolder folder;
        RunningProgram program(inputs->paths_in(row.arguments), isolate_in(folder));
        wait_until(program, row.doing);

        program.send(signal);
        const Outcome outcome = program.wait_for_end_unread();

        EXPECT_EQ(outcome.exit_code, row.ending == Ending::BySignal ? 128 + signal : 0) << outcome.err;
        expect_whole(outcome.out, row.output);
        EXPECT_TRUE(outcome.err.empty() || outcome.err.back() == '\n') << outcome.err;
        EXPECT_EQ(folder.names(), std::vector<std::string>{});
        inputs->expect_unchanged();
    }
}

/** A device whose firmware writes more to the log at once than a pipe holds. */
std::string busy_device() {
    std::string batch;
    for (int i = 0; i < 2'000; ++i) {
        batch += " 3A 03 03 01 00 00 00";
    }
    return content_of(kSmall) + "\n[[analytics]]\ndevice = \"qor\"\nhex = \"" + batch + "\"\n";
}

INSTANTIATE_TEST_SUITE_P(EveryVerb, SignalTest, testing::ValuesIn(kRows),
                         [](const testing::TestParamInfo<Row> &row) { return row.param.name; });

TEST(SignalsTest, EndARunThatIsIdleOrWhoseLogNobodyReads) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const TemporaryFolder folder;
        RunningProgram idle({"run", kSmall, "--store", "day.db"}, isolate_in(folder));
        ASSERT_TRUE(idle.waits_for_message("Ctrl-C stops"));
        idle.send(signal);
        EXPECT_EQ(idle.wait_for_end_unread().exit_code, 0);

        RunningProgram blocked(
            {"run", folder.file("busy.toml", busy_device()), "--store", "day.db", "--log-level", "default"},
            isolate_in(folder));
        blocked.waits_for_full_messages();
        blocked.send(signal);
        const Outcome outcome = blocked.wait_for_end_unread();
        EXPECT_EQ(outcome.exit_code, 0);
        EXPECT_EQ(outcome.err.back(), '\n');
        EXPECT_EQ(qorstat({"metrics", folder.path() / "day.db"}).exit_code, 0);
    }
}

TEST(SignalsTest, EndAValidationAndItsCheck) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        RunningProgram program({"validate", QOR_SILENT_MODULE});
        ASSERT_TRUE(program.waits_for_output("loading"));
        program.send(signal);
        const Outcome outcome = program.wait_for_end_unread();
        EXPECT_EQ(outcome.exit_code, 128 + signal);
        expect_whole(outcome.out, Whole::Lines);
    }
}

} // namespace
} // namespace cli_tests
