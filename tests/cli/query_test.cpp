/** `query`, the built program. */
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "host/file_descriptor.h"
#include "host/store/analytics_store.h"
#include "tests/cli/program.h"
#include "tests/cli/records/records.h"
#include "tests/cli/reports.h"

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace cli_tests {
namespace {

class QueryTest : public testing::Test {
protected:
    QueryTest() {
        folder.file("phone.bin",
                    report(kAccelData, 1, 100, "\5") + report(kGyroData, 2, 200) + report(kAccelData, 4, 400));
        host::write_new_analytics_store(folder.path() / "day.db", {{{"key|a", 2}}, {}});
    }

    Outcome query(std::vector<std::string> arguments, std::string input = {}, bool to_terminal = false) const {
        arguments.insert(arguments.begin(), "query");
        Surroundings surroundings = in_folder();
        surroundings.standard_input = std::move(input);
        surroundings.output_is_terminal = to_terminal;
        surroundings.environment["TZ"] = "Europe/Berlin";
        return qorstat(arguments, surroundings);
    }

    Surroundings in_folder() const {
        Surroundings surroundings;
        surroundings.folder = folder.path();
        return surroundings;
    }

    std::string out_of(const std::vector<std::string> &arguments, const std::string &input = {}) const {
        const Outcome outcome = query(arguments, input);
        EXPECT_EQ(outcome.exit_code, 0);
        EXPECT_EQ(outcome.err, "");
        return outcome.out;
    }

    TemporaryFolder folder;
};

TEST_F(QueryTest, ATableHasItsColumnsAligned) {
    EXPECT_EQ(out_of({"phone.bin", "SELECT component, count(*) AS n, avg(w0) FROM reports GROUP BY component; "
                                   "SELECT NULL AS absent, 1.5 AS real WHERE 0"}),
              "component  n  avg(w0)\n"
              "accel      2      2.5\n"
              "gyro       1        0\n"
              "\n"
              "absent  real\n");
}

TEST_F(QueryTest, FormsForProgramsAreExact) {
    const std::string sql =
        "SELECT 'a,\"b' AS x, NULL AS y, 9e999 AS z, x'00ff' AS bytes, 7 AS x UNION ALL SELECT 'a|b', 1, 0.5, '', -1";
    EXPECT_EQ(out_of({"phone.bin", sql, "--format", "csv"}),
              "x,y,z,bytes,x\r\n\"a,\"\"b\",,Infinity,00ff,7\r\na|b,1,0.5,,-1\r\n");
    EXPECT_EQ(out_of({"phone.bin", "SELECT 1 AS \"\", 2 AS b", "-f", "csv"}), ",b\r\n1,2\r\n");
    EXPECT_EQ(out_of({"phone.bin", sql, "-f", "jsonl"}),
              "{\"x\":\"a,\\\"b\",\"y\":null,\"z\":\"Infinity\",\"bytes\":\"00ff\",\"x_2\":7}\n"
              "{\"x\":\"a|b\",\"y\":1,\"z\":0.5,\"bytes\":\"\",\"x_2\":-1}\n");
    EXPECT_EQ(out_of({"phone.bin", sql, "-f", "markdown"}),
              "| x | y | z | bytes | x |\n|---|---:|---:|---|---:|\n"
              "| a,\"b |  | Infinity | 00ff | 7 |\n| a\\|b | 1 | 0.5 |  | -1 |\n");
    EXPECT_EQ(out_of({"phone.bin", "SELECT CAST(x'ff41' AS TEXT) AS t", "-f", "jsonl"}), "{\"t_hex\":\"ff41\"}\n");
    EXPECT_EQ(
        out_of({"phone.bin", "SELECT CAST(x'ff' AS TEXT) AS t, 7 AS t_hex, CAST(x'fe' AS TEXT) AS t", "-f", "jsonl"}),
        "{\"t_hex_2\":\"ff\",\"t_hex\":7,\"t_2_hex\":\"fe\"}\n")
        << "the key of a column is of no other value";
}

TEST_F(QueryTest, InputsAreFilesFoldersPipesAndLists) {
    std::filesystem::create_directory(folder.path() / "below");
    folder.file("below/other.bin", report(kAccelData, 1, 100));
    folder.file("list", "phone.bin\nbelow\n");
    const std::string count = "SELECT count(*) FROM reports";
    EXPECT_EQ(out_of({"phone.bin", "below", count, "-f", "csv"}), "count(*)\r\n4\r\n");
    EXPECT_EQ(out_of({"--files-from", "list", count, "-f", "csv"}), "count(*)\r\n4\r\n");
    EXPECT_EQ(out_of({"below", "-", count, "-f", "csv"}, report(kAccelData, 1, 100)), "count(*)\r\n2\r\n");
}

TEST_F(QueryTest, StandardInputIsReadAsOftenAsAsked) {
    const std::string dump = content_of(folder.path() / "phone.bin");
    EXPECT_EQ(out_of({"-", "SELECT count(*) FROM reports a, reports b; SELECT device FROM dumps", "-f", "csv"}, dump),
              "count(*)\r\n9\r\n\r\ndevice\r\nstandard input\r\n");
    EXPECT_EQ(out_of({"-", "--device", "mine", "SELECT device FROM dumps", "-f", "csv"}, dump), "device\r\nmine\r\n");
    EXPECT_EQ(out_of({"phone.bin", "--file", "-", "-f", "csv"}, "SELECT 7 AS n -- seven\n"), "n\r\n7\r\n");
    EXPECT_EQ(query({"-", "--file", "-"}, dump).exit_code, 2);
}

TEST_F(QueryTest, AQueryFromAFileGoesToAFile) {
    folder.file("count.sql", "-- how many\nSELECT count(*) AS n\nFROM reports;\n");
    EXPECT_EQ(out_of({"phone.bin", "--file", "count.sql", "-f", "csv", "-o", "n.csv"}), "");
    EXPECT_EQ(content_of(folder.path() / "n.csv"), "n\r\n3\r\n");
    const Outcome wrong = query({"phone.bin", "SELECT x FROM reports", "-o", "n.csv"});
    EXPECT_EQ(wrong.exit_code, 2);
    EXPECT_EQ(content_of(folder.path() / "n.csv"), "n\r\n3\r\n") << "stays";
}

TEST_F(QueryTest, TimesAreThoseOfJsonLines) {
    const std::vector<std::string> clock = {"--time-sync", "qor=0,calendar=2026-11-05T09:03:07Z", "--boot-time", "5"};
    std::vector<std::string> asked = {"phone.bin", "SELECT wall_time, boot_timestamp FROM reports LIMIT 1", "-f",
                                      "jsonl"};
    asked.insert(asked.end(), clock.begin(), clock.end());
    EXPECT_EQ(out_of(asked), "{\"wall_time\":\"2026-11-05T10:03:07.000100+01:00\",\"boot_timestamp\":5}\n");
    asked.insert(asked.end(), {"--time-zone", "UTC"});
    EXPECT_EQ(out_of(asked), "{\"wall_time\":\"2026-11-05T09:03:07.000100+00:00\",\"boot_timestamp\":5}\n");
}

TEST_F(QueryTest, AVariableSetsTheTimeZone) {
    Surroundings surroundings = in_folder();
    surroundings.environment["QORSTAT_TIME_ZONE"] = "Etc/GMT-2";
    std::vector<std::string> asked = {"query", "phone.bin",   "SELECT wall_time FROM reports LIMIT 1", "-f",
                                      "csv",   "--time-sync", "qor=0,calendar=2026-11-05T09:03:07Z"};
    EXPECT_EQ(qorstat(asked, surroundings).out, "wall_time\r\n2026-11-05T11:03:07.000100+02:00\r\n");
    asked.insert(asked.end(), {"--time-zone", "UTC"});
    EXPECT_EQ(qorstat(asked, surroundings).out, "wall_time\r\n2026-11-05T09:03:07.000100+00:00\r\n");
}

TEST_F(QueryTest, ContentOfRecordsIsThatOfShow) {
    std::filesystem::create_directory(folder.path() / "fault");
    folder.file("fault/1.qorstate", record("Title", kTwoLines));
    const json row = json::parse(out_of({"fault", "SELECT device, content FROM records", "-f", "jsonl"}));
    EXPECT_EQ(row["device"], "fault");
    const Outcome shown = qorstat({"show", "--json", "fault"}, in_folder());
    EXPECT_EQ(json::parse(row["content"].get<std::string>()), json::parse(shown.out).at(0));
}

TEST_F(QueryTest, TheSchemaListsTablesAndColumns) {
    const std::string all = out_of({"--schema"});
    for (const char *const part : {"reports\n", "dumps\n", "scalar\n", "records\n", "wake_request\n"}) {
        EXPECT_THAT(all, HasSubstr(part));
    }
    const std::string one = out_of({"--schema=SCALAR"});
    EXPECT_THAT(one, StartsWith("scalar\n  The scalars of analytics stores\n  device  TEXT"));
    EXPECT_THAT(all, HasSubstr(one));
    const Outcome none = query({"--schema=scalr"});
    EXPECT_EQ(none.exit_code, 2);
    EXPECT_THAT(none.err, HasSubstr("no table \"scalr\""));
}

TEST_F(QueryTest, WrongUseIsExitCode2) {
    const std::pair<std::vector<std::string>, std::string> uses[] = {
        {{}, "qorstat: query: INPUT is required\n"},
        {{"SELECT 1"}, "qorstat: query: INPUT is required\n"},
        {{"phone.bin"},
         "qorstat: query: SQL is required, behind the inputs or with --file; at a terminal it is asked for\n"},
        {{"phone.bin", "ATTACH 'x' AS y"}, "qorstat: query: ATTACH and VACUUM are refused: a query can only read\n"},
        {{"phone.bin", "SELECT 1", "--memory", "1"},
         "qorstat: query: invalid value \"1\" for --memory: expected a number of bytes, 1M or more, such as 512M or "
         "2G\n"},
        {{"phone.bin", "SELECT 1", "--device", "\xFF"},
         "qorstat: query: invalid value \"\\xff\" for --device: expected a text in UTF-8\n"}};
    for (const auto &[arguments, message] : uses) {
        const Outcome outcome = query(arguments);
        EXPECT_EQ(outcome.exit_code, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, message);
    }
}

TEST_F(QueryTest, WhatCannotBeReadIsNamedAndTheRestIsAsked) {
    const Outcome outcome = query({"none.bin", "phone.bin", "SELECT count(*) FROM reports", "-f", "csv"});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "count(*)\r\n3\r\n");
    EXPECT_EQ(outcome.err, "qorstat: none.bin: No such file or directory\n");
    const Outcome nothing = query({"none.bin", "SELECT count(*) FROM reports"});
    EXPECT_EQ(nothing.exit_code, 1);
    EXPECT_EQ(nothing.out, "");
}

TEST_F(QueryTest, LimitsEndAQueryWithoutAPartOfAResult) {
    const std::string endless =
        "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) SELECT x FROM c WHERE x < 0";
    const Outcome late = query({"phone.bin", endless, "--timeout", "0.1", "-o", "out"});
    EXPECT_EQ(late.exit_code, 1);
    EXPECT_EQ(late.err, "qorstat: the query was ended: it took longer than its limit of time\n");
    const Outcome large = query({"phone.bin", "SELECT length(randomblob(30000000))", "--memory", "4M", "-o", "out"});
    EXPECT_EQ(large.exit_code, 1);
    EXPECT_EQ(large.err, "qorstat: the query was ended: it needs more memory than its limit\n");
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "out"));
}

