/** Pieces of the statements of `cli/questions/engine_schema.h`. */
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/questions/payload_sql.h"
#include "cli/questions/tables.h"

namespace cli {

/** A column of a select or of a table, and what it means. */
struct DescribedColumn {
    std::string definition;
    std::string comment;
};

/** The columns one on each line, with commas between them and their comments behind them; ends with a line break. */
std::string column_lines(std::span<const DescribedColumn> columns);

/** `define` of each, with its meaning. */
std::vector<DescribedColumn> described_columns(std::span<const Column> columns,
                                               const std::function<std::string(const Column &)> &define);

/** The columns with the same names in what is selected from. */
std::vector<DescribedColumn> same_columns(std::span<const Column> columns);

/** What a payload view selects from `source`, which has the columns of `reports`. */
std::string payload_select(const PayloadView &view, std::string_view source, const SqlDialect &dialect);

/** `name_rows()` as tuples, one on each line. @param null  stands for an id that a row has not. */
std::string name_tuples(std::string_view null);

/** The row of `kTables` with this name. @throws std::out_of_range for another name. */
const Table &table_named(std::string_view name);

/** The names of `kTables`. */
std::vector<std::string> table_names();

} // namespace cli
