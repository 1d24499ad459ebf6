/** The views of payloads in SQL: the fields as expressions over the words of the payload, and their conditions. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "cli/questions/payload_views.h"

namespace cli {

/**
 * The regular expression of texts in lower-case hexadecimal that are UTF-8: no overlong forms, no surrogates, at most
 * U+10FFFF. For engines that have no such check, or one that says something else.
 */
inline constexpr std::string_view kUtf8InHex =
    "([0-7].|(c[2-9a-f]|d.)[89ab].|e0[ab].[89ab].|e[1-9a-cef]([89ab].){2}|ed[89].[89ab].|f0[9ab].([89ab].){2}|"
    "f[1-3]([89ab].){3}|f48.([89ab].){2})*";

/** How an engine writes what the fields are made of. Expressions may stand as operands of anything. */
class SqlDialect {
public:
    SqlDialect() = default;
    virtual ~SqlDialect() = default;
    SqlDialect(const SqlDialect &) = delete;
    SqlDialect &operator=(const SqlDialect &) = delete;

    /** A word without its lowest bits. @param shift  at least 1. */
    virtual std::string shifted_right(const std::string &word, unsigned shift) const = 0;

    /** The bits of a number that are set in `mask`. */
    virtual std::string masked(const std::string &number, std::uint32_t mask) const = 0;

    /** `low` and, `shift` bits higher, `high`, in 64 bits. They have no bit in common. */
    virtual std::string join_bits(const std::string &low, const std::string &high, unsigned shift) const = 0;

    /** The number as a type of integers that has room for it. */
    virtual std::string cast(const std::string &number, ColumnType type) const = 0;

    /** The unsigned number of `bits` bits as two's complement. */
    virtual std::string as_signed(const std::string &number, unsigned bits) const = 0;

    /** Bytes in lower-case hexadecimal. @param first  in the payload. @param count  an expression. */
    virtual std::string hex_of_bytes(unsigned first, const std::string &count) const = 0;

    /** The least of two numbers. */
    virtual std::string least(const std::string &a, const std::string &b) const = 0;

    /** The bytes up to the first zero byte as a text; null where they are not UTF-8. */
    virtual std::string text(unsigned first, unsigned size) const = 0;

    /** The same bytes in lower-case hexadecimal; null where they are UTF-8. */
    virtual std::string hex_of_text(unsigned first, unsigned size) const = 0;

    /** The name of the subject of a trace, by the report's component; the number in decimal where it has none. */
    virtual std::string subject(const std::string &number) const = 0;
};

/** The value of a column as an expression over `w0` to `w7` and `component_id`. */
std::string sql_of(const ViewColumn &column, const SqlDialect &dialect);

/** When a report is in the view: an expression over the ids and `w0`, the same in every engine. */
std::string conditions_sql(const PayloadView &view);

/** A text between apostrophes, as a literal. @param text  for ClickHouse without backslashes; see `text_literal`
 * otherwise.
 */
std::string sql_literal(std::string_view text);

/** What a column means, with its unit where it is stated: for a comment. One line. */
std::string described(std::string_view meaning, std::string_view unit);

} // namespace cli
