// Reads any bytes as a dump, a store or records, and writes their rows in both formats of an export. What a reader that
// knows the formats alone finds in them is what the rows were, and every text is UTF-8; of a dump it is what stands in
// its bytes.

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/inputs/byte_stream.h"
#include "cli/questions/column_block.h"
#include "cli/questions/native_block.h"
#include "cli/questions/parquet_file.h"
#include "cli/questions/table_rows.h"
#include "cli/questions/tables.h"
#include "cli/recordings/recordings.h"
#include "cli/records/json.h"
#include "fuzz/input.h"
#include "fuzz/store_folder.h"
#include "host/error.h"
#include "host/state_records.h"
#include "host/utf8.h"
#include "tests/cli/questions/table_reader.h"

namespace {

using cli_tests::ReadColumn;
using cli_tests::ReadTable;
using fuzz::require;

/** Both formats of one table, and what they should hold. */
class Exports {
public:
    Exports(const cli::Table &table, std::size_t part)
        : _block(cli::exported_columns(table)), _part(part),
          _parquet(table.name, _block.columns(), [this](std::string_view bytes) { _parquet_bytes += bytes; }) {
        add_expected(_expected, _block);
    }
    Exports(const Exports &) = delete;
    Exports &operator=(const Exports &) = delete;

    cli::ColumnBlock &block() { return _block; }
    std::size_t part() const { return _part; }

    void write_when_full() {
        if (_block.rows() >= _part) {
            write();
        }
    }

    void write() {
        if (_block.empty()) {
            return;
        }
        const cli::NativeBlock native(_block);
        for (const std::string_view piece : native.pieces()) {
            _native_bytes += piece;
        }
        _parquet.write(_block);
        add_expected(_expected, _block);
        _parts.push_back(_block.rows());
        _block.clear();
    }

    /** @return the columns. */
    const std::vector<ReadColumn> &check() {
        write();
        _parquet.finish();
        const ReadTable parquet = cli_tests::read_parquet(_parquet_bytes);
        require(parquet.columns == _expected, "Parquet has every value");
        require(parquet.parts == _parts, "Parquet has a row group for each block");
        const ReadTable native = cli_tests::read_native(_native_bytes);
        require(_parts.empty() || native.columns == _expected, "blocks have every value");
        require(native.parts == _parts, "blocks follow one another");
        for (const ReadColumn &column : _expected) {
            for (const std::string &text : column.texts) {
                require(host::is_utf8(text), "texts are UTF-8", column.name);
            }
        }
        return _expected;
    }

private:
    cli::ColumnBlock _block;
    std::size_t _part; ///< rows
    std::string _native_bytes;
    std::string _parquet_bytes;
    cli::ParquetFile _parquet;
    std::vector<ReadColumn> _expected;
    std::vector<std::size_t> _parts;
};

void export_reports(const cli::Recording &recording, Exports &exports) {
    cli::ReportPass pass(recording);
    while (const std::optional<cli::ReportPiece> piece = pass.next()) {
        for (std::size_t first = 0; first < piece->count(); first += exports.part()) {
            const std::size_t count = std::min(exports.part(), piece->count() - first);
            add_reports(exports.block(), recording, 0x0123'4567'89AB'CDEF, piece->reports.subspan(first, count));
            exports.write_when_full();
        }
    }
}

void export_dump(const cli::Recording &recording, Exports &exports) {
    const cli::DumpFacts facts = facts_of(recording);
    add_dump(exports.block(), recording, facts, facts.clock);
}

void export_store(const cli::Recording &recording, bool are_scalars, Exports &exports) {
    const host::StoreContents contents = read_store(recording);
    if (are_scalars) {
        add_scalars(exports.block(), recording, contents);
        return;
    }
    for (const auto &[key, distribution] : contents.distributions) {
        add_distribution(exports.block(), recording, key, distribution);
        exports.write_when_full();
    }
}

void export_records(const cli::Recording &recording, Exports &exports) {
    const std::vector<std::byte> bytes = read_record_file(recording);
    std::size_t number = 0;
    for (const host::StateRecord &record : host::parse_records(bytes, recording.name)) {
        add_record(exports.block(), recording, ++number, record, cli::record_line(recording.name, record, bytes));
        exports.write_when_full();
    }
}

/** A dump that is not packed is reports end to end. */
void check_reports(const std::string &file, std::span<const std::uint8_t> bytes,
                   const std::vector<ReadColumn> &columns) {
    const cli::ByteStream stream(file);
    if (!stream.is_plain_file() || stream.content().kind != cli::ContentKind::Dump) {
        return;
    }
    const std::size_t rows = bytes.size() / 48;
    require(columns[0].nulls.size() == rows, "every whole report has a row");
    for (std::size_t row = 0; row < rows; ++row) {
        for (std::size_t word = 0; word < 8; ++word) {
            std::uint64_t number = 0;
            for (std::size_t byte = 4; byte-- > 0;) {
                number = number << 8 | bytes[48 * row + 16 + 4 * word + byte];
            }
            require(columns[8 + word].numbers[row] == number, "a word of a report");
        }
    }
}

cli::RecordingKind kind_of(std::string_view table) {
    if (table == "reports" || table == "dumps") {
        return cli::RecordingKind::Dump;
    }
    return table == "records" ? cli::RecordingKind::Record : cli::RecordingKind::Store;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const cli::Table &table = cli::kTables[input.byte() % std::size(cli::kTables)];
    const std::size_t part = 1 + input.byte();
    const std::span<const std::uint8_t> bytes = input.rest();
    // Many small row groups take long, and show nothing that a few do not.
    Exports exports(table, std::max(part, bytes.size() / (8 * 48)));
    const std::string file = fuzz::store_folder() / "input.db";
    fuzz::write_file(file, bytes.data(), bytes.size());
    const cli::Recording recording = {kind_of(table.name), "device", file, file, file, true, 0, bytes.size(), nullptr};
    try {
        if (table.name == "reports") {
            export_reports(recording, exports);
        } else if (table.name == "dumps") {
            export_dump(recording, exports);
        } else if (table.name == "records") {
            export_records(recording, exports);
        } else {
            export_store(recording, table.name == "scalar", exports);
        }
    } catch (const host::Error &error) {
        require(error.file() == file, "the error names the file", error.what());
        static_cast<void>(exports.check()); // of what was read before it
        return 0;
    }
    const std::vector<ReadColumn> &columns = exports.check();
    if (table.name == "reports") {
        check_reports(file, bytes, columns);
    }
    return 0;
}
