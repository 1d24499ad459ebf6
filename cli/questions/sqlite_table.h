/**
 * Tables that SQLite reads row by row from objects of ours: the seam between its C interface and C++. What SQLite knows
 * of a question that a table can use (conditions on columns, the order that is wanted, which columns are read) comes as
 * a `ScanRequest`.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <sqlite3.h>

#include "cli/questions/query_engine.h"

namespace cli {

enum class Comparison { Equal, Less, LessOrEqual, Greater, GreaterOrEqual };

/** What a column is compared with. */
struct Operand {
    enum class Type { Null, Integer, Real, Text, Bytes };

    Type type = Type::Null; ///< a text that is a number has the type of the number where a number column is compared
    std::int64_t integer = 0;
    double real = 0;
    std::string text{};
};

/** A condition: the column compares so with one of the operands. */
struct ColumnCondition {
    int column;
    Comparison comparison;
    std::vector<Operand> operands; ///< one, or all of a list that follows IN
};

struct OrderTerm {
    int column;
    bool is_descending;
};

/** What a scan is for. The rows that it gives must include all that hold all conditions. */
struct ScanRequest {
    std::vector<ColumnCondition> conditions;
    std::vector<OrderTerm> order; ///< rows come in this order; empty for any
    bool is_distinct;             ///< of rows that are equal in the columns of `order`, one is enough
    std::uint64_t columns;        ///< those that are read, by bit; the highest one stands for all behind it, too
};

/** A condition without its operands, while a question is planned. */
struct PlannedCondition {
    int column;
    Comparison comparison;
};

/** How much a scan is thought to cost. */
struct ScanEstimate {
    double cost; ///< about one for each row that is given
    double rows;
};

/** The rows of a scan. */
class TableCursor {
public:
    TableCursor() = default;
    TableCursor(const TableCursor &) = delete;
    TableCursor &operator=(const TableCursor &) = delete;
    virtual ~TableCursor() = default;

    /** Begins a scan, and goes to its first row. Again for each scan. */
    virtual void start(const ScanRequest &request) = 0;
    virtual void next() = 0;
    /** Gives the value of a column of the current row. */
    virtual void put_column(sqlite3_context *context, int column) = 0;
    /** Of the current row: the same in each scan without an order. */
    virtual std::int64_t row_number() const = 0;

    bool is_at_end() const { return _is_at_end; }

protected:
    bool _is_at_end = true;
};

/** A table. */
class SqliteTable {
public:
    explicit SqliteTable(const QueryTable &description) : _description(description) {}
    SqliteTable(const SqliteTable &) = delete;
    SqliteTable &operator=(const SqliteTable &) = delete;
    virtual ~SqliteTable() = default;

    const QueryTable &description() const { return _description; }

    /**
     * Whether a scan uses such a condition. One on a number column that is compared with a number, or for equality of a
     * text column with a text, must then hold for every row that the scan gives: SQLite does not look again.
     */
    virtual bool uses(const PlannedCondition &condition) const = 0;
    /** Whether a scan can give its rows in this order. @param columns  as `ScanRequest::columns`. */
    virtual bool keeps_order(std::span<const OrderTerm> order, std::uint64_t columns) const;
    virtual ScanEstimate estimate(std::span<const PlannedCondition> conditions) const = 0;
    virtual std::unique_ptr<TableCursor> open() = 0;

private:
    const QueryTable &_description;
};

/** The bit of a column in `ScanRequest::columns`. */
constexpr std::uint64_t column_bit(int column) { return std::uint64_t{1} << (column < 63 ? column : 63); }

/**
 * Makes the table known to the connection under its name, for reading.
 * @param table  outlives the connection.
 * @param error  gets what an object of the table throws; the statement then fails. Outlives the connection.
 */
void add_table(sqlite3 *connection, SqliteTable &table, std::exception_ptr &error);

/** A number; as a decimal text above 2^63 - 1. */
void put_unsigned(sqlite3_context *context, std::uint64_t number);
/** @param text  is copied. */
void put_text(sqlite3_context *context, std::string_view text);
/** @param text  stays as it is until the connection is closed. */
void put_lasting_text(sqlite3_context *context, std::string_view text);

/** Whether the condition can hold for a text; SQLite looks again where it is compared with a number. */
bool may_hold(const ColumnCondition &condition, std::string_view text);

} // namespace cli
