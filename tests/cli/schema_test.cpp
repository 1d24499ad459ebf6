/** The verb `schema`, through the built program. Its statements are tested beside the module and in `tests/engines/`.
 */
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/cli/program.h"

namespace cli_tests {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

std::string schema(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"schema", "--engine"});
    const Outcome outcome = qorstat(arguments);
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
    return outcome.out;
}

std::string error_of(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "schema");
    const Outcome outcome = qorstat(arguments);
    EXPECT_EQ(outcome.exit_code, 2);
    EXPECT_EQ(outcome.out, "");
    return outcome.err;
}

TEST(SchemaTest, PrintsTheStatementsOfTheEngine) {
    EXPECT_THAT(schema({"sqlite"}), HasSubstr("\nCREATE TABLE wake_event (\n    device TEXT NOT NULL, -- "));
    EXPECT_THAT(schema({"clickhouse"}), StartsWith("CREATE DATABASE IF NOT EXISTS qor;\n"));
    EXPECT_THAT(schema({"duckdb"}), HasSubstr("FROM read_parquet('scalar.parquet')"));
    EXPECT_THAT(schema({"kaitai"}), StartsWith("meta:\n  id: qor_dump\n"));
    EXPECT_THAT(schema({"lnav"}), HasSubstr("\n  \"qor_reports\": {\n"));
}

TEST(SchemaTest, OptionsNameWhatTheEngineHas) {
    EXPECT_THAT(schema({"clickhouse", "--database", "mine", "--cluster", "all-of-them.2"}),
                HasSubstr("CREATE TABLE IF NOT EXISTS mine.wake_event AS mine.wake_event_local\n"
                          "ENGINE = Distributed('all-of-them.2', mine, wake_event_local, sipHash64(device))"));
    const std::string reports = schema({"duckdb", "--table", "reports", "--files", "day-*.parquet"});
    EXPECT_THAT(reports, HasSubstr("FROM read_parquet('day-*.parquet')"));
    EXPECT_THAT(reports, testing::Not(HasSubstr("scalar")));
}

TEST(SchemaTest, RefusesWhatIsNoNameAndWhatIsForAnotherEngine) {
    EXPECT_EQ(error_of({}), "qorstat: schema: --engine is required\n");
    EXPECT_THAT(error_of({"--engine", "clickhouse", "--database", "a b"}),
                StartsWith("qorstat: schema: invalid value \"a b\" for --database: expected a letter"));
    EXPECT_THAT(error_of({"--engine", "clickhouse", "--cluster", "x';"}),
                StartsWith("qorstat: schema: invalid value \"x';\" for --cluster: expected letters"));
    EXPECT_EQ(error_of({"--engine", "sqlite", "--database", "a"}),
              "qorstat: schema: --database is for --engine clickhouse\n");
    EXPECT_EQ(error_of({"--engine", "clickhouse", "--table", "reports"}),
              "qorstat: schema: --table is for --engine duckdb\n");
    EXPECT_EQ(error_of({"--engine", "kaitai", "--files", "a"}), "qorstat: schema: --files is for --engine duckdb\n");
    EXPECT_EQ(error_of({"--engine", "lnav", "--cluster", "a"}),
              "qorstat: schema: --cluster is for --engine clickhouse\n");
    EXPECT_THAT(error_of({"--engine", "duckdb", "--table", "report"}), HasSubstr("did you mean \"reports\"?"));
    EXPECT_EQ(error_of({"--engine", "duckdb", "--files", "all.parquet"}),
              "qorstat: schema: invalid value \"all.parquet\" for --files: with more than one table it must contain "
              "{table}\n");
}

} // namespace
} // namespace cli_tests
