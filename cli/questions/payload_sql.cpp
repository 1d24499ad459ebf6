#include "cli/questions/payload_sql.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <vector>

namespace cli {
namespace {

using qor::How;

constexpr unsigned kBitsOfWord = 32;

std::string word(unsigned number) { return "w" + std::to_string(number); }

/** Of what a word has behind its lowest `shift` bits, the lowest `bits`. Together they are not more than a word has. */
std::string bits_of(const std::string &word, unsigned shift, unsigned bits, const SqlDialect &dialect) {
    const std::string rest = shift == 0 ? word : dialect.shifted_right(word, shift);
    return shift + bits == kBitsOfWord ? rest : dialect.masked(rest, (std::uint32_t{1} << bits) - 1);
}

/** The unsigned number of `bits` bits whose lowest is at `first`, counted from the start of the payload. */
std::string number_at(unsigned first, unsigned bits, const SqlDialect &dialect) {
    std::string number;
    for (unsigned done = 0; done < bits;) {
        const unsigned shift = (first + done) % kBitsOfWord;
        const unsigned count = std::min(bits - done, kBitsOfWord - shift);
        const std::string part = bits_of(word((first + done) / kBitsOfWord), shift, count, dialect);
        number = done == 0 ? part : dialect.join_bits(number, part, done);
        done += count;
    }
    return number;
}

std::string number_in(const qor::Field &field, const SqlDialect &dialect) {
    return number_at(8 * (field.offset - static_cast<unsigned>(qor::kPayloadOffset)), 8u * field.size, dialect);
}

std::string counted_bytes(const qor::Field &field, unsigned first, const SqlDialect &dialect) {
    const unsigned count_at = field.parameter - static_cast<unsigned>(qor::kPayloadOffset);
    return dialect.hex_of_bytes(
        first, dialect.least(number_at(8 * count_at, 16, dialect), std::to_string(unsigned{field.size})));
}

std::string id_condition(const ReportCondition &condition) {
    struct Id {
        std::string_view name;
        unsigned shift;
    };
    static constexpr std::array<Id, 4> kIds{
        {{"category_id", 24}, {"component_id", 16}, {"event_id", 8}, {"type_id", 0}}};
    std::string text;
    const auto add = [&text](std::string_view operand, std::uint32_t number) {
        text.append(text.empty() ? "" : " AND ").append(operand).append(" = ").append(std::to_string(number));
    };
    for (const Id &id : kIds) {
        if (((condition.mask >> id.shift) & 0xFF) != 0) {
            add(id.name, (condition.header >> id.shift) & 0xFF);
        }
    }
    if (condition.version != qor::kAnyVersion) {
        add("w0 % 65536", static_cast<std::uint32_t>(condition.version));
    }
    return text;
}

} // namespace

std::string sql_of(const ViewColumn &column, const SqlDialect &dialect) {
    const qor::Field &field = *column.field;
    const auto first = static_cast<unsigned>(field.offset - qor::kPayloadOffset);
    switch (field.how) {
    case How::Number:
    case How::Hexadecimal:
        return dialect.cast(number_in(field, dialect), column.type);
    case How::Signed:
        return dialect.cast(dialect.as_signed(number_in(field, dialect), 8u * field.size), column.type);
    case How::Constant:
        return dialect.cast(std::to_string(unsigned{field.parameter}), column.type);
    case How::FixedPoint:
        return dialect.as_signed(number_in(field, dialect), 8u * field.size) + " / " +
               std::to_string(std::uint64_t{1} << field.parameter);
    case How::Text:
        return column.is_hex_of_text ? dialect.hex_of_text(first, field.size) : dialect.text(first, field.size);
    case How::Bytes:
        return dialect.hex_of_bytes(first, std::to_string(unsigned{field.size}));
    case How::CountedBytes:
        return counted_bytes(field, first, dialect);
    case How::Subject:
        return dialect.subject(number_in(field, dialect));
    }
    throw std::logic_error("a field of unknown kind");
}

std::string conditions_sql(const PayloadView &view) {
    std::string text;
    for (const ViewCondition &condition : view.conditions) {
        std::string term = id_condition(condition.holds);
        for (const ReportCondition &exception : condition.unless) {
            term.append(" AND NOT (").append(id_condition(exception)).append(")");
        }
        if (view.conditions.size() > 1) {
            term.insert(0, "(").append(")");
        }
        text.append(text.empty() ? "" : " OR ").append(term);
    }
    return text;
}

std::string sql_literal(std::string_view text) {
    std::string literal = "'";
    for (const char c : text) {
        literal.append(c == '\'' ? 2 : 1, c);
    }
    return literal + "'";
}

std::string described(std::string_view meaning, std::string_view unit) {
    std::string text(meaning);
    if (unit != qor::kNoUnit && unit != qor::kNotStated) {
        text.append(" (").append(unit).append(")");
    }
    return text;
}

} // namespace cli
