#include "cli/questions/query_engine.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "cli/questions/payload_views.h"
#include "cli/reports/json.h"
#include "decoder/payload_choice.h"
#include "host/store/analytics_store.h"
#include "tests/cli/inputs/packed.h"
#include "tests/cli/program.h"
#include "tests/cli/records/records.h"
#include "tests/cli/reports.h"
#include "tests/cli/reports/dumps.h"
#include "tests/cli/reports/generated_reports.h"

using cli::QueryEngine;
using cli::QueryOptions;
using cli::QueryValue;
using cli_tests::kAccelData;
using cli_tests::kFunction;
using cli_tests::kGyroData;
using cli_tests::kTrace;
using cli_tests::numbered_reports;
using cli_tests::report;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

/** A value that outlives its row: null, an integer, a real, or a text; bytes are not expected. */
json kept(const QueryValue &value) {
    switch (value.type) {
    case QueryValue::Type::Null:
        return nullptr;
    case QueryValue::Type::Integer:
        return value.integer;
    case QueryValue::Type::Real:
        return value.real;
    default:
        return std::string(value.text);
    }
}

/** All rows of all results. */
class Rows : public cli::QuerySink {
public:
    void begin(const std::vector<std::string> &) override {}
    void add(std::span<const QueryValue> row) override {
        json &made = rows.emplace_back(json::array());
        for (const QueryValue &value : row) {
            made.push_back(kept(value));
        }
    }
    void end() override { ++results; }

    std::vector<json> rows;
    int results = 0;
};

class QueryEngineTest : public testing::Test {
protected:
    std::string file(const std::string &name, std::string_view content) const { return folder.file(name, content); }

    std::unique_ptr<QueryEngine> engine(const std::vector<std::string> &inputs, QueryOptions options = {}) const {
        return std::make_unique<QueryEngine>(
            cli::RecordingSequence(inputs, std::nullopt, cli::WantedRecordings::All, std::nullopt), std::move(options));
    }

    static std::vector<json> rows_of(QueryEngine &engine, const std::string &sql) {
        Rows rows;
        engine.run(sql, rows);
        return rows.rows;
    }

    /** What the engine says of a statement that fails. */
    template <typename Error>
    static std::string failure_of(QueryEngine &engine, const std::string &sql) {
        try {
            rows_of(engine, sql);
        } catch (const Error &error) {
            return error.what();
        }
        ADD_FAILURE() << "runs: " << sql;
        return "";
    }

    cli_tests::TemporaryFolder folder;
};

// ---- values

/** What the decoder's JSON has of a view's column. @param place  1 or 2: where the payload has the layout. */
json expected_field(const json &payload, const decoder::payload &layouts, std::size_t place,
                    const cli::ViewColumn &column) {
    int occurrence = 0;
    for (std::size_t i = 0; i < place; ++i) {
        for (const qor::Field &field : layouts[i]->fields) {
            occurrence += field.name == column.field->name && (i + 1 < place || &field <= column.field) ? 1 : 0;
        }
    }
    const std::string key = std::string(column.field->name) + (occurrence > 1 ? "_" + std::to_string(occurrence) : "");
    const bool is_hex = payload.contains(key + "_hex");
    EXPECT_NE(is_hex, payload.contains(key)) << key << " in " << payload;
    if (column.field->how == qor::How::Text) {
        return column.is_hex_of_text == is_hex ? payload[is_hex ? key + "_hex" : key] : json();
    }
    const json &value = payload[key];
    const bool is_large = value.is_number_unsigned() && value.get<std::uint64_t>() >> 63 != 0;
    return is_large ? json(std::to_string(value.get<std::uint64_t>())) : value;
}