/** A pipe that is open for writing, so that nobody reads its end. */
class SilentPipe {
public:
    explicit SilentPipe(const std::filesystem::path &path) : _writing(make(path)) {}

private:
    static int make(const std::filesystem::path &path) {
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        return open(path.c_str(), O_RDWR | O_CLOEXEC);
    }

    host::FileDescriptor _writing;
};

TEST_F(QueryTest, TheLimitOfTimeCountsForInputsWithoutAnEnd) {
    const SilentPipe pipe(folder.path() / "pipe");
    for (const char *const input : {"pipe", "/dev/zero"}) {
        const Outcome outcome = query({input, "SELECT count(*) FROM reports", "--timeout", "0.05", "-o", "out"});
        EXPECT_EQ(outcome.exit_code, 1) << input;
        EXPECT_EQ(outcome.err,
                  "qorstat: the query was not begun: reading its inputs took longer than its limit of time\n");
        EXPECT_FALSE(std::filesystem::exists(folder.path() / "out"));
    }
}

TEST_F(QueryTest, WhatIsKeptOfAPipeIsGoneWithTheProgram) {
    const SilentPipe pipe(folder.path() / "pipe");
    std::filesystem::create_directory(folder.path() / "kept");
    Surroundings surroundings = in_folder();
    surroundings.environment["TMPDIR"] = folder.path() / "kept";
    surroundings.standard_input = content_of(folder.path() / "phone.bin");
    RunningProgram program({"query", "-", "pipe", "SELECT 1"}, surroundings);
    EXPECT_TRUE(program.waits_for_opening(folder.path() / "pipe"));
    EXPECT_TRUE(std::filesystem::is_empty(folder.path() / "kept")) << "no name, while it is in use";
    program.send(SIGINT);
    EXPECT_EQ(program.wait_for_end().exit_code, 128 + SIGINT);
}

