#include "cli/questions/sqlite_table.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <new>
#include <optional>
#include <sstream>

namespace cli {
namespace {

/** What SQLite hands to the functions of a module. */
struct ModuleData {
    SqliteTable &table;
    std::exception_ptr &error;
};

struct ConnectedTable {
    sqlite3_vtab base; ///< SQLite's own part, which comes first
    ModuleData *data;
};

struct OpenCursor {
    sqlite3_vtab_cursor base; ///< the same
    std::unique_ptr<TableCursor> rows;
};

ConnectedTable &table_of(sqlite3_vtab *base) { return *reinterpret_cast<ConnectedTable *>(base); }

OpenCursor &cursor_of(sqlite3_vtab_cursor *base) { return *reinterpret_cast<OpenCursor *>(base); }

/** SQLite is C: no exception may pass through it. */
template <typename Work>
int guard(std::exception_ptr &error, const Work &work) {
    try {
        work();
        return SQLITE_OK;
    } catch (const std::bad_alloc &) {
        return SQLITE_NOMEM;
    } catch (...) {
        error = std::current_exception();
        return SQLITE_ERROR;
    }
}

template <typename Work>
int guard(sqlite3_vtab_cursor *cursor, const Work &work) {
    return guard(table_of(cursor->pVtab).data->error, work);
}

bool is_text(const QueryTable &table, int column) {
    return table.columns[static_cast<std::size_t>(column)].type == ColumnType::Text;
}

// ---- the plan of a scan, as SQLite keeps it between planning and running

struct PlannedArgument {
    PlannedCondition condition;
    bool is_list;
};

struct ScanPlan {
    std::vector<PlannedArgument> arguments;
    std::vector<OrderTerm> order;
    bool is_distinct = false;
    std::uint64_t columns = 0;

    std::string text() const {
        std::ostringstream out;
        out << columns << ' ' << is_distinct << ' ' << arguments.size();
        for (const PlannedArgument &argument : arguments) {
            out << ' ' << argument.condition.column << ' ' << static_cast<int>(argument.condition.comparison) << ' '
                << argument.is_list;
        }
        out << ' ' << order.size();
        for (const OrderTerm &term : order) {
            out << ' ' << term.column << ' ' << term.is_descending;
        }
        return out.str();
    }