TEST_F(QueryEngineTest, EveryViewShowsWhatTheDecoderShows) {
    std::string dump;
    std::vector<_QorProfileReport> reports;
    cli_tests::for_each_generated_report([&](const _QorProfileReport &each, const decoder::device_clock &) {
        reports.push_back(each);
        dump.append(static_cast<const char *>(static_cast<const void *>(each.bytes)), sizeof each.bytes);
    });
    const decoder::device_clock clock{decoder::time_sync{5'000'000, 1'700'000'000'000'000'000}, 1'699'999'000'000'000};
    QueryOptions options;
    options.clock.time_sync = "qor=5000000,calendar=1700000000000000000";
    options.clock.boot_time = std::uint64_t{1'699'999'000'000'000};
    const auto asked = engine({file("dump.bin", dump)}, std::move(options));
    std::size_t compared = 0;
    for (const cli::PayloadView &view : cli::payload_views()) {
        const std::vector<json> rows = rows_of(*asked, "SELECT * FROM " + std::string(view.name));
        auto row = rows.begin();
        for (const _QorProfileReport &each : reports) {
            const decoder::payload &layouts = decoder::kPayloads[decoder::payload_index(each)];
            const auto *const place = std::ranges::find(layouts, view.layout->name, &qor::Layout::name);
            if (place == layouts.end()) {
                continue;
            }
            ASSERT_NE(row, rows.end()) << view.name;
            text_buffer text;
            cli::append_json_line(text, each, clock);
            const json line = json::parse(text.text());
            std::size_t column = 2; // behind device and dump
            for (const cli::Column &header : cli::kHeaderColumns.subspan(2)) {
                const std::string name(header.name);
                json expected = line.contains(name) ? line[name] : json();
                if (expected.is_number_unsigned() && expected.get<std::uint64_t>() >> 63 != 0) {
                    expected = std::to_string(expected.get<std::uint64_t>());
                }
                ASSERT_EQ((*row)[column++], expected) << view.name << "." << name << " of " << line;
            }
            const auto number = static_cast<std::size_t>(place - layouts.begin()) + 1;
            for (const cli::ViewColumn &field : view.columns) {
                ASSERT_EQ((*row)[column++], expected_field(line["payload"], layouts, number, field))
                    << view.name << "." << field.name << " of " << line;
                ++compared;
            }
            ++row;
        }
        EXPECT_EQ(row, rows.end()) << view.name << " has more rows than reports";
    }
    EXPECT_GT(compared, 10'000u);
}

TEST_F(QueryEngineTest, ReportsHaveTheirWordsAndTheirDump) {
    const auto asked =
        engine({file("phone.bin", report(kAccelData, 7, 900, std::string("\1\0\0\0\xFF\xFF\xFF\xFF", 8)) +
                                      report(kGyroData, 8, std::uint64_t{1} << 63))});
    EXPECT_THAT(
        rows_of(*asked, "SELECT device, category, component, event, type, sequence_num, timestamp, wall_time, "
                        "boot_timestamp, w0, w1, w7 FROM reports"),
        ElementsAre(
            json({"phone", "sensor", "accel", "data", "event", 7, 900, nullptr, nullptr, 1, 4294967295, 0}),
            json({"phone", "sensor", "gyro", "data", "event", 8, "9223372036854775808", nullptr, nullptr, 0, 0, 0})));
    EXPECT_THAT(rows_of(*asked, "SELECT DISTINCT r.dump = d.dump, length(d.dump), d.reports, d.first_timestamp, "
                                "d.last_timestamp, d.gaps FROM reports r JOIN dumps d USING (dump)"),
                ElementsAre(json({1, 16, 2, 900, "9223372036854775808", 0})));
}

TEST_F(QueryEngineTest, StoresAndRecordsAreTables) {
    const std::string store = folder.path() / "day.db";
    host::write_new_analytics_store(store, {{{"a", -2}, {"b", 3}}, {{"d", {{1.5, 3}, {2.0, std::uint64_t{1} << 62}}}}});
    const std::string records = file("x.qorstate", cli_tests::record("One", cli_tests::kTwoLines) +
                                                       cli_tests::record("\xFF", cli_tests::kEmptyDictionary));
    QueryOptions options;
    options.record_text = [](const std::string &name, const host::StateRecord &record, std::span<const std::byte>) {
        return name.substr(name.rfind('/')) + " " + std::to_string(record.title.size());
    };
    const auto asked = engine({store, records}, std::move(options));
    EXPECT_THAT(rows_of(*asked, "SELECT device, key, value FROM scalar"),
                ElementsAre(json({"day", "a", -2}), json({"day", "b", 3})));
    EXPECT_THAT(rows_of(*asked, "SELECT key, value, count, taken > 1600000000000000 FROM distribution"),
                ElementsAre(json({"d", 1.5, 3, 1}), json({"d", 2.0, std::int64_t{1} << 62, 1})));
    EXPECT_THAT(rows_of(*asked, "SELECT number, title, reports, content FROM records"),
                ElementsAre(json({1, "One", 0, "/x.qorstate 3"}), json({2, nullptr, 0, "/x.qorstate 1"})));
    EXPECT_THAT(rows_of(*asked, "SELECT count(*) FROM reports"), ElementsAre(json::array({0})));
    EXPECT_THAT(rows_of(*asked, "SELECT key FROM scalar WHERE device = 'other'"), IsEmpty());
}

// ---- what reaches the scan

std::string mixed_dump(std::uint32_t count) {
    std::mt19937 random(7); // NOLINT(cert-msc51-cpp): the same each time
    std::string dump;
    for (std::uint32_t number = 1; number <= count; ++number) {
        const cli_tests::Ids named[] = {kAccelData, kGyroData, kFunction, kTrace, {200, 7, 9, 8}, {2, 1, 1, 3}};
        cli_tests::Ids ids = named[random() % std::size(named)];
        if (random() % 8 == 0) {
            ids.event = static_cast<std::uint8_t>(random() % 4);
        }
        const std::uint64_t time = random() % 16 == 0 ? std::uint64_t{1} << 63 | number : 100 * (random() % 50);
        dump += report(ids, number, time, std::string(8, static_cast<char>(random() % 256)));
    }
    return dump;
}

class PushDownTest : public QueryEngineTest {
protected:
    std::string pick(const std::vector<std::string> &from) { return from[random() % from.size()]; }

    std::string literal() {
        return pick({"0",
                     "1",
                     "2",
                     "3",
                     "5",
                     "-1",
                     "1.0",
                     "2.5",
                     "-0.5",
                     "1e30",
                     "200",
                     "900",
                     "2000",
                     "'2'",
                     "' 3 '",
                     "'sensor'",
                     "'accel'",
                     "'data'",
                     "'event'",
                     "'200'",
                     "'nothing'",
                     "''",
                     "NULL",
                     "x'32'",
                     "9223372036854775807",
                     "'9223372036854775808'",
                     "'one'",
                     "'two'"});
    }

    std::string condition() {
        const std::string column = pick({"category", "category_id", "component", "component_id", "event", "event_id",
                                         "type", "type_id", "sequence_num", "timestamp", "device", "wall_time", "w0"});
        switch (random() % 4) {
        case 0:
            return column + " IN (" + literal() + ", " + literal() + ", " + literal() + ")";
        case 1:
            return column + " BETWEEN " + literal() + " AND " + literal();
        default:
            return column + " " + pick({"=", "=", "<", "<=", ">", ">=", "<>", "IS"}) + " " + literal();
        }
    }

    std::mt19937 random{11}; // NOLINT(cert-msc51-cpp): the same each time
};

TEST_F(PushDownTest, ConditionsThatReachTheScanGiveTheSameRows) {
    const auto asked = engine({file("one.bin", mixed_dump(40)), file("two.bin", mixed_dump(50))});
    std::size_t found = 0;
    for (int i = 0; i < 1500 && !HasFailure(); ++i) {
        const std::string one = condition();
        const std::string two = condition();
        const std::string join = pick({" AND ", " OR "});
        // A truth that is tested is no condition on a column.
        const auto rows =
            rows_of(*asked, "SELECT device, sequence_num FROM reports WHERE " + one + join + two + " ORDER BY 1, 2");
        EXPECT_EQ(rows, rows_of(*asked, "SELECT device, sequence_num FROM reports WHERE ((" + one + ")" + join + "(" +
                                            two + ")) IS TRUE ORDER BY 1, 2"))
            << one << join << two;
        found += rows.size();
    }
    EXPECT_GT(found, 1000u) << "some conditions hold";
}

TEST_F(PushDownTest, GroupsThatTheScanMakesAreTheSame) {
    const std::vector<std::string> columns = {"category", "category_id", "component", "component_id", "event",
                                              "event_id", "type",        "type_id",   "device",       "dump"};
    const std::string inputs[] = {file("one.bin", mixed_dump(3000)), file("two.bin", mixed_dump(2000))};
    // So little memory that groups are read in batches, and the largest by themselves.
    const auto one = engine({inputs[0]}, {.memory = 400'000});
    const auto two = engine({inputs[0], inputs[1]}, {.memory = 400'000});
    for (int i = 0; i < 60 && !HasFailure(); ++i) {
        QueryEngine &asked = i % 2 == 0 ? *one : *two;
        const std::string keys = pick(columns) + ", " + pick(columns) + pick({"", ", " + pick(columns)});
        const std::string values = pick({"count(*)", "count(*), sum(sequence_num), max(w0)", "count(*), min(device)"});
        const std::string where = pick({"", " WHERE type_id = 3", " WHERE sequence_num > 100"});
        const std::string what = "SELECT " + keys + ", " + values + " FROM ";
        const std::string group = " GROUP BY " + keys + " ORDER BY " + keys + pick({"", " DESC"});
        EXPECT_EQ(rows_of(asked, what + "reports" + where + group),
                  rows_of(asked, what + "(SELECT * FROM reports" + where + " LIMIT -1 OFFSET 0)" + group))
            << what << where << group;
        EXPECT_EQ(rows_of(asked, "SELECT DISTINCT " + keys + " FROM reports ORDER BY " + keys),
                  rows_of(asked, "SELECT DISTINCT " + keys +
                                     " FROM (SELECT * FROM reports LIMIT -1 OFFSET 0) ORDER BY " + keys));
    }
}

TEST_F(QueryEngineTest, ARowNumberIsThePlaceOfItsReportInEveryQuestion) {
    QueryOptions options;
    options.clock.boot_time = std::uint64_t{5};
    const auto asked = engine({file("phone.bin", report(kGyroData, 1, 100) + report(kAccelData, 2, 200) +
                                                     report(kGyroData, 3, 300) + report(kAccelData, 4, 400))},
                              std::move(options));
    for (const char *const name : {"rowid", "_rowid_", "OID", "reports.rowid"}) {
        const std::string number(name);
        EXPECT_THAT(rows_of(*asked, "SELECT component, min(" + number + "), max(" + number +
                                        ") FROM reports GROUP BY component"),
                    ElementsAre(json({"accel", 1, 3}), json({"gyro", 0, 2})));
        EXPECT_THAT(rows_of(*asked, "SELECT sequence_num FROM reports WHERE rowid IN (SELECT max(" + number +
                                        ") FROM reports GROUP BY component) AND rowid < 3"),
                    ElementsAre(json::array({3})));
    }
    EXPECT_THAT(rows_of(*asked, "SELECT component, rowid FROM reports ORDER BY component LIMIT 1"),
                ElementsAre(json({"accel", 1})));
    EXPECT_EQ(rows_of(*asked, "SELECT * FROM dumps NATURAL JOIN reports").size(), 4u)
        << "a row's number is no column to join by";
    EXPECT_EQ(rows_of(*asked, "SELECT * FROM reports LIMIT 1")[0].size(), std::size(cli::kReportColumns));
}

TEST_F(QueryEngineTest, WhatIsComparedWithoutRegardToCaseIsNotLeftToTheScan) {
    const auto asked = engine({file("Phone.bin", report(kAccelData, 1, 100) + report(kGyroData, 2, 200))});
    for (const char *const condition :
         {"device = 'PHONE' COLLATE NOCASE AND component = 'ACCEL' COLLATE NOCASE",
          "component COLLATE NOCASE IN ('ACCEL', 'none')", "component COLLATE RTRIM = 'accel  '"}) {
        EXPECT_THAT(rows_of(*asked, std::string("SELECT sequence_num FROM reports WHERE ") + condition),
                    ElementsAre(json::array({1})))
            << condition;
    }
}

TEST_F(QueryEngineTest, AScanReadsNoFurtherThanItsLimit) {
    const std::string packed = cli_tests::gzip(numbered_reports(5000));
    const std::string cut = file("cut.bin.gz", packed.substr(0, packed.size() - 4));
    const auto asked = engine({cut});
    testing::internal::CaptureStderr();
    EXPECT_EQ(rows_of(*asked, "SELECT sequence_num FROM reports WHERE component = 'accel' LIMIT 3 OFFSET 2").size(),
              3u);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), IsEmpty());
    EXPECT_FALSE(asked->has_failed());
}

// ---- damage

TEST_F(QueryEngineTest, DamageIsNamedOnceAndWhatIsWholeIsThere) {
    const std::string packed = cli_tests::gzip(numbered_reports(5000));
    const std::string cut = file("cut.bin.gz", packed.substr(0, packed.size() - 4));
    const std::string torn = file("torn.bin", numbered_reports(2) + "1234");
    const auto asked = engine({cut, torn});
    testing::internal::CaptureStderr();
    EXPECT_THAT(rows_of(*asked, "SELECT device, count(*) FROM reports GROUP BY device; SELECT count(*) FROM reports; "
                                "SELECT device, reports, trailing_bytes FROM dumps"),
                ElementsAre(json({"cut", 5000}), json({"torn", 2}), json::array({5002}), json({"cut", 5000, 0}),
                            json({"torn", 2, 4})));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "qorstat: " + cut + ": byte " +
                                                          std::to_string(packed.size() - 4) +
                                                          ": the gzip data are cut off\nqorstat: " + torn +
                                                          ": byte 96: 4 trailing bytes are not a whole report\n");
    EXPECT_TRUE(asked->has_failed());
}

// ---- what is refused

struct HostileSql {
    const char *name;
    const char *sql;
    const char *message;
};

class HostileSqlTest : public QueryEngineTest, public testing::WithParamInterface<HostileSql> {};

INSTANTIATE_TEST_SUITE_P(
    Each, HostileSqlTest,
    testing::Values(
        HostileSql{"Attach", "ATTACH 'other.db' AS other", "ATTACH and VACUUM are refused"},
        HostileSql{"Vacuum", "VACUUM", "a query can only read"},
        HostileSql{"VacuumInto", "VACUUM INTO 'copy.db'", "a query can only read"},
        HostileSql{"Detach", "DETACH main", "DETACH is refused"},
        HostileSql{"LoadExtension", "SELECT load_extension('x.so')", "the function load_extension is refused"},
        HostileSql{"Tokenizer", "SELECT fts3_tokenizer('x', x'00')", "the function fts3_tokenizer is refused"},
        HostileSql{"Log", "SELECT SQLITE_LOG(1, 'x')", "the function sqlite_log is refused"},
        HostileSql{"WriteFile", "SELECT writefile('x', 'y')", "no function \"writefile\""},
        HostileSql{"ReadFile", "SELECT readfile('/etc/passwd')", "no function \"readfile\""},
        HostileSql{"WritableSchema", "PRAGMA writable_schema = 1", "PRAGMA writable_schema is refused"},
        HostileSql{"HeapLimit", "PRAGMA hard_heap_limit = 0", "PRAGMA hard_heap_limit is refused"},
        HostileSql{"TempStore", "PRAGMA temp_store_directory = '/tmp'", "PRAGMA temp_store_directory is refused"},
        HostileSql{"PragmaTable", "SELECT * FROM pragma_database_list", "is refused"},
        HostileSql{"CreateTable", "CREATE TABLE a (b)", "is refused: a query can only read"},
        HostileSql{"CreateTempTable", "CREATE TEMP TABLE a AS SELECT 1", "is refused: a query can only read"},
        HostileSql{"CreateView", "CREATE VIEW a AS SELECT 1", "is refused: a query can only read"},
        HostileSql{"CreateVirtualTable", "CREATE VIRTUAL TABLE a USING fts5(b)", "is refused: a query can only read"},
        HostileSql{"Drop", "DROP TABLE reports", "is refused: a query can only read"},
        HostileSql{"Insert", "INSERT INTO reports (device) VALUES ('x')", "INSERT is refused"},
        HostileSql{"Update", "UPDATE reports SET device = 'x'", "may not be modified"},
        HostileSql{"Delete", "DELETE FROM sqlite_schema", "may not be modified"},
        HostileSql{"Begin", "BEGIN", "a transaction is refused"},
        HostileSql{"Savepoint", "SAVEPOINT a", "a transaction is refused"},
        HostileSql{"Analyze", "ANALYZE", "is refused"}, HostileSql{"Reindex", "REINDEX", "a query can only read"},
        HostileSql{"Behind", "SELECT 1; ATTACH 'other.db' AS other", "ATTACH and VACUUM are refused"},
        HostileSql{"Parameter", "SELECT :name", ":name has no value"},
        HostileSql{"Nothing", " -- a comment", "there is no statement"},
        HostileSql{"Syntax", "SELEC 1", "near \"SELEC\": syntax error, at byte 0"},
        HostileSql{"SyntaxBehind", "SELECT 1;\n SELEC 2", "near \"SELEC\": syntax error, at byte 11"},
        HostileSql{"Table", "SELECT * FROM reprots",
                   "no table \"reprots\": there are reports, dumps, scalar, "
                   "distribution, records and "},
        HostileSql{"NearTable", "SELECT * FROM reprots", "; did you mean \"reports\"?"},
        HostileSql{"Column", "SELECT r.evnt FROM reports r", "no column \"r.evnt\"; reports has device, dump, "},
        HostileSql{"NearColumn", "SELECT evnt FROM reports", "; did you mean \"event\"?"},
        HostileSql{"DoubleQuotes", "SELECT \"wake\" FROM reports", "no column \"wake\""},
        HostileSql{"Function", "SELECT quantil(w0, 0.5) FROM reports",
                   "no function \"quantil\"; did you mean \"quantile\"?"}),
    [](const auto &each) { return each.param.name; });

TEST_P(HostileSqlTest, IsRefusedInWordsAndNothingOfItRuns) {
    const auto asked = engine({file("a.bin", numbered_reports(3))});
    Rows rows;
    try {
        asked->run(GetParam().sql, rows);
        FAIL() << "runs";
    } catch (const cli::WrongQuery &error) {
        EXPECT_THAT(error.what(), HasSubstr(GetParam().message));
    }
    EXPECT_EQ(rows.results, 0);
    EXPECT_THAT(folder.names(), ElementsAre("a.bin"));
    EXPECT_THAT(rows_of(*asked, "SELECT count(*) FROM reports"), ElementsAre(json::array({3}))) << "goes on";
}

TEST_F(QueryEngineTest, ManyStatementsCanBeEndedBeforeAnyOfThemRuns) {
    int looks = 0;
    QueryOptions options;
    options.check = [&looks] {
        if (++looks == 3) {
            throw cli::Interrupted{};
        }
    };
    const auto asked = engine({file("a.bin", numbered_reports(3))}, std::move(options));
    Rows rows;
    EXPECT_THROW(asked->run("SELECT 1; SELECT 2; SELECT 3; SELECT 4", rows), cli::Interrupted);
    EXPECT_EQ(rows.results, 0);
}

TEST_F(QueryEngineTest, AQueryWithoutEndReachesItsLimitOfTime) {
    QueryOptions options;
    options.timeout = std::chrono::milliseconds(50);
    const auto asked = engine({file("a.bin", numbered_reports(3))}, std::move(options));
    for (const char *const sql :
         {"WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) SELECT count(*) FROM c",
          "SELECT count(*) FROM reports a, reports b, reports c, reports d, reports e, reports f, reports g, "
          "reports h, reports i, reports j, reports k, reports l, reports m, reports n, reports o, reports p"}) {
        EXPECT_THAT(failure_of<host::Error>(*asked, sql), HasSubstr("took longer than its limit of time"));
    }
}

TEST_F(QueryEngineTest, AQueryThatTakesMuchReachesItsLimitOfMemory) {
    const auto asked = engine({file("a.bin", numbered_reports(3))}, {.memory = 8 << 20});
    for (const char *const sql : {"SELECT length(randomblob(50000000))", "SELECT length(printf('%.*c', 60000000, 'x'))",
                                  "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c LIMIT 1000000) "
                                  "SELECT x, hex(x) FROM c ORDER BY hex(x)",
                                  "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c LIMIT 10000000) "
                                  "SELECT length(group_concat(x)) FROM c"}) {
        EXPECT_THAT(failure_of<host::Error>(*asked, sql), HasSubstr("needs more memory than its limit")) << sql;
    }
    EXPECT_THAT(rows_of(*asked, "SELECT count(*) FROM reports"), ElementsAre(json::array({3}))) << "goes on";
    EXPECT_THAT(failure_of<host::Error>(*asked, "SELECT zeroblob(2000000000)"), HasSubstr("too big"));
}

TEST_F(QueryEngineTest, WhatACheckThrowsEndsTheQuery) {
    QueryOptions options;
    int looks = 0;
    options.check = [&looks] {
        if (++looks == 100) {
            throw cli::Interrupted{};
        }
    };
    const auto asked = engine({file("a.bin", numbered_reports(3))}, std::move(options));
    Rows rows;
    EXPECT_THROW(
        asked->run("WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) SELECT count(*) FROM c", rows),
        cli::Interrupted);
    EXPECT_THAT(rows_of(*asked, "SELECT count(*) FROM reports"), ElementsAre(json::array({3})));
}

TEST_F(QueryEngineTest, ReadingPragmasAndJsonWork) {
    const auto asked = engine({file("a.bin", numbered_reports(3))});
    EXPECT_EQ(rows_of(*asked, "SELECT name FROM pragma_table_info('dumps')").size(), std::size(cli::kDumpColumns));
    EXPECT_EQ(rows_of(*asked, "PRAGMA table_info(dumps)").size(), std::size(cli::kDumpColumns));
    EXPECT_THAT(rows_of(*asked, "SELECT value FROM json_each('[5,6]')"),
                ElementsAre(json::array({5}), json::array({6})));
    EXPECT_TRUE(QueryEngine::is_complete("SELECT 1;"));
    EXPECT_FALSE(QueryEngine::is_complete("SELECT ';"));
}

} // namespace
