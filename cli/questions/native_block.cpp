#include "cli/questions/native_block.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <utility>
#include <variant>

#include "cli/questions/varint.h"

namespace cli {
namespace {

// The format has the numbers of a column end to end, as this machine has them.
static_assert(std::endian::native == std::endian::little);

void append_text(std::string &out, std::string_view text) {
    append_varint(out, text.size());
    out += text;
}

/** Appends `unit` `times` times, twice as much with each copy. */
void append_repeated(std::string &out, std::string_view unit, std::size_t times) {
    const std::size_t start = out.size();
    out.resize(start + unit.size() * times);
    char *const first = out.data() + start;
    std::size_t done = std::min(unit.size(), out.size() - start);
    std::copy_n(unit.data(), done, first);
    while (start + done < out.size()) {
        const std::size_t next = std::min(done, out.size() - start - done);
        std::copy_n(first, next, first + done);
        done += next;
    }
}

/** A byte for each row of nullable texts: 1 for null. */
std::string nulls_of(const std::vector<TextRun> &runs) {
    std::string nulls;
    for (const TextRun &run : runs) {
        nulls.append(run.rows, run.text ? '\0' : '\1');
    }
    return nulls;
}

std::string bytes_of(const std::vector<TextRun> &runs) {
    std::string bytes;
    for (const TextRun &run : runs) {
        std::string value;
        append_text(value, run.text ? std::string_view(*run.text) : std::string_view());
        append_repeated(bytes, value, run.rows);
    }
    return bytes;
}

template <typename Number>
std::string_view bytes_of(std::span<const Number> numbers) {
    return {reinterpret_cast<const char *>(numbers.data()), numbers.size_bytes()};
}

} // namespace

std::string native_type(ColumnType type) {
    switch (type) {
    case ColumnType::Text:
        return "String";
    case ColumnType::Unsigned8:
        return "UInt8";
    case ColumnType::Unsigned16:
        return "UInt16";
    case ColumnType::Unsigned32:
        return "UInt32";
    case ColumnType::Unsigned64:
        return "UInt64";
    case ColumnType::Signed8:
        return "Int8";
    case ColumnType::Signed32:
        return "Int32";
    case ColumnType::Signed64:
        return "Int64";
    case ColumnType::Real:
        break;
    }
    return "Float64";
}

std::string native_type(const Column &column) {
    const std::string type = native_type(column.type);
    return column.may_be_null ? "Nullable(" + type + ")" : type;
}

NativeBlock::NativeBlock(const ColumnBlock &block) {
    std::string start;
    append_varint(start, block.columns().size());
    append_varint(start, block.rows());
    add(std::move(start));
    for (std::size_t column = 0; column < block.columns().size(); ++column) {
        add_column(block, column);
    }
}

void NativeBlock::add_column(const ColumnBlock &block, std::size_t column) {
    const Column &described = block.columns()[column];
    const auto *const texts = std::get_if<std::vector<TextRun>>(&block.values(column));
    std::string start;
    append_text(start, described.name);
    append_text(start, native_type(described));
    if (described.may_be_null && texts != nullptr) {
        start += nulls_of(*texts);
    } else if (described.may_be_null) {
        const std::span<const std::uint8_t> nulls = block.nulls(column);
        start += nulls.empty() ? std::string(block.rows(), '\0') : std::string(bytes_of(nulls));
    }
    add(std::move(start));
    if (texts != nullptr) {
        add(bytes_of(*texts));
        return;
    }
    std::visit(
        [this]<typename Value>(const std::vector<Value> &values) {
            if constexpr (!std::is_same_v<Value, TextRun>) {
                _pieces.push_back(bytes_of(std::span<const Value>(values)));
            }
        },
        block.values(column));
}

void NativeBlock::add(std::string bytes) {
    _made.push_back(std::make_unique<const std::string>(std::move(bytes)));
    _pieces.push_back(*_made.back());
}

} // namespace cli
