#include <algorithm>
#include <cstdint>
#include <optional>
#include <string_view>

#include "cli/questions/engine_schema.h"
#include "cli/questions/name_rows.h"
#include "cli/questions/payload_sql.h"
#include "cli/questions/schema_text.h"

namespace cli {
namespace {

std::string_view type_name(ColumnType type) {
    switch (type) {
    case ColumnType::Text:
        return "VARCHAR";
    case ColumnType::Unsigned8:
        return "UTINYINT";
    case ColumnType::Unsigned16:
        return "USMALLINT";
    case ColumnType::Unsigned32:
        return "UINTEGER";
    case ColumnType::Unsigned64:
        return "UBIGINT";
    case ColumnType::Signed8:
        return "TINYINT";
    case ColumnType::Signed32:
        return "INTEGER";
    case ColumnType::Signed64:
        return "BIGINT";
    case ColumnType::Real:
        return "DOUBLE";
    }
    return "";
}

/** What the expressions use: the bytes of a word in hexadecimal, and texts out of bytes in hexadecimal. */
std::string macros() {
    const std::string utf8 = sql_literal(kUtf8InHex);
    return "-- The bytes of a word, the lowest first\n"
           "CREATE OR REPLACE MACRO qor_hex(word) AS\n"
           "printf('%02x%02x%02x%02x', word & 255, (word >> 8) & 255, (word >> 16) & 255, word >> 24);\n\n"
           "-- The bytes before the first zero byte\n"
           "CREATE OR REPLACE MACRO qor_cut(bytes) AS\n"
           "regexp_extract(bytes, '^([0-9a-f][1-9a-f]|[1-9a-f]0)*');\n\n"
           "-- These as a text; null where they are not UTF-8\n"
           "CREATE OR REPLACE MACRO qor_text(bytes) AS\n"
           "CASE WHEN regexp_full_match(qor_cut(bytes), " +
           utf8 +
           ") THEN decode(unhex(qor_cut(bytes))) END;\n\n"
           "-- The same bytes where they are not UTF-8, otherwise null\n"
           "CREATE OR REPLACE MACRO qor_text_hex(bytes) AS\n"
           "CASE WHEN NOT regexp_full_match(qor_cut(bytes), " +
           utf8 + ") THEN qor_cut(bytes) END;\n\n";
}

/** The names of the ids of one kind, category and component as the branches of a choice by `id`; "" for none. */
std::string names_by(std::string_view id, NameKind kind, std::optional<unsigned> category,
                     std::optional<unsigned> component) {
    std::string branches;
    for (const NameRow &row : name_rows()) {
        if (row.kind == kind && row.category == category && row.component == component) {
            branches += " WHEN " + std::to_string(row.id) + " THEN " + sql_literal(row.name);
        }
    }
    return branches.empty() ? "" : "CASE " + std::string(id) + branches + " END";
}

/** A choice by `id` between expressions, those for its numbers below 256; "" where all of them are. */
template <typename Expression>
std::string choice_by(std::string_view id, const Expression &expression, const std::string &otherwise = "") {
    std::string branches;
    for (unsigned number = 0; number < 256; ++number) {
        if (const std::string value = expression(number); !value.empty()) {
            branches += " WHEN " + std::to_string(number) + " THEN " + value;
        }
    }
    if (branches.empty()) {
        return otherwise;
    }
    return "CASE " + std::string(id) + branches + (otherwise.empty() ? "" : " ELSE " + otherwise) + " END";
}

std::string name_or_number(const std::string &name, std::string_view id) {
    return "coalesce(" + name + ", CAST(" + std::string(id) + " AS VARCHAR))";
}

std::string component_name() {
    return choice_by("category_id", [](unsigned category) {
        return names_by("component_id", NameKind::Component, category, std::nullopt);
    });
}

std::string event_name() {
    return choice_by("category_id", [](unsigned category) {
        return choice_by(
            "component_id",
            [category](unsigned component) { return names_by("event_id", NameKind::Event, category, component); },
            names_by("event_id", NameKind::Event, category, std::nullopt));
    });
}

class DuckDbDialect final : public SqlDialect {
public:
    std::string shifted_right(const std::string &word, unsigned shift) const override {
        return "(" + word + " >> " + std::to_string(shift) + ")";
    }

    std::string masked(const std::string &number, std::uint32_t mask) const override {
        return "(" + number + " & " + std::to_string(mask) + ")";
    }

    std::string join_bits(const std::string &low, const std::string &high, unsigned shift) const override {
        return "(CAST(" + low + " AS UBIGINT) | (CAST(" + high + " AS UBIGINT) << " + std::to_string(shift) + "))";
    }

    std::string cast(const std::string &number, ColumnType type) const override {
        return "CAST(" + number + " AS " + std::string(type_name(type)) + ")";
    }

    std::string as_signed(const std::string &number, unsigned bits) const override {
        const std::string wide = "CAST(" + number + " AS HUGEINT)";
        return "(CASE WHEN " + number + " >> " + std::to_string(bits - 1) + " = 0 THEN " + wide + " ELSE " + wide +
               " - (CAST(1 AS HUGEINT) << " + std::to_string(bits) + ") END)";
    }

