#include "cli/questions/aggregates.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>
#include <sqlite3.h>

#include "cli/recordings/distribution_statistics.h"

using testing::HasSubstr;

namespace {

constexpr std::int64_t kLargestCount = std::numeric_limits<std::int64_t>::max();

/** A database in memory with the functions. */
class Connection {
public:
    explicit Connection(bool shows_blocks = true) {
        sqlite3 *opened = nullptr;
        sqlite3_open(":memory:", &opened);
        _handle.reset(opened);
        cli::register_aggregates(opened, shows_blocks);
    }

    /** Fills the table `t (v, c)` anew. */
    void fill(const std::vector<std::pair<double, std::int64_t>> &rows) {
        sqlite3_exec(_handle.get(), "DROP TABLE IF EXISTS t; CREATE TABLE t (v, c); BEGIN", nullptr, nullptr, nullptr);
        sqlite3_stmt *statement = nullptr;
        sqlite3_prepare_v2(_handle.get(), "INSERT INTO t VALUES (?, ?)", -1, &statement, nullptr);
        for (const auto &[value, count] : rows) {
            sqlite3_bind_double(statement, 1, value);
            sqlite3_bind_int64(statement, 2, count);
            sqlite3_step(statement);
            sqlite3_reset(statement);
        }
        sqlite3_finalize(statement);
        sqlite3_exec(_handle.get(), "COMMIT", nullptr, nullptr, nullptr);
    }

    /** The type and text of a query's single value, or its error. */
    std::string ask(const std::string &query) {
        static constexpr const char *kTypes[] = {"", "integer ", "real ", "text ", "blob ", "null"};
        sqlite3_stmt *statement = nullptr;
        sqlite3_prepare_v2(_handle.get(), query.c_str(), -1, &statement, nullptr);
        std::string answer;
        if (statement != nullptr && sqlite3_step(statement) == SQLITE_ROW) {
            const auto *const text = reinterpret_cast<const char *>(sqlite3_column_text(statement, 0));
            answer = kTypes[sqlite3_column_type(statement, 0)];
            answer = text == nullptr ? "null" : answer + text;
        } else {
            answer = sqlite3_errmsg(_handle.get());
        }
        sqlite3_finalize(statement);
        return answer;
    }

    /** A query's single number, which is a double. */
    double number(const std::string &query) {
        sqlite3_stmt *statement = nullptr;
        sqlite3_prepare_v2(_handle.get(), query.c_str(), -1, &statement, nullptr);
        const bool is_real = sqlite3_step(statement) == SQLITE_ROW && sqlite3_column_type(statement, 0) == SQLITE_FLOAT;
        const double value = is_real ? sqlite3_column_double(statement, 0) : std::nan("");
        sqlite3_finalize(statement);
        return value;
    }

private:
    struct Close {
        void operator()(sqlite3 *connection) const { sqlite3_close(connection); }
    };