TEST_F(QueryTest, ASignalEndsAPromptThatWaitsForItsInputs) {
    SKIP_WITHOUT_TERMINALS();
    const SilentPipe pipe(folder.path() / "pipe");
    Surroundings surroundings = in_folder();
    surroundings.output_is_terminal = true;
    surroundings.input_is_terminal = true;
    RunningProgram program({"query", "pipe"}, surroundings);
    EXPECT_TRUE(program.waits_for_opening(folder.path() / "pipe"));
    program.waits_for_sleep();
    program.send(SIGINT);
    EXPECT_EQ(program.wait_for_end().exit_code, 128 + SIGINT);
}

TEST_F(QueryTest, ASignalEndsAQueryThatComputes) {
    RunningProgram program({"query", "phone.bin", "-o", "out",
                            "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) SELECT count(*) FROM c"},
                           in_folder());
    program.waits_for_work();
    program.send(SIGINT);
    const Outcome outcome = program.wait_for_end();
    EXPECT_EQ(outcome.exit_code, 128 + SIGINT);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(folder.names(), ElementsAre("day.db", "phone.bin"));
}

TEST_F(QueryTest, ControlCharactersReachNoTerminal) {
    SKIP_WITHOUT_TERMINALS();
    for (const char *const format : {"table", "csv", "jsonl", "markdown"}) {
        const Outcome outcome =
            query({"phone.bin", "SELECT char(27) || '[31mred' AS \"\x1B[1m\"", "-f", format}, {}, true);
        EXPECT_EQ(outcome.exit_code, 0);
        EXPECT_EQ(occurrences(outcome.out, "\x1B[31m"), 0u) << format;
        EXPECT_EQ(occurrences(outcome.out, "\x1B[1m"), 0u) << format;
        EXPECT_THAT(outcome.out, HasSubstr("[31mred"));
    }
}

TEST_F(QueryTest, ARowIsALineOfATable) {
    EXPECT_EQ(out_of({"phone.bin", "SELECT char(10) || 'x' AS a"}), "a\n\\x0ax\n");
}

} // namespace
} // namespace cli_tests
