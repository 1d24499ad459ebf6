/** Parquet files: https://parquet.apache.org/docs/file-format/. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/questions/column_block.h"

namespace cli {

/** Takes the next bytes of a file. May throw. */
using ByteSink = std::function<void(std::string_view)>;

/**
 * Writes a Parquet file: typed columns, each chunk in the encoding that makes it shortest, in pages packed with zstd,
 * with the least and the greatest value of each chunk. It keeps about 2 KB for each row group until the end. One thread
 * at a time.
 */
class ParquetFile {
public:
    /** @param table  its name. */
    ParquetFile(std::string_view table, std::vector<Column> columns, ByteSink sink);
    ~ParquetFile();

    /**
     * Writes the rows of a block as a row group. Readers work best with many rows in each.
     * @param block  has the columns given above, and rows.
     * @throws host::Error for texts of 2 GiB and more; what the sink throws.
     */
    void write(const ColumnBlock &block);

    /** Writes what a reader begins with. Without it the file is none. Call nothing after it. */
    void finish();

private:
    struct Packer;

    void put(std::string_view bytes);

    std::string _table;
    std::vector<Column> _columns;
    ByteSink _sink;
    std::unique_ptr<Packer> _packer;
    std::uint64_t _offset = 0;
    std::uint64_t _rows = 0;
    std::size_t _group_count = 0;
    std::string _groups; ///< their descriptions for the end
};

} // namespace cli
