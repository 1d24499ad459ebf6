#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/arguments/input_arguments.h"
#include "cli/arguments/invalid_value.h"
#include "cli/arguments/words.h"
#include "cli/arguments/wrong_use.h"
#include "cli/questions/engine_names.h"
#include "cli/questions/engine_schema.h"
#include "cli/questions/schema_text.h"
#include "cli/questions/tool_formats.h"
#include "cli/terminal/output.h"
#include "cli/terminal/output_file.h"
#include "cli/verbs.h"

namespace cli {
namespace {

struct SchemaArguments {
    std::string engine;
    std::optional<std::string> database;
    std::optional<std::string> cluster;
    std::optional<std::string> files;
    std::vector<std::string> tables;
    std::optional<std::string> output_file;
};

/** Options of one engine alone mean nothing for another. */
void require_engine(const char *option, bool is_given, const std::string &engine, const char *its_engine) {
    if (is_given && engine != its_engine) {
        throw WrongUse(std::string(option) + " is for --engine " + its_engine);
    }
}

ClickHouseSchemaOptions clickhouse_options(const SchemaArguments &arguments) {
    ClickHouseSchemaOptions options;
    if (arguments.database) {
        database_reader(options.database)("--database", *arguments.database);
    }
    if (arguments.cluster) {
        cluster_reader(options.cluster)("--cluster", *arguments.cluster);
    }
    return options;
}

DuckDbSchemaOptions duckdb_options(const SchemaArguments &arguments) {
    DuckDbSchemaOptions options;
    options.tables = arguments.tables.empty() ? table_names() : arguments.tables;
    for (const std::string &table : arguments.tables) {
        std::string word;
        read_word(word_reader(word, table_names()), "--table", table);
    }
    if (arguments.files) {
        options.files = *arguments.files;
        if (options.tables.size() > 1 && options.files.find("{table}") == std::string::npos) {
            throw WrongUse(invalid_value("--files", options.files) +
                           ": with more than one table it must contain {table}");
        }
    }
    return options;
}

struct Engine {
    std::string_view name;
    std::function<std::string(const SchemaArguments &)> schema;
};

/** In the order of the help. */
const std::array<Engine, 5> &engines() {
    static const std::array<Engine, 5> all = {{
        {"sqlite", [](const SchemaArguments &) { return sqlite_schema(); }},
        {"clickhouse",
         [](const SchemaArguments &arguments) { return clickhouse_schema(clickhouse_options(arguments)); }},
        {"duckdb", [](const SchemaArguments &arguments) { return duckdb_schema(duckdb_options(arguments)); }},
        {"kaitai", [](const SchemaArguments &) { return kaitai_layout(); }},
        {"lnav", [](const SchemaArguments &) { return lnav_formats(); }},
    }};
    return all;
}

std::vector<std::string> engine_words() {
    std::vector<std::string> words;
    for (const Engine &engine : engines()) {
        words.emplace_back(engine.name);
    }
    return words;
}

int print_schema(const SchemaArguments &arguments) {
    require_engine("--database", arguments.database.has_value(), arguments.engine, "clickhouse");
    require_engine("--cluster", arguments.cluster.has_value(), arguments.engine, "clickhouse");
    require_engine("--files", arguments.files.has_value(), arguments.engine, "duckdb");
    require_engine("--table", !arguments.tables.empty(), arguments.engine, "duckdb");
    const std::string schema = std::ranges::find(engines(), arguments.engine, &Engine::name)->schema(arguments);
    OutputFile file(arguments.output_file);
    file.output().write(schema);
    file.finish();
    return kExitOk;
}

} // namespace

Verb declare_schema() {
    const auto arguments = std::make_shared<SchemaArguments>();
    return {.arguments = {{.name = "--engine",
                           .value_name = "ENGINE",
                           .target = word_reader(arguments->engine, engine_words()),
                           .help = "sqlite, as qorstat query has them; clickhouse, from\n"
                                   "18.16 on; duckdb, over files of qorstat export;\n"
                                   "kaitai, a dump's layout; lnav, for lines of JSON",
                           .is_required = true},
                          {.name = "--database",
                           .value_name = "NAME",
                           .target = &arguments->database,
                           .help = "For ClickHouse; default: qor",
                           .kind = ValueKind::Other},
                          {.name = "--cluster",
                           .value_name = "NAME",
                           .target = &arguments->cluster,
                           .help = "For ClickHouse on many servers: what each of them runs",
                           .kind = ValueKind::Other},
                          {.name = "--files",
                           .value_name = "PATTERN",
                           .target = &arguments->files,
                           .help = "For DuckDB: Parquet files, with {table} for the table;\n"
                                   "default: {table}.parquet",
                           .kind = ValueKind::Other},
                          {.name = "--table",
                           .value_name = "TABLE",
                           .target = &arguments->tables,
                           .help = "For DuckDB: a table that has files; default: all",
                           .is_repeated = true,
                           .kind = ValueKind::Other},
                          output_argument(arguments->output_file)},
            .notes = "Prints the statements that make the tables and views of questions: the same\n"
                     "ones, with the same columns, in every engine. For kaitai-struct-compiler it\n"
                     "prints the layout of dumps, for lnav formats of what qorstat decode --format\n"
                     "jsonl prints. docs/schema.md describes them all.",
            .examples = {"qorstat schema --engine clickhouse | clickhouse-client --multiquery",
                         "qorstat schema --engine duckdb --files 'fleet/{table}-*.parquet'"},
            .run = [arguments] { return print_schema(*arguments); }};
}

} // namespace cli
