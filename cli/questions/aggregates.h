/** Aggregate functions of SQL that questions need beside those of SQLite. */
#pragma once

struct sqlite3;

namespace cli {

/**
 * Adds these functions to a connection:
 *
 *  - `quantile(value, p)`: the quantile by nearest rank, which is the smallest of the values that at least `p` of all
 *    values do not exceed, as in the percentiles of `statistics_of`; for 0 the smallest of all. `p` is from 0 to 1, the
 *    same in every row, and taken for the decimal number that it is written as. Exact for every value and count.
 *  - `quantile(value, p, count)`: the same where each value counts `count` times.
 *  - `histogram_text(value)`, `histogram_text(value, count)`: `kBars` bars, as `bars_text` draws them, for equal parts
 * of the range from the smallest to the greatest finite value.
 *
 * Values are INTEGER, REAL, or text that is a whole number from 0 to 2^64 - 1 in decimal; a quantile is one of them and
 * has its type. Counts are INTEGER, 0 or more. Rows where the value or the count is NULL are left out, and the result
 * is NULL when no row is left. Anything else is an error of the statement. Memory is SQLite's, so that its limits hold,
 * and grows with the number of distinct values. None of them is a window function.
 *
 * @param shows_blocks  as of `bars_text`.
 */
void register_aggregates(sqlite3 *database, bool shows_blocks = true);

} // namespace cli
