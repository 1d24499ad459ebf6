#include "cli/questions/schema_text.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <stdexcept>

#include "cli/questions/name_rows.h"

namespace cli {

std::string column_lines(std::span<const DescribedColumn> columns) {
    std::string lines;
    for (const DescribedColumn &column : columns) {
        lines += "    " + column.definition + (&column == &columns.back() ? "" : ",") + " -- " + column.comment + "\n";
    }
    return lines;
}

std::vector<DescribedColumn> described_columns(std::span<const Column> columns,
                                               const std::function<std::string(const Column &)> &define) {
    std::vector<DescribedColumn> made;
    for (const Column &column : columns) {
        made.push_back({define(column), described(column.meaning, column.unit)});
    }
    return made;
}

std::vector<DescribedColumn> same_columns(std::span<const Column> columns) {
    return described_columns(columns, [](const Column &column) { return std::string(column.name); });
}

std::string payload_select(const PayloadView &view, std::string_view source, const SqlDialect &dialect) {
    std::vector<DescribedColumn> columns = same_columns(kHeaderColumns);
    for (const ViewColumn &column : view.columns) {
        columns.push_back({sql_of(column, dialect) + " AS " + column.name, described(column.meaning, column.unit)});
    }
    return "SELECT\n" + column_lines(columns) + "FROM " + std::string(source) + "\nWHERE " + conditions_sql(view);
}

std::string name_tuples(std::string_view null) {
    std::string rows;
    for (const NameRow &row : name_rows()) {
        const auto id = [null](const std::optional<std::uint8_t> &number) {
            return number ? std::to_string(unsigned{*number}) : std::string(null);
        };
        rows.append(rows.empty() ? "" : ",")
            .append("\n    (" + sql_literal(text_of(row.kind)) + ", " + id(row.category) + ", " + id(row.component) +
                    ", " + std::to_string(row.id) + ", " + sql_literal(row.name) + ")");
    }
    return rows;
}

const Table &table_named(std::string_view name) {
    const auto found = std::ranges::find(kTables, name, [](const Table &table) { return table.name; });
    if (found == std::end(kTables)) {
        throw std::out_of_range("no table " + std::string(name));
    }
    return *found;
}

std::vector<std::string> table_names() {
    std::vector<std::string> names;
    for (const Table &table : kTables) {
        names.emplace_back(table.name);
    }
    return names;
}

} // namespace cli
