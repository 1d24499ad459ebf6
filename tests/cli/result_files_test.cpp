/** `-o FILE` of every verb that has it. */
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/store/analytics_store.h"
#include "tests/cli/program.h"
#include "tests/cli/records/records.h"
#include "tests/cli/reports/dumps.h"

using cli_tests::content_of;
using cli_tests::Outcome;
using cli_tests::qorstat;
using cli_tests::Surroundings;
using cli_tests::TemporaryFolder;

namespace {

namespace fs = std::filesystem;

using Words = std::vector<std::string>;

class ResultFileTest : public testing::TestWithParam<Words> {
protected:
    ResultFileTest() {
        surroundings.folder = folder.path();
        folder.file("dump", cli_tests::numbered_reports(3000));
        folder.file("records", cli_tests::record("T", cli_tests::kRedLine));
        host::write_new_analytics_store(folder.path() / "store", {{{"\x1b[31m", 2}}, {}});
        folder.file("result", "former");
    }

    Outcome run(const Words &more) const {
        Words all = GetParam();
        all.insert(all.end(), more.begin(), more.end());
        return qorstat(all, surroundings);
    }

    std::string result() const { return content_of(folder.path() / "result"); }

    const TemporaryFolder folder;
    Surroundings surroundings;
};

TEST_P(ResultFileTest, HasWhatAPipeGets) {
    const std::string piped = run({}).out;
    ASSERT_NE(piped, "");
    for (const char *option : {"-o", "--output"}) {
        const Outcome outcome = run({option, "result"});
        EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
        EXPECT_EQ(outcome.out + outcome.err, "");
        EXPECT_EQ(result(), piped);
        fs::remove(folder.path() / "result");
    }
    EXPECT_EQ(run({"-o", "-"}).out, piped);
    EXPECT_EQ(run({"-o", "/dev/stdout"}).out, piped);
    EXPECT_EQ(folder.names(), (Words{"dump", "records", "store"}));
}

TEST_P(ResultFileTest, IsExactAlsoWhenATerminalIsThere) {
    SKIP_WITHOUT_TERMINALS();
    const std::string piped = run({}).out;
    surroundings.output_is_terminal = true;
    EXPECT_EQ(run({"-o", "result"}).out, "");
    EXPECT_EQ(result(), piped);
}

TEST_P(ResultFileTest, ThatCannotBeWrittenIsOneError) {
    const Outcome nowhere = run({"-o", "nowhere/result"});
    EXPECT_EQ(nowhere.exit_code, 1);
    EXPECT_EQ(nowhere.err, "qorstat: nowhere/result: No such file or directory\n");
    const Outcome full = run({"-o", "/dev/full"});
    EXPECT_EQ(full.exit_code, 1);
    EXPECT_EQ(full.err, "qorstat: /dev/full: No space left on device\n");
    EXPECT_EQ(nowhere.out + full.out, "");
    EXPECT_EQ(run({"-o", ""}).exit_code, 2);
    EXPECT_EQ(result(), "former");
}

const std::vector<Words> kVerbs = {
    {"decode", "dump"},
    {"decode", "dump", "--format", "jsonl"},
    {"decode", "dump", "--format", "csv"},
    {"decode", "dump", "--format", "chrome-trace"},
    {"decode", "dump", "--stats"},
    {"decode", "dump", "--stats", "--json"},
    {"export", "dump", "--format", "clickhouse"},
    {"export", "dump", "--format", "parquet"},
    {"export", "store", "--format", "parquet", "--table", "scalar"},
    {"report", "dump"},
    {"show", "records"},
    {"show", "records", "--json"},
    {"metrics", "store"},
    {"metrics", "store", "--json"},
    {"metrics", "store", "--openmetrics"},
    {"metrics", "store", "store"},
    {"schema", "--engine", "clickhouse"},
    {"validate", "--list"},
    {"validate", "--list", "--json"},
    {"validate", QOR_SILENT_MODULE, "--only", "^loading$", "--json"},
};

INSTANTIATE_TEST_SUITE_P(Of, ResultFileTest, testing::ValuesIn(kVerbs),
                         [](const testing::TestParamInfo<Words> &verb) { return std::to_string(verb.index); });

class DecodedResult : public ResultFileTest {};

TEST_P(DecodedResult, IsNotMadeOfABadInputAloneAndHasTheOthersOfSeveral) {
    EXPECT_EQ(run({"nowhere", "-o", "result"}).exit_code, 1);
    EXPECT_EQ(run({"store", "-o", "result"}).exit_code, 1);
    EXPECT_EQ(result(), "former");
    const Outcome outcome = run({"nowhere", "dump", "-o", "result"});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.err, "qorstat: nowhere: No such file or directory\n");
    EXPECT_EQ(result(), run({"nowhere", "dump"}).out);
}

TEST_P(DecodedResult, HasNoEndWhileADumpIsFollowed) {
    for (const Words &words :
         {Words{"dump", "--follow", "-o", "result"}, Words{"dump", "-o", "result", "--follow=name"}}) {
        const Outcome outcome = run(words);
        EXPECT_EQ(outcome.exit_code, 2);
        EXPECT_EQ(outcome.err, "qorstat: decode: --follow excludes --output\n");
    }
    EXPECT_EQ(result(), "former");
}

INSTANTIATE_TEST_SUITE_P(Of, DecodedResult, testing::Values(Words{"decode"}));

} // namespace
