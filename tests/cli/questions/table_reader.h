/** Reads what exports write, by the formats' descriptions alone and more strictly than any engine. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "cli/questions/column_block.h"

namespace cli_tests {

/** The bytes are not what the format demands. */
struct MalformedTable : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct ReadColumn {
    std::string name;
    std::string type;                   ///< as ClickHouse calls it: "Nullable(UInt64)"
    std::vector<std::uint8_t> nulls;    ///< of each row: 1 for a null
    std::vector<std::uint64_t> numbers; ///< of each row: the bits, with the sign extended; 0 for a null and for texts
    std::vector<std::string> texts;     ///< of each row; empty for numbers

    friend bool operator==(const ReadColumn &, const ReadColumn &) = default;
};

struct ReadTable {
    std::vector<ReadColumn> columns;
    std::vector<std::size_t> parts; ///< the rows of each block or row group
};

/** @throws MalformedTable. */
ReadTable read_native(std::string_view bytes);
/** Checks limits, sizes and places as well. @throws MalformedTable. */
ReadTable read_parquet(std::string_view bytes);

/** Adds what a block has, as a reader should find it. @param columns  empty, or of such a block. */
void add_expected(std::vector<ReadColumn> &columns, const cli::ColumnBlock &block);

} // namespace cli_tests
