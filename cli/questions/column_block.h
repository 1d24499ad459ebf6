/** Rows of a table as columns: what exports and loads are made of. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "cli/questions/tables.h"
#include "qor/report.h"

namespace cli {

/** Rows that follow one another and have the same text. */
struct TextRun {
    std::optional<std::string> text; ///< UTF-8; nothing: null
    std::size_t rows;                ///< above zero
};

/** The values of a column, in the order of the rows. A null has the value 0 in a column of numbers. */
using ColumnValues = std::variant<std::vector<TextRun>, std::vector<std::uint8_t>, std::vector<std::uint16_t>,
                                  std::vector<std::uint32_t>, std::vector<std::uint64_t>, std::vector<std::int8_t>,
                                  std::vector<std::int32_t>, std::vector<std::int64_t>, std::vector<double>>;

/** Rows of one table. Whoever adds rows adds to every column. One thread at a time. */
class ColumnBlock {
public:
    explicit ColumnBlock(std::vector<Column> columns);

    const std::vector<Column> &columns() const { return _columns; }
    std::size_t rows() const { return _stored.front().rows; }
    bool empty() const { return rows() == 0; }
    const ColumnValues &values(std::size_t column) const { return _stored[column].values; }
    /** 1 for each null and 0 for each value; empty for a column of texts, and when nothing is null. */
    std::span<const std::uint8_t> nulls(std::size_t column) const { return _stored[column].nulls; }
    /** The bytes that the texts of all rows have taken so far, repetitions in a run aside. */
    std::size_t text_bytes() const { return _text_bytes; }

    /** Adds the same text for rows. @param text  nothing: null. */
    void add_text(std::size_t column, std::optional<std::string_view> text, std::size_t rows = 1);

    /** Adds the same number for rows. The number has the column's type. */
    template <typename Number>
    void add_number(std::size_t column, Number number, std::size_t rows = 1) {
        Stored &stored = _stored[column];
        auto &values = std::get<std::vector<Number>>(stored.values);
        values.resize(values.size() + rows, number);
        stored.add_nulls(rows, 0);
    }

    /** The same for a number that may be null. */
    template <typename Number>
    void add_number(std::size_t column, std::optional<Number> number) {
        add_number(column, number.value_or(0));
        if (!number) {
            _stored[column].note_null();
        }
    }

    /**
     * Adds reports to the columns from `first` on, which are those of `report_numbers`. All other columns have to be
     * given as many rows.
     */
    void add_reports(std::size_t first, std::span<const _QorProfileReport> reports);

    /** Makes room for so many rows in all columns of numbers, so that they need not grow. */
    void reserve(std::size_t rows);

    /** Removes all rows, and keeps the room. */
    void clear();

    /** Removes the values of a column of numbers, which has to be given as many rows again. Not the first column. */
    void clear_column(std::size_t column);

private:
    struct Stored {
        ColumnValues values;
        std::vector<std::uint8_t> nulls;
        std::size_t rows = 0;

        void add_nulls(std::size_t count, std::uint8_t is_null) {
            rows += count;
            if (!nulls.empty()) {
                nulls.resize(rows, is_null);
            }
        }
        /** The last row is a null. */
        void note_null() {
            nulls.resize(rows, 0);
            nulls.back() = 1;
        }
    };

    std::vector<Column> _columns;
    std::vector<Stored> _stored; ///< of each column
    std::size_t _text_bytes = 0;
};

/** The columns of `reports` that a report has by itself: its ids, number, time stamp and words, as numbers. */
std::vector<Column> report_numbers();

/** The columns of a table that are exported. Of `reports` those are `device`, `dump` and `report_numbers`. */
std::vector<Column> exported_columns(const Table &table);

} // namespace cli