    std::unique_ptr<sqlite3, Close> _handle;
};

/** `VALUES` as a table `(v, c)`. */
std::string of(const std::string &values) {
    return " FROM (SELECT column1 AS v, column2 AS c FROM (VALUES " + values + "))";
}

/** A quantile as a thousandth's share of values that are written out. */
double plain_quantile(std::vector<double> values, std::size_t thousandths) {
    std::sort(values.begin(), values.end());
    const std::size_t rank = (values.size() * thousandths + 999) / 1000;
    return values[rank == 0 ? 0 : rank - 1];
}

rc::Gen<std::vector<double>> any_values() {
    const auto value =
        rc::gen::oneOf(rc::gen::map(rc::gen::arbitrary<std::int32_t>(),
                                    [](std::int32_t fixed) { return static_cast<double>(fixed) / 65536; }),
                       rc::gen::map(rc::gen::inRange(-3, 4), [](int small) { return small + 0.5; }));
    return rc::gen::nonEmpty(rc::gen::container<std::vector<double>>(value));
}

RC_GTEST_PROP(Aggregates, AQuantileIsThatOfTheSortedValues, ()) {
    const std::vector<double> values = *any_values();
    const auto thousandths = *rc::gen::inRange<std::size_t>(0, 1001);
    Connection connection;
    std::vector<std::pair<double, std::int64_t>> rows;
    for (const double value : values) {
        rows.emplace_back(value, 1);
    }
    connection.fill(rows);

    const double found = connection.number("SELECT quantile(v, " + std::to_string(thousandths) + "/1000.0) FROM t");

    RC_ASSERT(found == plain_quantile(values, thousandths));
}

RC_GTEST_PROP(Aggregates, AWeightedQuantileIsThatOfTheValuesWrittenOut, ()) {
    const std::vector<double> values = *any_values();
    const auto thousandths = *rc::gen::inRange<std::size_t>(0, 1001);
    Connection connection;
    std::vector<std::pair<double, std::int64_t>> rows;
    std::vector<double> written_out;
    for (const double value : values) {
        rows.emplace_back(value, *rc::gen::inRange(0, 9));
        written_out.insert(written_out.end(), static_cast<std::size_t>(rows.back().second), value);
    }
    RC_PRE(!written_out.empty());
    connection.fill(rows);

    const double found = connection.number("SELECT quantile(v, " + std::to_string(thousandths) + "/1000.0, c) FROM t");

    RC_ASSERT(found == plain_quantile(written_out, thousandths));
}

RC_GTEST_PROP(Aggregates, PercentilesAreThoseOfTheMetrics, ()) {
    const std::vector<double> values = *any_values();
    const unsigned percent = *rc::gen::inRange(1u, 101u);
    Connection connection;
    std::vector<std::pair<double, std::int64_t>> rows;
    host::Distribution distribution;
    for (const double value : values) {
        rows.emplace_back(value, *rc::gen::inRange(1, 1000));
        distribution[value] += static_cast<std::uint64_t>(rows.back().second);
    }
    connection.fill(rows);

    RC_ASSERT(connection.number("SELECT quantile(v, " + std::to_string(percent) + "/100.0, c) FROM t") ==
              cli::percentile(distribution, percent));
}

TEST(AggregatesTest, NearestRankTakesAValueThatIsThere) {
    Connection connection;
    const std::string five = of("(50,0),(15,0),(40,0),(20,0),(35,0)");

    EXPECT_EQ(connection.ask("SELECT quantile(v, 0.3)" + five), "integer 20"); // ranks 1.5, 2 and 2.5, rounded up
    EXPECT_EQ(connection.ask("SELECT quantile(v, 0.4)" + five), "integer 20");
    EXPECT_EQ(connection.ask("SELECT quantile(v, 0.5)" + five), "integer 35");
    EXPECT_EQ(connection.ask("SELECT quantile(v, 1)" + five), "integer 50");
    EXPECT_EQ(connection.ask("SELECT quantile(v, 0)" + five), "integer 15");
    EXPECT_EQ(connection.ask("SELECT quantile(v, 1e-300)" + five), "integer 15");
}

/** Neither 0.07 nor 0.29 is a double; the nearest one is above 0.07 and below 0.29. */
TEST(AggregatesTest, AShareIsTheDecimalNumberThatIsWritten) {
    Connection connection;
    const std::string hundred =
        " FROM (WITH RECURSIVE n(v) AS (VALUES (1) UNION ALL SELECT v + 1 FROM n WHERE v < 100) "
        "SELECT v FROM n)";

    for (int percent = 1; percent <= 100; ++percent) {
        const std::string p =
            percent == 100 ? "1" : "0." + std::string(percent < 10 ? "0" : "") + std::to_string(percent);
        EXPECT_EQ(connection.ask("SELECT quantile(v, " + p + ")" + hundred), "integer " + std::to_string(percent));
    }
}

TEST(AggregatesTest, TheLargestCountsNeitherWrapNorRound) {
    Connection connection;
    const std::string most = std::to_string(kLargestCount);
    const std::string three = of("(1," + most + "),(2," + most + "),(3," + most + ")");

    EXPECT_EQ(connection.ask("SELECT quantile(v, 1, c)" + three), "integer 3");
    EXPECT_EQ(connection.ask("SELECT quantile(v, 0.66, c)" + three), "integer 2");
    EXPECT_EQ(connection.ask("SELECT quantile(v, 0.67, c)" + three), "integer 3");
    EXPECT_EQ(connection.ask("SELECT quantile(v, 0.5, c)" + of("(1," + most + "),(2," + most + ")")), "integer 1");
    EXPECT_EQ(connection.ask("SELECT quantile(v, 0.5, c)" + of("(1," + most + "),(2," + most + "),(9,1)")),
              "integer 2");
    // The three counts of 1 do not fit into 64 bits.
    EXPECT_EQ(connection.ask("SELECT quantile(v, 0.5, c)" + of("(1," + most + "),(2," + most + "),(1," + most +
                                                               "),(2," + most + "),(1," + most + ")")),
              "integer 1");
}

TEST(AggregatesTest, WholeNumbersAreExactUpTo64Bits) {
    Connection connection;

    EXPECT_EQ(connection.ask("SELECT quantile(v, 0.5)" + of("(9223372036854775807,0),(9223372036854775806,0)")),
              "integer 9223372036854775806");
    EXPECT_EQ(connection.ask("SELECT quantile(v, 0)" + of("(-9223372036854775808,0),(-9223372036854775807,0)")),
              "integer -9223372036854775808");
    EXPECT_EQ(connection.ask("SELECT quantile(v, 1)" + of("('18446744073709551614',0),('18446744073709551615',0)")),
              "text 18446744073709551615");
    EXPECT_EQ(connection.ask("SELECT quantile(v, 0.5)" + of("('18446744073709551614',0),('9223372036854775808',0)")),
              "text 9223372036854775808");
    EXPECT_EQ(connection.ask("SELECT quantile(v, 0.5)" + of("(9223372036854775807,0),(9223372036854775808.0,0)")),
              "integer 9223372036854775807");
}

TEST(AggregatesTest, ManyDistinctValuesAreAllCounted) {
    Connection connection;
    const std::string many = " FROM (WITH RECURSIVE n(v) AS (VALUES (0) UNION ALL SELECT v + 1 FROM n WHERE v < 99999) "
                             "SELECT v * 7919 % 100000 AS v FROM n)";

    EXPECT_EQ(connection.ask("SELECT quantile(v, 0.25) || ' ' || quantile(v, 0.99999)" + many), "text 24999 99998");
    EXPECT_EQ(connection.ask("SELECT quantile(v % 10, 0.9)" + many), "integer 8");
}

TEST(AggregatesTest, ValuesKeepTheirTypeAndInfinityIsAValue) {
    Connection connection;

    EXPECT_EQ(connection.ask("SELECT quantile(v, 0.5)" + of("(2.0,0),(3,0)")), "real 2.0");
    EXPECT_EQ(connection.ask("SELECT quantile(v, 1)" + of("(2.0,0),(3,0)")), "integer 3");
    EXPECT_EQ(connection.ask("SELECT quantile(v, 1)" + of("(1e999,0),(3,0)")), "real Inf");
    EXPECT_EQ(connection.ask("SELECT quantile(v, 0)" + of("(-1e999,0),(3,0)")), "real -Inf");
}

TEST(AggregatesTest, NullsAreLeftOut) {
    Connection connection;

    EXPECT_EQ(connection.ask("SELECT quantile(v, 0)" + of("(NULL,0),(7,0)")), "integer 7");
    EXPECT_EQ(connection.ask("SELECT quantile(v, 0, c)" + of("(1,NULL),(2,0),(7,1)")), "integer 7");
    EXPECT_EQ(connection.ask("SELECT quantile(v, 0.5)" + of("(NULL,0)")), "null");
    EXPECT_EQ(connection.ask("SELECT quantile(v, 0.5, c)" + of("(1,0)")), "null");
    EXPECT_EQ(connection.ask("SELECT quantile(v, 0.5)" + of("(1,0)") + " WHERE v > 5"), "null");
    EXPECT_EQ(connection.ask("SELECT histogram_text(v)" + of("(NULL,0),(1e999,0)")), "null");
    EXPECT_EQ(connection.ask("SELECT histogram_text(v)" + of("(1,0)") + " WHERE v > 5"), "null");
}

TEST(AggregatesTest, WhatCannotBeCountedIsAnErrorThatSaysWhy) {
    Connection connection;

    for (const std::string p : {"1.01", "-0.01", "NULL", "'0.5'", "1e999", "x'00'"}) {
        EXPECT_EQ(connection.ask("SELECT quantile(v, " + p + ")" + of("(1,0)")),
                  "quantile: p must be a number from 0 to 1");
    }
    EXPECT_EQ(connection.ask("SELECT quantile(v, c)" + of("(1,0.5),(2,0.6)")),
              "quantile: p must be the same in every row");
    for (const std::string value : {"'seven'", "'1.5'", "'-1'", "' 1'", "''", "'18446744073709551616'", "x'31'"}) {
        EXPECT_EQ(connection.ask("SELECT quantile(v, 0.5)" + of("(" + value + ",0)")),
                  "quantile: a value is not a number");
        EXPECT_EQ(connection.ask("SELECT histogram_text(v)" + of("(" + value + ",0)")),
                  "histogram_text: a value is not a number");
    }
    for (const std::string count : {"-1", "1.0", "'1'"}) {
        EXPECT_EQ(connection.ask("SELECT quantile(v, 0.5, c)" + of("(1," + count + ")")),
                  "quantile: a count must be a whole number, 0 or more");
    }
    EXPECT_THAT(connection.ask("SELECT quantile(v, 0.5) OVER ()" + of("(1,0)")), HasSubstr("window function"));
}

TEST(AggregatesTest, AFailedStatementLeavesNothingBehind) {
    Connection connection;
    const sqlite3_int64 before = sqlite3_memory_used();

    for (int i = 0; i < 10; ++i) {
        connection.ask("SELECT quantile(v, 0.5)" + of("(1,0),(2,0),('x',0)"));
    }
    EXPECT_LT(sqlite3_memory_used() - before, 100'000);
    EXPECT_EQ(connection.ask("SELECT quantile(v, 0.5)" + of("(1,0)")), "integer 1");
}

TEST(AggregatesTest, ItsMemoryIsLimitedAsTheStatementsIs) {
    Connection connection;
    const std::string many = " FROM (WITH RECURSIVE n(v) AS (VALUES (0) UNION ALL SELECT v + 1 FROM n WHERE v < 99999) "
                             "SELECT v FROM n)";
    const sqlite3_int64 former = sqlite3_hard_heap_limit64(sqlite3_memory_used() + 1'000'000);

    EXPECT_EQ(connection.ask("SELECT quantile(v % 1000, 0.5)" + many), "integer 499"); // its distinct values are few
    EXPECT_EQ(connection.ask("SELECT quantile(v, 0.5)" + many), "out of memory");
    sqlite3_hard_heap_limit64(former);
    EXPECT_EQ(connection.ask("SELECT quantile(v, 0.5)" + many), "integer 49999");
}

TEST(AggregatesTest, AHistogramHasABarForEachTwelfthOfTheRange) {
    Connection connection;
    const std::string values = of("(0,1),(1,2),(6,8),(12,4),(NULL,5),(1e999,100)");

    EXPECT_EQ(connection.ask("SELECT histogram_text(v, c)" + values), "text ▂▃    █    ▅");
    EXPECT_EQ(connection.ask("SELECT histogram_text(v)" + values), "text ██    █    █");
    EXPECT_EQ(Connection(false).ask("SELECT histogram_text(v, c)" + values), "text :-    @    +");
    EXPECT_EQ(connection.ask("SELECT histogram_text(v)" + of("(7,0),(7,0)")), "text █           ");
}

} // namespace
