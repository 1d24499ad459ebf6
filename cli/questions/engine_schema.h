/** The tables and views of questions as statements of an engine. They can be run as they are. */
#pragma once

#include <string>
#include <vector>

#include "cli/questions/tables.h"

namespace cli {

/** The tables as `qorstat query` declares them. */
std::string sqlite_schema();

struct ClickHouseSchemaOptions {
    std::string database = "qor"; ///< a letter or '_', then letters, digits and '_'
    std::string cluster;          ///< letters, digits, '_', '-' and '.'; empty for one server
};

/**
 * The statements for ClickHouse from version 18.16 on, in their order, each without its end. What is there already is
 * left as it is.
 *
 * Rows go to the tables whose names end with `_data`, each with the number of its insert in `load`. They count only
 * where a row of `dumps_data` has that number in `loads`: such a row is written when everything of its dump, record or
 * store is there. Of several for one content of a device the one with the greatest version counts.
 *
 * With a cluster every server gets the same statements: the views are named with `_local` at their end and show what
 * the server has; the plain names are tables over those of all servers. All rows of a device belong on one server.
 */
std::vector<std::string> clickhouse_statements(const ClickHouseSchemaOptions &options);

/** The same as one text, each statement ended by a semicolon and a line break, which stand together nowhere else. */
std::string clickhouse_schema(const ClickHouseSchemaOptions &options);

struct DuckDbSchemaOptions {
    /** Names of the files, or a pattern for them; `{table}` stands for the table. */
    std::string files = "{table}.parquet";
    /** For which tables of `kTables` there are files. Without dumps no report has a time of day. */
    std::vector<std::string> tables;
};

/** The statements for DuckDB, over Parquet files that `qorstat export` has written. */
std::string duckdb_schema(const DuckDbSchemaOptions &options);

} // namespace cli