    std::string hex_of_bytes(unsigned first, const std::string &count) const override {
        return hex_from(first, qor::kReportSize - qor::kPayloadOffset - first, "2 * " + count);
    }

    std::string least(const std::string &a, const std::string &b) const override {
        return "least(" + a + ", " + b + ")";
    }

    std::string text(unsigned first, unsigned size) const override {
        return "qor_text(" + hex_from(first, size, std::to_string(2 * size)) + ")";
    }

    std::string hex_of_text(unsigned first, unsigned size) const override {
        return "qor_text_hex(" + hex_from(first, size, std::to_string(2 * size)) + ")";
    }

    std::string subject(const std::string &number) const override {
        return name_or_number(choice_by("component_id",
                                        [&number](unsigned component) {
                                            return names_by(number, NameKind::Subject, qor::kSSHB, component);
                                        }),
                              number);
    }

private:
    /** The first `count` digits of the `size` bytes from `first` on. */
    static std::string hex_from(unsigned first, unsigned size, const std::string &count) {
        std::string words;
        for (unsigned word = first / 4; word < (first + size + 3) / 4; ++word) {
            words.append(words.empty() ? "" : " || ").append("qor_hex(w" + std::to_string(word) + ")");
        }
        return "substr(" + words + ", " + std::to_string(1 + 2 * (first % 4)) + ", " + count + ")";
    }
};

/** The files of a table as an expression that has their rows. */
std::string rows_of(const DuckDbSchemaOptions &options, std::string_view table) {
    constexpr std::string_view kPlace = "{table}";
    std::string files = options.files;
    if (const std::size_t place = files.find(kPlace); place != std::string::npos) {
        files.replace(place, kPlace.size(), table);
    }
    return "read_parquet(" + sql_literal(files) + ")";
}

bool has(const DuckDbSchemaOptions &options, std::string_view table) {
    return std::ranges::find(options.tables, table) != options.tables.end();
}

std::string view_statement(std::string_view name, std::string_view meaning, const std::string &select) {
    return "-- " + std::string(meaning) + "\nCREATE OR REPLACE VIEW " + std::string(name) + " AS\n" + select + ";\n\n";
}

std::string reports_select(const DuckDbSchemaOptions &options) {
    const bool has_clocks = has(options, "dumps");
    const std::vector<DescribedColumn> columns = described_columns(kReportColumns, [has_clocks](const Column &column) {
        std::string name(column.name);
        const auto named = [&name](const std::string &ids) {
            return name_or_number(ids, name + "_id") + " AS " + name;
        };
        if (name == "category") {
            return named(names_by("category_id", NameKind::Category, std::nullopt, std::nullopt));
        }
        if (name == "component") {
            return named(component_name());
        }
        if (name == "event") {
            return named(event_name());
        }
        if (name == "type") {
            return named(names_by("type_id", NameKind::Type, std::nullopt, std::nullopt));
        }
        if (column.may_be_null && !has_clocks) {
            return "CAST(NULL AS " + std::string(type_name(column.type)) + ") AS " + name;
        }
        if (name == "wall_time") {
            return "strftime(make_timestamp(CAST(((clock_offset + CAST(timestamp AS HUGEINT) * 1000) "
                   "% 18446744073709551616) // 1000 AS BIGINT)), '%Y-%m-%dT%H:%M:%S.%f+00:00') AS " +
                   name;
        }
        return name;
    });
    // A dump that is there twice must not double its reports.
    const std::string clocks =
        has_clocks ? "\nLEFT JOIN\n(\n    SELECT device, dump, max(boot_timestamp) AS boot_timestamp,\n"
                     "        max(CAST(sync_calendar AS HUGEINT) - sync_qor + 18446744073709551616) AS clock_offset\n"
                     "    FROM " +
                         rows_of(options, "dumps") + "\n    GROUP BY device, dump\n) AS clocks USING (device, dump)"
                   : "";
    return "SELECT\n" + column_lines(columns) + "FROM " + rows_of(options, "reports") + " AS stored" + clocks;
}

std::string names_select() {
    std::string names;
    const std::vector<DescribedColumn> columns = described_columns(kNameColumns, [&names](const Column &column) {
        const std::string name(column.name);
        names.append(names.empty() ? "" : ", ").append(name);
        return "CAST(" + name + " AS " + std::string(type_name(column.type)) + ") AS " + name;
    });
    return "SELECT\n" + column_lines(columns) + "FROM (VALUES" + name_tuples("NULL") + "\n) AS listed (" + names + ")";
}

} // namespace

std::string duckdb_schema(const DuckDbSchemaOptions &options) {
    std::string text = macros() + view_statement(kNameTable.name, kNameTable.meaning, names_select());
    for (const Table &table : kTables) {
        if (has(options, table.name)) {
            const std::string select =
                table.name == "reports"
                    ? reports_select(options)
                    : "SELECT\n" + column_lines(same_columns(table.columns)) + "FROM " + rows_of(options, table.name);
            text += view_statement(table.name, table.meaning, select);
        }
    }
    if (has(options, "reports")) {
        for (const PayloadView &view : payload_views()) {
            text += view_statement(view.name, view.meaning, payload_select(view, "reports", DuckDbDialect()));
        }
    }
    return text;
}

} // namespace cli