    static ScanPlan parse(const char *text) {
        std::istringstream in(text);
        ScanPlan plan;
        std::size_t count = 0;
        in >> plan.columns >> plan.is_distinct >> count;
        for (; count != 0; --count) {
            PlannedArgument argument{};
            int comparison = 0;
            in >> argument.condition.column >> comparison >> argument.is_list;
            argument.condition.comparison = static_cast<Comparison>(comparison);
            plan.arguments.push_back(argument);
        }
        in >> count;
        for (; count != 0; --count) {
            OrderTerm term{};
            in >> term.column >> term.is_descending;
            plan.order.push_back(term);
        }
        return plan;
    }
};

std::optional<Comparison> comparison_of(unsigned char operation) {
    switch (operation) {
    case SQLITE_INDEX_CONSTRAINT_EQ:
        return Comparison::Equal;
    case SQLITE_INDEX_CONSTRAINT_LT:
        return Comparison::Less;
    case SQLITE_INDEX_CONSTRAINT_LE:
        return Comparison::LessOrEqual;
    case SQLITE_INDEX_CONSTRAINT_GT:
        return Comparison::Greater;
    case SQLITE_INDEX_CONSTRAINT_GE:
        return Comparison::GreaterOrEqual;
    default:
        return std::nullopt;
    }
}

/**
 * SQLite does not say that a row's number is read, unless it is a column: so each of its names is one, a hidden one
 * behind those of the table.
 */
constexpr std::string_view kRowNumbers[] = {"rowid", "_rowid_", "oid"};

int first_row_number(const QueryTable &table) { return static_cast<int>(table.columns.size()); }

bool reads_row_number(const QueryTable &table, std::uint64_t columns) {
    std::uint64_t bits = 0;
    for (int i = 0; i < static_cast<int>(std::size(kRowNumbers)); ++i) {
        bits |= column_bit(first_row_number(table) + i);
    }
    return (columns & bits) != 0;
}

/** Whether the scan alone decides about the condition: what it is compared with is known, and of the usual type. */
bool is_decided(const QueryTable &table, const PlannedCondition &condition, sqlite3_value *operand) {
    if (operand == nullptr) {
        return false;
    }
    const int type = sqlite3_value_type(operand);
    return is_text(table, condition.column) ? type == SQLITE_TEXT && condition.comparison == Comparison::Equal
                                            : type == SQLITE_INTEGER || type == SQLITE_FLOAT;
}

void plan_conditions(const SqliteTable &table, sqlite3_index_info &info, ScanPlan &plan) {
    for (int i = 0; i < info.nConstraint; ++i) {
        const auto &constraint = info.aConstraint[i];
        const std::optional<Comparison> comparison = comparison_of(constraint.op);
        const bool is_of_table = 0 <= constraint.iColumn && constraint.iColumn < first_row_number(table.description());
        if (constraint.usable == 0 || !is_of_table || !comparison) {
            continue;
        }
        const PlannedCondition condition{constraint.iColumn, *comparison};
        const bool has_plain_order = std::string_view(sqlite3_vtab_collation(&info, i)) == "BINARY";
        if (!has_plain_order || !table.uses(condition)) {
            continue;
        }
        const bool is_list = sqlite3_vtab_in(&info, i, 1) != 0;
        plan.arguments.push_back({condition, is_list});
        sqlite3_value *operand = nullptr;
        sqlite3_vtab_rhs_value(&info, i, &operand);
        info.aConstraintUsage[i].argvIndex = static_cast<int>(plan.arguments.size());
        info.aConstraintUsage[i].omit = !is_list && is_decided(table.description(), condition, operand) ? 1 : 0;
    }
}

void plan_order(const SqliteTable &table, sqlite3_index_info &info, ScanPlan &plan) {
    if (reads_row_number(table.description(), info.colUsed)) {
        return; // in an order, rows have other numbers
    }
    std::vector<OrderTerm> order;
    for (int i = 0; i < info.nOrderBy; ++i) {
        if (info.aOrderBy[i].iColumn < 0) {
            return;
        }
        order.push_back({info.aOrderBy[i].iColumn, info.aOrderBy[i].desc != 0});
    }
    if (!order.empty() && table.keeps_order(order, info.colUsed)) {
        plan.order = order;
        plan.is_distinct = sqlite3_vtab_distinct(&info) >= 2;
        info.orderByConsumed = 1;
    }
}

int plan_scan(sqlite3_vtab *base, sqlite3_index_info *info) {
    const ConnectedTable &connected = table_of(base);
    return guard(connected.data->error, [&] {
        const SqliteTable &table = connected.data->table;
        ScanPlan plan;
        plan.columns = info->colUsed;
        plan_conditions(table, *info, plan);
        plan_order(table, *info, plan);
        std::vector<PlannedCondition> conditions;
        for (const PlannedArgument &argument : plan.arguments) {
            conditions.push_back(argument.condition);
        }
        const ScanEstimate estimate = table.estimate(conditions);
        info->estimatedCost = estimate.cost;
        info->estimatedRows = static_cast<sqlite3_int64>(estimate.rows);
        info->idxStr = sqlite3_mprintf("%s", plan.text().c_str());
        info->needToFreeIdxStr = 1;
        if (info->idxStr == nullptr) {
            throw std::bad_alloc();
        }
    });
}

/** @param is_number  of the column: a text is then compared as the number that it may be. */
Operand operand_of(sqlite3_value *value, bool is_number) {
    switch (is_number ? sqlite3_value_numeric_type(value) : sqlite3_value_type(value)) {
    case SQLITE_INTEGER:
        return {.type = Operand::Type::Integer, .integer = sqlite3_value_int64(value)};
    case SQLITE_FLOAT:
        return {.type = Operand::Type::Real, .real = sqlite3_value_double(value)};
    case SQLITE_TEXT: {
        const void *const text = sqlite3_value_text(value);
        const auto size = static_cast<std::size_t>(sqlite3_value_bytes(value));
        return {.type = Operand::Type::Text, .text = std::string(static_cast<const char *>(text), size)};
    }
    case SQLITE_BLOB:
        return {.type = Operand::Type::Bytes};
    default:
        return {};
    }
}

int start_scan(sqlite3_vtab_cursor *base, int, const char *plan_text, int count, sqlite3_value **values) {
    return guard(base, [&] {
        const QueryTable &table = table_of(base->pVtab).data->table.description();
        ScanPlan plan = ScanPlan::parse(plan_text);
        ScanRequest request{{}, std::move(plan.order), plan.is_distinct, plan.columns};
        for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
            const PlannedArgument &argument = plan.arguments[i];
            const bool is_number = !is_text(table, argument.condition.column);
            ColumnCondition condition{argument.condition.column, argument.condition.comparison, {}};
            if (!argument.is_list) {
                condition.operands.push_back(operand_of(values[i], is_number));
            } else {
                sqlite3_value *value = nullptr;
                int code = sqlite3_vtab_in_first(values[i], &value);
                for (; code == SQLITE_OK; code = sqlite3_vtab_in_next(values[i], &value)) {
                    condition.operands.push_back(operand_of(value, is_number));
                }
                if (code != SQLITE_DONE) {
                    throw std::bad_alloc(); // the values that are left would be taken for none
                }
            }
            request.conditions.push_back(std::move(condition));
        }
        cursor_of(base).rows->start(request);
    });
}

// ---- the module

std::string declaration_of(const QueryTable &table) {
    std::string sql = "CREATE TABLE x(";
    for (const QueryTable::Column &column : table.columns) {
        sql += (sql.back() == '(' ? "\"" : ", \"") + column.name + "\" " + std::string(sqlite_type(column.type));
    }
    for (const std::string_view name : kRowNumbers) {
        sql.append(", \"").append(name).append("\" INTEGER HIDDEN");
    }
    return sql + ")";
}

int connect(sqlite3 *connection, void *data, int, const char *const *, sqlite3_vtab **made, char **) {
    auto *const module_data = static_cast<ModuleData *>(data);
    return guard(module_data->error, [&] {
        if (sqlite3_declare_vtab(connection, declaration_of(module_data->table.description()).c_str()) != SQLITE_OK) {
            throw std::bad_alloc();
        }
        *made = &std::make_unique<ConnectedTable>(ConnectedTable{{}, module_data}).release()->base;
    });
}

int disconnect(sqlite3_vtab *base) {
    const std::unique_ptr<ConnectedTable> table(&table_of(base));
    return SQLITE_OK;
}

int open_cursor(sqlite3_vtab *base, sqlite3_vtab_cursor **made) {
    return guard(table_of(base).data->error, [&] {
        auto cursor = std::make_unique<OpenCursor>(OpenCursor{{}, table_of(base).data->table.open()});
        *made = &cursor.release()->base;
    });
}

int close_cursor(sqlite3_vtab_cursor *base) {
    const std::unique_ptr<OpenCursor> cursor(&cursor_of(base));
    return SQLITE_OK;
}

int go_to_next(sqlite3_vtab_cursor *base) {
    return guard(base, [base] { cursor_of(base).rows->next(); });
}

int is_at_end(sqlite3_vtab_cursor *base) { return cursor_of(base).rows->is_at_end() ? 1 : 0; }

int put_column_of_row(sqlite3_vtab_cursor *base, sqlite3_context *context, int column) {
    return guard(base, [&] {
        TableCursor &rows = *cursor_of(base).rows;
        if (column < first_row_number(table_of(base->pVtab).data->table.description())) [[likely]] {
            rows.put_column(context, column);
        } else {
            sqlite3_result_int64(context, rows.row_number());
        }
    });
}

int put_row_number(sqlite3_vtab_cursor *base, sqlite3_int64 *number) {
    *number = cursor_of(base).rows->row_number();
    return SQLITE_OK;
}

/** Without a function that creates a table, its only instance has the module's name and needs no schema. */
constexpr sqlite3_module kModule = [] {
    sqlite3_module module{};
    module.xConnect = connect;
    module.xBestIndex = plan_scan;
    module.xDisconnect = disconnect;
    module.xOpen = open_cursor;
    module.xClose = close_cursor;
    module.xFilter = start_scan;
    module.xNext = go_to_next;
    module.xEof = is_at_end;
    module.xColumn = put_column_of_row;
    module.xRowid = put_row_number;
    return module;
}();

} // namespace

