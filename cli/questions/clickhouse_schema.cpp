#include <algorithm>
#include <cstdint>
#include <iterator>
#include <optional>
#include <span>
#include <string_view>

#include "cli/questions/engine_schema.h"
#include "cli/questions/name_rows.h"
#include "cli/questions/native_block.h"
#include "cli/questions/payload_sql.h"
#include "cli/questions/schema_text.h"
#include "qor/categories.h"

// Version 18.16 has no isValidUTF8, no leftPad, no dictionaries from statements and no codecs of columns. It takes the
// concatenation of fixed strings alone for one of them, so that an empty text leads each.

namespace cli {
namespace {

std::string call(std::string_view function, const std::string &arguments) {
    return std::string(function) + "(" + arguments + ")";
}

/** Ids and their names as the arguments of a look-up. */
struct LookUp {
    std::string ids;
    std::string names;

    void add(std::uint64_t id, std::string_view name) {
        ids.append(ids.empty() ? "" : ", ").append(std::to_string(id));
        names.append(names.empty() ? "" : ", ").append(sql_literal(name));
    }

    /** @param key, otherwise  expressions. */
    std::string of(const std::string &key, const std::string &otherwise) const {
        return "transform(" + key + ", [" + ids + "], [" + names + "], " + otherwise + ")";
    }
};

/** Of all names of one kind. @param key_of  the number by which a row is looked up. */
template <typename KeyOf>
LookUp look_up(NameKind kind, const KeyOf &key_of) {
    LookUp made;
    for (const NameRow &row : name_rows()) {
        if (row.kind == kind) {
            made.add(key_of(row), row.name);
        }
    }
    return made;
}

/** What a component counts in the key of a subject, whose id has 32 bits. */
constexpr std::uint64_t kComponentOfSubject = std::uint64_t{1} << 32;

class ClickHouseDialect final : public SqlDialect {
public:
    std::string shifted_right(const std::string &word, unsigned shift) const override {
        return call("bitShiftRight", word + ", " + std::to_string(shift));
    }

    std::string masked(const std::string &number, std::uint32_t mask) const override {
        return call("bitAnd", number + ", " + std::to_string(mask));
    }

    std::string join_bits(const std::string &low, const std::string &high, unsigned shift) const override {
        return "bitOr(toUInt64(" + low + "), bitShiftLeft(toUInt64(" + high + "), " + std::to_string(shift) + "))";
    }

    std::string cast(const std::string &number, ColumnType type) const override {
        return call("to" + native_type(type), number);
    }

    std::string as_signed(const std::string &number, unsigned bits) const override {
        return "toInt" + std::to_string(bits) + "(" + number + ")";
    }

    std::string hex_of_bytes(unsigned first, const std::string &count) const override {
        return "lower(hex(" + bytes(first, qor::kReportSize - qor::kPayloadOffset - first, count) + "))";
    }

    std::string least(const std::string &a, const std::string &b) const override {
        return "least(" + a + ", " + b + ")";
    }

    std::string text(unsigned first, unsigned size) const override {
        const std::string text = text_bytes(first, size);
        return "if(" + is_utf8(text) + ", " + text + ", NULL)";
    }

    std::string hex_of_text(unsigned first, unsigned size) const override {
        const std::string text = text_bytes(first, size);
        return "if(" + is_utf8(text) + ", NULL, lower(hex(" + text + ")))";
    }

    std::string subject(const std::string &number) const override {
        const LookUp names = look_up(NameKind::Subject,
                                     [](const NameRow &row) { return *row.component * kComponentOfSubject + row.id; });
        return names.of("component_id * " + std::to_string(kComponentOfSubject) + " + " + number,
                        "toString(" + number + ")");
    }

private:
    /** Bytes of the payload: `count` of the `size` ones from `first` on. */
    static std::string bytes(unsigned first, unsigned size, const std::string &count) {
        std::string words = "''";
        for (unsigned word = first / 4; word < (first + size + 3) / 4; ++word) {
            words += ", toFixedString(reinterpretAsString(w" + std::to_string(word) + "), 4)";
        }
        return "substring(concat(" + words + "), " + std::to_string(1 + first % 4) + ", " + count + ")";
    }

