/** Blocks in ClickHouse's Native format, which its files and its HTTP interface take. */
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cli/questions/column_block.h"

namespace cli {

/** The name of a type in ClickHouse, such as "UInt32". */
std::string native_type(ColumnType type);

/** The same for a column: also "Nullable(String)". */
std::string native_type(const Column &column);

/**
 * The bytes of a block, in pieces to be sent one after another. Numbers are not copied: the pieces are valid while the
 * column block lives unchanged, and this object. A format without a header or an end: a file is any number of blocks.
 */
class NativeBlock {
public:
    explicit NativeBlock(const ColumnBlock &block);

    const std::vector<std::string_view> &pieces() const { return _pieces; }

private:
    void add_column(const ColumnBlock &block, std::size_t column);
    void add(std::string bytes);

    std::vector<std::unique_ptr<const std::string>> _made;
    std::vector<std::string_view> _pieces;
};

} // namespace cli