bool SqliteTable::keeps_order(std::span<const OrderTerm>, std::uint64_t) const { return false; }

void add_table(sqlite3 *connection, SqliteTable &table, std::exception_ptr &error) {
    auto data = std::make_unique<ModuleData>(ModuleData{table, error});
    const int code = sqlite3_create_module_v2(
        connection, table.description().name.c_str(), &kModule, data.release(),
        [](void *owned) { const std::unique_ptr<ModuleData> freed(static_cast<ModuleData *>(owned)); });
    if (code != SQLITE_OK) {
        throw std::bad_alloc();
    }
}

void put_unsigned(sqlite3_context *context, std::uint64_t number) {
    if (number <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) [[likely]] {
        sqlite3_result_int64(context, static_cast<sqlite3_int64>(number));
    } else {
        put_text(context, std::to_string(number));
    }
}

void put_text(sqlite3_context *context, std::string_view text) {
    sqlite3_result_text64(context, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

void put_lasting_text(sqlite3_context *context, std::string_view text) {
    sqlite3_result_text64(context, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

bool may_hold(const ColumnCondition &condition, std::string_view text) {
    return std::ranges::any_of(condition.operands, [text](const Operand &operand) {
        switch (operand.type) {
        case Operand::Type::Text:
            return operand.text == text;
        case Operand::Type::Integer:
        case Operand::Type::Real:
            return true;
        default:
            return false;
        }
    });
}

} // namespace cli
