// What `qorstat schema` prints for each engine: the same tables with the same columns.

#include <algorithm>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>

#include "cli/questions/engine_schema.h"
#include "cli/questions/name_rows.h"
#include "cli/questions/payload_views.h"
#include "decoder/name_tables.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

struct Line {
    std::string column;
    std::string comment;

    bool operator==(const Line &) const = default;
};

using Tables = std::map<std::string, std::vector<Line>>;

void PrintTo(const Line &line, std::ostream *out) { *out << line.column << " -- " << line.comment; }

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string word_at(const std::string &text, std::size_t place) {
    return text.substr(place, text.find(' ', place) - place);
}

/**
 * The tables and views by the lines that begin their statements, and the columns: lines of four spaces with comments.
 * @param ends_with_name  whether a column's name is the last word of its definition, not the first.
 */
Tables tables_of(const std::string &schema, std::string_view beginning, bool ends_with_name) {
    Tables tables;
    std::vector<Line> *table = nullptr;
    for (const std::string &line : lines_of(schema)) {
        if (line.starts_with("CREATE")) {
            table = line.starts_with(beginning) ? &tables[word_at(line, beginning.size())] : nullptr;
        } else if (const std::size_t comment = line.find(" -- "); table != nullptr && comment != std::string::npos) {
            std::string definition = line.substr(4, comment - 4);
            if (definition.ends_with(',')) {
                definition.pop_back();
            }
            table->push_back({ends_with_name ? definition.substr(definition.rfind(' ') + 1) : word_at(definition, 0),
                              line.substr(comment + 4)});
        }
    }
    return tables;
}

std::vector<std::string> names_of_tables() {
    std::vector<std::string> names;
    for (const cli::Table &table : cli::kTables) {
        names.emplace_back(table.name);
    }
    return names;
}

Tables clickhouse_tables(const cli::ClickHouseSchemaOptions &options) {
    return tables_of(cli::clickhouse_schema(options), "CREATE VIEW IF NOT EXISTS " + options.database + ".", true);
}

Tables duckdb_tables() {
    return tables_of(cli::duckdb_schema({"{table}.parquet", names_of_tables()}), "CREATE OR REPLACE VIEW ", true);
}

TEST(EngineSchemaTest, SqliteHasEveryTableAndViewWithItsColumns) {
    const Tables tables = tables_of(cli::sqlite_schema(), "CREATE TABLE ", false);
    EXPECT_EQ(tables.size(), std::size(cli::kTables) + cli::payload_views().size());
    const auto columns_of = [&tables](std::string_view name) {
        std::vector<std::string> columns;
        for (const Line &line : tables.at(std::string(name))) {
            columns.push_back(line.column);
        }
        return columns;
    };
    for (const cli::Table &table : cli::kTables) {
        std::vector<std::string> columns;
        for (const cli::Column &column : table.columns) {
            columns.emplace_back(column.name);
        }
        EXPECT_EQ(columns_of(table.name), columns) << table.name;
    }
    for (const cli::PayloadView &view : cli::payload_views()) {
        std::vector<std::string> columns;
        for (const cli::Column &column : cli::kHeaderColumns) {
            columns.emplace_back(column.name);
        }
        for (const cli::ViewColumn &column : view.columns) {
            columns.push_back(column.name);
        }
        EXPECT_EQ(columns_of(view.name), columns) << view.name;
    }
}

TEST(EngineSchemaTest, EveryEngineHasTheSameTablesColumnsAndMeanings) {
    const Tables expected = tables_of(cli::sqlite_schema(), "CREATE TABLE ", false);
    Tables clickhouse = clickhouse_tables({});
    Tables duckdb = duckdb_tables();
    EXPECT_EQ(clickhouse.at("names"), duckdb.at("names"));
    clickhouse.erase("names");
    duckdb.erase("names");
    clickhouse.erase("labels"); // which only a load has
    EXPECT_EQ(clickhouse, expected);
    EXPECT_EQ(duckdb, expected);
}

TEST(EngineSchemaTest, ClickHouseHasTheNewestLabelsOfDevices) {
    EXPECT_THAT(clickhouse_tables({}).at("labels"),
                testing::ElementsAre(Line{"device", "the device that has the label"}, Line{"key", "the label's key"},
                                     Line{"value", "its value: the newest one that was loaded"}));
    EXPECT_THAT(cli::clickhouse_schema({"mine", "fleet"}),
                testing::AllOf(HasSubstr("FROM mine.labels_data\n) AS every\nGROUP BY device, key"),
                               HasSubstr("CREATE TABLE IF NOT EXISTS mine.labels AS mine.labels_local")));
}

TEST(EngineSchemaTest, AColumnSaysItsMeaningAndItsUnit) {
    const Tables tables = tables_of(cli::sqlite_schema(), "CREATE TABLE ", false);
    EXPECT_THAT(tables.at("reports"),
                Contains(Line{"timestamp", "when it happened, by the coprocessor's clock (microseconds)"}));
    EXPECT_THAT(tables.at("event"), Contains(Line{"arg1", "the event's word 1"}));
}

