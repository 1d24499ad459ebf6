#include <span>
#include <string_view>
#include <vector>

#include "cli/questions/engine_schema.h"
#include "cli/questions/payload_sql.h"
#include "cli/questions/payload_views.h"
#include "cli/questions/query_engine.h"
#include "cli/questions/schema_text.h"

namespace cli {
namespace {

std::string definition(std::string_view name, ColumnType type, bool may_be_null) {
    return std::string(name) + " " + std::string(sqlite_type(type)) + (may_be_null ? "" : " NOT NULL");
}

std::vector<DescribedColumn> definitions(std::span<const Column> columns) {
    return described_columns(
        columns, [](const Column &column) { return definition(column.name, column.type, column.may_be_null); });
}

std::string table(std::string_view name, std::string_view meaning, std::span<const DescribedColumn> columns) {
    return "-- " + std::string(meaning) + "\nCREATE TABLE " + std::string(name) + " (\n" + column_lines(columns) +
           ");\n\n";
}

} // namespace

std::string sqlite_schema() {
    std::string text;
    for (const Table &row : kTables) {
        text += table(row.name, row.meaning, definitions(row.columns));
    }
    for (const PayloadView &view : payload_views()) {
        std::vector<DescribedColumn> columns = definitions(kHeaderColumns);
        for (const ViewColumn &column : view.columns) {
            columns.push_back(
                {definition(column.name, column.type, column.may_be_null), described(column.meaning, column.unit)});
        }
        text += table(view.name, view.meaning, columns);
    }
    return text;
}

} // namespace cli