    static std::string text_bytes(unsigned first, unsigned size) {
        return "toStringCutToZero(" + bytes(first, size, std::to_string(size)) + ")";
    }

    static std::string is_utf8(const std::string &text) {
        return "match(lower(hex(" + text + ")), " + sql_literal("^" + std::string(kUtf8InHex) + "$") + ")";
    }
};

// The names of the ids of a report.

std::string category_name() {
    return look_up(NameKind::Category, [](const NameRow &row) { return row.id; })
        .of("category_id", "toString(category_id)");
}

std::string component_name() {
    return look_up(NameKind::Component, [](const NameRow &row) { return *row.category * 256u + row.id; })
        .of("category_id * 256 + component_id", "toString(component_id)");
}

/** The keys have the category, the component plus 1 where it has events of its own, and the event. */
std::string event_name() {
    const auto component_key = [](unsigned category, unsigned component) { return category * 256 + component; };
    std::string owners;
    for (const qor::Category &category : qor::kCategories) {
        for (const qor::ComponentEvents &events : category.events_of_components) {
            owners.append(owners.empty() ? "" : ", ")
                .append(std::to_string(component_key(category.id, events.component)));
        }
    }
    return look_up(NameKind::Event,
                   [](const NameRow &row) {
                       return *row.category * 131072u + (row.component ? (*row.component + 1u) * 256 : 0) + row.id;
                   })
        .of("category_id * 131072 + if((category_id * 256 + component_id) IN (" + owners +
                "), component_id + 1, 0) * 256 + event_id",
            "toString(event_id)");
}

std::string type_name_of_report() {
    return look_up(NameKind::Type, [](const NameRow &row) { return row.id; }).of("type_id", "toString(type_id)");
}

// The marks and the clocks in them.

/** @param kinds  a condition on the column `kind`. */
std::string newest_marks(const std::string &database, std::string_view kinds) {
    const std::string marks = database + ".dumps_data";
    return marks + " WHERE " + std::string(kinds) +
           " AND (device, dump, version) IN (SELECT device, dump, max(version) FROM " + marks + " WHERE " +
           std::string(kinds) + " GROUP BY device, dump)";
}

constexpr std::string_view kHasReports = "kind < 2";
constexpr std::string_view kIsRecord = "kind = 1";
constexpr std::string_view kIsStore = "kind = 2";

std::string loads_of(const std::string &marks) { return "load IN (SELECT arrayJoin(loads) FROM " + marks + ")"; }

/** Of each device the newest store: of those of one time the one whose mark is the newest. */
std::string newest_stores(const std::string &database) {
    const std::string marks = database + ".dumps_data WHERE " + std::string(kIsStore);
    return marks + " AND (device, taken, version) IN (SELECT device, taken, max(version) FROM " + marks +
           " AND (device, taken) IN (SELECT device, max(taken) FROM " + marks +
           " GROUP BY device) GROUP BY device, taken)";
}

/**
 * Something of the clock of the report's dump in decimal, as a number that is null where the dump has no such clock.
 * The dumps become constants of the query. No query that does without this column computes it.
 */
std::string clock_number(const std::string &database, const std::string &condition, const std::string &number) {
    const auto key = [](std::string_view dump) { return "concat(toString(" + std::string(dump) + "), '/', device)"; };
    const std::string marks = newest_marks(database, kHasReports) + " AND " + condition;
    // Sorted, so that two queries agree on the order. The last ones are of no dump: an array must not be empty.
    const std::string keys =
        "(SELECT arrayPushBack(arraySort(groupArray(" + key("dump") + ")), '') FROM " + marks + ")";
    const std::string numbers = "(SELECT arrayPushBack(arraySort((number, key) -> key, groupArray(toString(" + number +
                                ")), groupArray(" + key("dump") + ")), '') FROM " + marks + ")";
    return "toUInt64OrNull(transform(" + key("dump_hash") + ", " + keys + ", " + numbers + ", ''))";
}

/** In microseconds since 1970. As everywhere, the arithmetic wraps. */
std::string wall_microseconds(const std::string &database) {
    return "intDiv(" +
           clock_number(database, "sync_qor IS NOT NULL AND sync_calendar IS NOT NULL",
                        "toUInt64(assumeNotNull(sync_calendar) - assumeNotNull(sync_qor))") +
           " + timestamp * 1000, 1000)";
}

/** A number below 10^digits with all its digits. */
std::string padded(const std::string &number, unsigned digits) {
    return "substring(toString(1" + std::string(digits, '0') + " + " + number + "), 2)";
}

/**
 * In ISO 8601. The engine's own times end before those of the coprocessor's clock do, so that the date is computed from
 * the days since the first of March of the year 0.
 */
std::string wall_time(const std::string &database) {
    const std::string days = "(intDiv(" + wall_microseconds(database) + " AS wall, 86400000000) + 719468 AS wall_days)";
    const std::string day_of_era =
        "(" + days + " - 146097 * (intDiv(wall_days, 146097) AS wall_era) AS wall_day_of_era)";
    const std::string year_of_era = "(intDiv(wall_day_of_era - intDiv(wall_day_of_era, 1460) + "
                                    "intDiv(wall_day_of_era, 36524) - intDiv(wall_day_of_era, 146096), 365)"
                                    " AS wall_year_of_era)";
    const std::string day_of_year = "(" + day_of_era + " - (365 * " + year_of_era +
                                    " + intDiv(wall_year_of_era, 4) - intDiv(wall_year_of_era, 100))"
                                    " AS wall_day_of_year)";
    const std::string month = "(intDiv(5 * " + day_of_year + " + 2, 153) AS wall_month)"; // 0 for March
    return "concat(toString(wall_year_of_era + 400 * wall_era + (" + month + " > 9)), '-', " +
           padded("if(wall_month < 10, wall_month + 3, wall_month - 9)", 2) + ", '-', " +
           padded("wall_day_of_year - intDiv(153 * wall_month + 2, 5) + 1", 2) + ", 'T', " +
           padded("intDiv(wall, 3600000000) % 24", 2) + ", ':', " + padded("intDiv(wall, 60000000) % 60", 2) +
           ", ':', " + padded("intDiv(wall, 1000000) % 60", 2) + ", '.', " + padded("wall % 1000000", 6) +
           ", '+00:00')";
}

// The statements.

std::string boot_timestamp(const std::string &database) {
    return clock_number(database, "boot_timestamp IS NOT NULL", "assumeNotNull(boot_timestamp)");
}

std::string hash_text(std::string_view hash) {
    return "substring(concat('0000000000000000', lower(hex(" + std::string(hash) + "))), -16)";
}

std::string reports_select(const std::string &database) {
    std::string inner;
    const std::vector<DescribedColumn> columns = described_columns(kReportColumns, [&](const Column &column) {
        const std::string name(column.name);
        const auto as = [&name](const std::string &expression) { return expression + " AS " + name; };
        if (name == "category") {
            return as(category_name());
        }
        if (name == "component") {
            return as(component_name());
        }
        if (name == "event") {
            return as(event_name());
        }
        if (name == "type") {
            return as(type_name_of_report());
        }
        if (name == "wall_time") {
            return as(wall_time(database));
        }
        if (name == "boot_timestamp") {
            return as(boot_timestamp(database));
        }
        inner.append(inner.empty() ? "" : ", ").append(name == "dump" ? "dump AS dump_hash" : name);
        return name == "dump" ? as(hash_text("dump_hash")) : name;
    });
    return "SELECT\n" + column_lines(columns) + "FROM\n(\n    SELECT " + inner + "\n    FROM " + database +
           ".reports_data\n    WHERE " + loads_of(newest_marks(database, kHasReports)) + "\n) AS counted";
}

std::string dumps_select(const std::string &database) {
    std::string inner;
    const std::vector<DescribedColumn> columns = described_columns(kDumpColumns, [&](const Column &column) {
        const std::string name(column.name);
        inner.append(inner.empty() ? "" : ", ").append(name == "dump" ? "dump AS dump_hash" : name);
        return name == "dump" ? hash_text("dump_hash") + " AS dump" : name;
    });
    return "SELECT\n" + column_lines(columns) + "FROM\n(\n    SELECT DISTINCT " + inner + "\n    FROM " +
           newest_marks(database, kHasReports) + " AND (kind = 0 OR reports > 0)\n) AS newest";
}

std::string plain_select(std::span<const Column> columns, const std::string &source, const std::string &marks) {
    return "SELECT\n" + column_lines(same_columns(columns)) + "FROM " + source + "\nWHERE " + loads_of(marks);
}

std::string names_select() {
    int place = 0;
    return "SELECT\n" +
           column_lines(described_columns(
               kNameColumns,
               [&place](const Column &column) {
                   const std::string value = "tupleElement(names_row, " + std::to_string(++place) + ")";
                   const std::string cast =
                       column.type == ColumnType::Text ? value : "to" + native_type(column.type) + call("", value);
                   return (column.may_be_null ? "if(" + value + " < 0, NULL, " + cast + ")" : cast) + " AS " +
                          std::string(column.name);
               })) +
           "FROM\n(\n    SELECT arrayJoin([" + name_tuples("-1") + "\n    ]) AS names_row\n) AS listed";
}

/** The columns as the tables of rows have them: the hash of a dump as a number. */
std::vector<DescribedColumn> stored_columns(std::span<const Column> columns) {
    return described_columns(columns, [](const Column &column) {
        return std::string(column.name) + " " + (column.name == "dump" ? "UInt64" : native_type(column));
    });
}

/**
 * A table of rows, each with the number of its insert.
 * @param more  columns that only this engine has.
 */
std::string data_table(const std::string &name, std::span<const Column> columns, std::string_view order,
                       const std::vector<DescribedColumn> &more = {}) {
    std::vector<DescribedColumn> made = stored_columns(columns);
    made.insert(made.end(), more.begin(), more.end());
    made.push_back({"load UInt64", "the number of the insert; the row counts where a mark has it"});
    return "CREATE TABLE IF NOT EXISTS " + name + "\n(\n" + column_lines(made) + ")\nENGINE = MergeTree ORDER BY (" +
           std::string(order) + ")";
}

/** The marks: the columns of `dumps`, and what tells which rows count. */
std::string marks_table(const std::string &database) {
    std::vector<DescribedColumn> made = stored_columns(kDumpColumns);
    made.push_back({"kind UInt8", "0: a dump, 1: a file of records, 2: a store"});
    made.push_back({"taken Int64",
                    "of a store: when it was last written to, or the time given for it, since 1970 (microseconds)"});
    made.push_back({"loads Array(UInt64)", "the numbers of the inserts that have its rows"});
    made.push_back({"version UInt64", "when the mark was written, since 1970; the newest one counts (nanoseconds)"});
    return "CREATE TABLE IF NOT EXISTS " + database + ".dumps_data\n(\n" + column_lines(made) +
           ")\nENGINE = MergeTree ORDER BY (device, dump, version)";
}

/** The columns that rows of reports have: all but the names and what comes from a clock. */
std::vector<Column> stored_report_columns() {
    std::vector<Column> columns;
    std::ranges::copy_if(kReportColumns, std::back_inserter(columns), [](const Column &column) {
        return !column.may_be_null &&
               (column.type != ColumnType::Text || column.name == "device" || column.name == "dump");
    });
    return columns;
}

/** Every value that a label of a device has had. */
std::string labels_table(const std::string &name) {
    std::vector<DescribedColumn> made = stored_columns(kLabelColumns);
    made.back().comment = "a value of the label";
    made.push_back({"version UInt64", "when it was loaded, since 1970; the newest one counts (nanoseconds)"});
    return "CREATE TABLE IF NOT EXISTS " + name + "\n(\n" + column_lines(made) +
           ")\nENGINE = MergeTree ORDER BY (device, key, version)";
}

std::string labels_select(const std::string &source) {
    return "SELECT\n" +
           column_lines(described_columns(kLabelColumns,
                                          [](const Column &column) {
                                              return column.name == "value" ? "argMax(given, version) AS value"
                                                                            : std::string(column.name);
                                          })) +
           "FROM\n(\n    SELECT device, key, value AS given, version\n    FROM " + source +
           "\n) AS every\nGROUP BY device, key";
}

struct View {
    std::string_view name;
    std::string_view meaning;
    std::string select;
};

std::string view_statement(const std::string &name, std::string_view meaning, const std::string &select) {
    return "-- " + std::string(meaning) + "\nCREATE VIEW IF NOT EXISTS " + name + " AS\n" + select;
}

/** @param local  the end of the name of the view that each server has. */
std::string table_over_servers(const ClickHouseSchemaOptions &options, std::string_view view,
                               const std::string &local) {
    const std::string name(view);
    const std::string whole_name = options.database + "." + name;
    return "CREATE TABLE IF NOT EXISTS " + whole_name + " AS " + whole_name + local + "\nENGINE = Distributed(" +
           sql_literal(options.cluster) + ", " + options.database + ", " + name + local + ", sipHash64(device))";
}

} // namespace

std::vector<std::string> clickhouse_statements(const ClickHouseSchemaOptions &options) {
    const std::string &database = options.database;
    const auto in_database = [&database](std::string_view name) { return database + "." + std::string(name); };
    const std::string local = options.cluster.empty() ? "" : "_local";
    const ClickHouseDialect dialect;

    std::vector<View> views{
        {"dumps", table_named("dumps").meaning, dumps_select(database)},
        {"reports", table_named("reports").meaning, reports_select(database)},
        {"scalar", "The scalars of each device's newest analytics store",
         plain_select(kScalarColumns, in_database("scalar_data"), newest_stores(database))},
        {"distribution", "The distributions of each device's newest analytics store: a row for each distinct value",
         plain_select(kDistributionColumns, in_database("distribution_data"), newest_stores(database))},
        {"records", table_named("records").meaning,
         plain_select(kRecordColumns, in_database("records_data"), newest_marks(database, kIsRecord))},
        {kLabelTable.name, kLabelTable.meaning, labels_select(in_database("labels_data"))},
    };
    for (const PayloadView &view : payload_views()) {
        views.push_back({view.name, view.meaning, payload_select(view, in_database("reports" + local), dialect)});
    }

    std::vector<std::string> statements{
        "CREATE DATABASE IF NOT EXISTS " + database,
        data_table(in_database("reports_data"), stored_report_columns(), "device, dump",
                   {{"place UInt64", "where the report is in the dump, from 0, less sequence_num, modulo 2^64"}}),
        marks_table(database),
        data_table(in_database("scalar_data"), kScalarColumns, "device, key"),
        data_table(in_database("distribution_data"), kDistributionColumns, "device, key"),
        data_table(
            in_database("records_data"), kRecordColumns, "device, file",
            {{"raw String", "the bytes of a record without reports in hexadecimal digits; empty for the others"}}),
        labels_table(in_database("labels_data")),
        view_statement(in_database(kNameTable.name), kNameTable.meaning, names_select()),
    };
    for (const View &view : views) {
        const std::string name = in_database(view.name);
        statements.push_back(view_statement(name + local, view.meaning, view.select));
        if (!options.cluster.empty()) {
            statements.push_back(table_over_servers(options, view.name, local));
        }
    }
    return statements;
}

std::string clickhouse_schema(const ClickHouseSchemaOptions &options) {
    std::string text;
    for (const std::string &statement : clickhouse_statements(options)) {
        text += statement + ";\n\n";
    }
    return text;
}

} // namespace cli