TEST(EngineSchemaTest, StatementsOfClickHouseAreToldApartByTheirEnds) {
    for (const std::string cluster : {"", "fleet"}) {
        const std::vector<std::string> statements = cli::clickhouse_statements({"qor", cluster});
        std::string text;
        for (const std::string &statement : statements) {
            EXPECT_THAT(statement, Not(HasSubstr(";\n")));
            EXPECT_THAT(statement, Not(testing::EndsWith(";")));
            text += statement + ";\n\n";
        }
        EXPECT_EQ(cli::clickhouse_schema({"qor", cluster}), text);
        EXPECT_EQ(statements.front(), "CREATE DATABASE IF NOT EXISTS qor");
    }
}

TEST(EngineSchemaTest, ClickHouseLeavesWhatIsThereAndNamesItsDatabaseEverywhere) {
    for (const std::string &statement : cli::clickhouse_statements({"mine", "fleet"})) {
        const std::string create = statement.substr(statement.find("CREATE"));
        EXPECT_THAT(create, testing::AnyOf(StartsWith("CREATE DATABASE IF NOT EXISTS mine"),
                                           StartsWith("CREATE TABLE IF NOT EXISTS mine."),
                                           StartsWith("CREATE VIEW IF NOT EXISTS mine.")));
        EXPECT_THAT(create, Not(HasSubstr("qor.")));
        EXPECT_THAT(create, Not(testing::ContainsRegex("FROM [a-z]+_data")));
    }
}

TEST(EngineSchemaTest, AClusterHasATableOverTheViewsOfItsServers) {
    const Tables alone = clickhouse_tables({});
    Tables local = clickhouse_tables({"qor", "fleet"});
    const std::string text = cli::clickhouse_schema({"qor", "fleet"});
    EXPECT_EQ(local.at("names"), alone.at("names")); // the same on every server
    for (const auto &[name, columns] : alone) {
        if (name != "names") {
            EXPECT_EQ(local.at(name + "_local"), columns);
            EXPECT_FALSE(local.contains(name));
            EXPECT_THAT(text,
                        HasSubstr("CREATE TABLE IF NOT EXISTS qor." + name + " AS qor." + name +
                                  "_local\nENGINE = Distributed('fleet', qor, " + name + "_local, sipHash64(device))"));
        }
    }
    EXPECT_THAT(text, Not(HasSubstr("ON CLUSTER"))); // it needs more than the servers
    EXPECT_THAT(text, Not(HasSubstr("FROM qor.reports\n")));
}

TEST(EngineSchemaTest, DuckDbReadsTheFilesOfItsTables) {
    const std::string all = cli::duckdb_schema({"it's/{table}-*.parquet", names_of_tables()});
    for (const std::string &table : names_of_tables()) {
        EXPECT_THAT(all, HasSubstr("read_parquet('it''s/" + table + "-*.parquet')"));
    }
    const std::string reports = cli::duckdb_schema({"day.parquet", {"reports"}});
    EXPECT_THAT(reports, HasSubstr("read_parquet('day.parquet')"));
    EXPECT_THAT(reports, HasSubstr("CAST(NULL AS VARCHAR) AS wall_time"));
    EXPECT_THAT(reports, HasSubstr("CREATE OR REPLACE VIEW function AS"));
    const std::string scalars = cli::duckdb_schema({"{table}.parquet", {"scalar"}});
    EXPECT_THAT(scalars, Not(HasSubstr("VIEW reports")));
    EXPECT_THAT(scalars, Not(HasSubstr("VIEW function")));
}

TEST(NameRowsTest, AreTheNamesThatTheDecoderShows) {
    const auto find = [](cli::NameKind kind, int category, int component, unsigned id) -> std::string_view {
        for (const cli::NameRow &row : cli::name_rows()) {
            if (row.kind == kind && row.category.value_or(0) == category && row.component.value_or(255) == component &&
                row.id == id) {
                return row.name;
            }
        }
        return "";
    };
    std::size_t named = 0;
    for (unsigned category = 0; category < 256; ++category) {
        const auto byte = static_cast<std::uint8_t>(category);
        const std::string_view name = find(cli::NameKind::Category, 0, 255, category);
        EXPECT_EQ(name.empty() ? std::to_string(category) : name, decoder::category_name(byte));
        named += name.empty() ? 0 : 1;
        for (unsigned component = 0; category < 16 && component < 256; ++component) {
            const std::string_view component_name =
                find(cli::NameKind::Component, static_cast<int>(category), 255, component);
            EXPECT_EQ(component_name.empty() ? std::to_string(component) : component_name,
                      decoder::component_name(byte, static_cast<std::uint8_t>(component)));
            named += component_name.empty() ? 0 : 1;
        }
        const std::string_view type = find(cli::NameKind::Type, 0, 255, category);
        EXPECT_EQ(type.empty() ? std::to_string(category) : type, decoder::type_name(byte));
        named += type.empty() ? 0 : 1;
    }
    const auto others = std::ranges::count_if(cli::name_rows(), [](const cli::NameRow &row) {
        return row.kind == cli::NameKind::Event || row.kind == cli::NameKind::Subject;
    });
    EXPECT_EQ(named + static_cast<std::size_t>(others), cli::name_rows().size());
    EXPECT_EQ(find(cli::NameKind::Event, 7, 3, 0), decoder::event_name(7, 3, 0));
    EXPECT_EQ(find(cli::NameKind::Event, 10, 255, 1), "wake-req-info");
    EXPECT_EQ(find(cli::NameKind::Subject, 7, 4, 0), "Notification");
}

} // namespace
