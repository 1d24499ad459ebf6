#include "cli/questions/parquet_file.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <map>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

#include <zstd.h>

#include "cli/questions/parquet_encodings.h"
#include "cli/questions/varint.h"
#include "host/count_text.h"
#include "host/error.h"

namespace cli {
namespace {

// Plain values stand in a file as this machine has them.
static_assert(std::endian::native == std::endian::little);

constexpr std::string_view kMark = "PAR1"; ///< at the start and at the end
constexpr int kVersion = 2;

// ---- the numbers that the format gives to things

enum PhysicalType : std::uint8_t { kInt32 = 1, kInt64 = 2, kDouble = 5, kByteArray = 6 };
enum Encoding : std::uint8_t { kPlain = 0, kRle = 3, kDeltas = 5, kDictionary = 8 };
enum PageType : std::uint8_t { kDataPage = 0, kDictionaryPage = 2 };
constexpr int kZstd = 6;
constexpr int kUtf8 = 0;           ///< a converted type, which older readers look at
constexpr int kFirstUnsigned = 11; ///< of 8 bits; then of 16, 32 and 64, and the same signed
constexpr int kStringType = 1;     ///< logical types
constexpr int kIntegerType = 10;

/** What the file says of a column of numbers. */
struct IntegerWidth {
    int bits;
    bool is_signed;
};

std::optional<IntegerWidth> integer_width(ColumnType type) {
    switch (type) {
    case ColumnType::Unsigned8:
        return IntegerWidth{8, false};
    case ColumnType::Unsigned16:
        return IntegerWidth{16, false};
    case ColumnType::Unsigned32:
        return IntegerWidth{32, false};
    case ColumnType::Unsigned64:
        return IntegerWidth{64, false};
    case ColumnType::Signed8:
        return IntegerWidth{8, true};
    case ColumnType::Signed32:
        return IntegerWidth{32, true};
    case ColumnType::Signed64:
        return IntegerWidth{64, true};
    case ColumnType::Text:
    case ColumnType::Real:
        break;
    }
    return std::nullopt;
}

PhysicalType physical_type(ColumnType type) {
    if (const std::optional<IntegerWidth> width = integer_width(type)) {
        return width->bits == 64 ? kInt64 : kInt32;
    }
    return type == ColumnType::Text ? kByteArray : kDouble;
}

// ---- the descriptions, which are structures in Thrift's compact protocol

/** Writes one structure. Fields must be added by ascending numbers. */
class Structure {
public:
    explicit Structure(std::string &out) : _out(out) {}

    void add_bool(int field, bool value) { start_field(field, value ? 1 : 2); }
    void add_byte(int field, int value) {
        start_field(field, 3);
        _out.push_back(static_cast<char>(value));
    }
    void add_int32(int field, std::int64_t value) {
        start_field(field, 5);
        append_zigzag(_out, value);
    }
    void add_int64(int field, std::uint64_t value) {
        start_field(field, 6);
        append_zigzag(_out, static_cast<std::int64_t>(value));
    }
    void add_text(int field, std::string_view text) {
        start_field(field, 8);
        append_varint(_out, text.size());
        _out += text;
    }
    /** @param fill  writes its fields. */
    template <typename Fill>
    void add_structure(int field, const Fill &fill) {
        start_field(field, 12);
        fill_structure(fill);
    }
    void add_list_of_int32(int field, std::span<const int> numbers) {
        start_list(field, 5, numbers.size());
        for (const int number : numbers) {
            append_zigzag(_out, number);
        }
    }
    void add_list_of_one_text(int field, std::string_view text) {
        start_list(field, 8, 1);
        append_varint(_out, text.size());
        _out += text;
    }
    /** @param structures  end to end, as `end` leaves them. */
    void add_list_of_structures(int field, std::size_t count, std::string_view structures) {
        start_list(field, 12, count);
        _out += structures;
    }

    void end() { _out.push_back(0); }

private:
    template <typename Fill>
    void fill_structure(const Fill &fill) {
        Structure inner(_out);
        fill(inner);
        inner.end();
    }

    void start_field(int field, int type) {
        _out.push_back(static_cast<char>((field - _last) << 4 | type)); // all numbers here are less than 16 apart
        _last = field;
    }

    void start_list(int field, int type, std::size_t count) {
        start_field(field, 9);
        if (count < 15) {
            _out.push_back(static_cast<char>(count << 4 | static_cast<unsigned>(type)));
        } else {
            _out.push_back(static_cast<char>(0xF0 | type));
            append_varint(_out, count);
        }
    }

    std::string &_out;
    int _last = 0;
};

template <typename Fill>
void append_structure(std::string &out, const Fill &fill) {
    Structure structure(out);
    fill(structure);
    structure.end();
}

void append_root(std::string &out, std::string_view table, std::size_t columns) {
    append_structure(out, [&](Structure &root) {
        root.add_text(4, table);
        root.add_int32(5, static_cast<std::int64_t>(columns));
    });
}

void append_schema(std::string &out, const Column &column) {
    const std::optional<IntegerWidth> width = integer_width(column.type);
    append_structure(out, [&](Structure &element) {
        element.add_int32(1, physical_type(column.type));
        element.add_int32(3, column.may_be_null ? 1 : 0);
        element.add_text(4, column.name);
        if (width) {
            element.add_int32(6, kFirstUnsigned + (width->is_signed ? 4 : 0) + std::countr_zero(unsigned(width->bits)) -
                                     3);
            element.add_structure(10, [&](Structure &logical) {
                logical.add_structure(kIntegerType, [&](Structure &integer) {
                    integer.add_byte(1, width->bits);
                    integer.add_bool(2, width->is_signed);
                });
            });
        } else if (column.type == ColumnType::Text) {
            element.add_int32(6, kUtf8);
            element.add_structure(10,
                                  [](Structure &logical) { logical.add_structure(kStringType, [](Structure &) {}); });
        }
    });
}

// ---- values

/** What readers skip row groups by. */
struct Limits {
    std::string least; ///< as a plain value
    std::string greatest;
};

/** Longer texts are no limits: the end of the file would grow with them. */
constexpr std::size_t kLongestLimit = 256;

/** More distinct numbers than these are not looked for: other encodings are shorter. */
constexpr std::size_t kMostDistinct = std::size_t{1} << 15;

/** All encodings are tried for one row group in so many: those of a file are much alike. */
constexpr std::size_t kTriesEvery = 8;

template <typename Number>
std::string_view bytes_of(std::span<const Number> numbers) {
    return {reinterpret_cast<const char *>(numbers.data()), numbers.size_bytes()};
}

template <typename Value>
std::optional<Limits> limits_of(std::span<const Value> values) {
    const auto is_no_number = [](Value value) {
        if constexpr (std::is_floating_point_v<Value>) {
            return std::isnan(value);
        }
        return false;
    };
    if (values.empty() || std::any_of(values.begin(), values.end(), is_no_number)) {
        return std::nullopt;
    }
    const auto [least, greatest] = std::minmax_element(values.begin(), values.end());
    const auto plain = [](Value value) {
        if constexpr (sizeof(Value) < sizeof(std::int32_t)) {
            const std::int32_t wide[] = {value};
            return std::string(bytes_of(std::span<const std::int32_t>(wide)));
        } else {
            return std::string(bytes_of(std::span<const Value>(&value, 1)));
        }
    };
    return Limits{plain(*least), plain(*greatest)};
}

/** The definition levels of a column that may be null: 1 for a value. @param nulls  of each row: 1 for a null. */
std::string levels_of(const std::vector<std::uint8_t> &nulls) {
    std::vector<std::uint32_t> levels(nulls.size());
    std::transform(nulls.begin(), nulls.end(), levels.begin(), [](std::uint8_t is_null) { return is_null ^ 1U; });
    std::string runs;
    append_hybrid(runs, levels, 1);
    const std::uint32_t size[] = {static_cast<std::uint32_t>(runs.size())};
    return std::string(bytes_of(std::span<const std::uint32_t>(size))) + runs;
}

/** Readers expect at least one bit, also for the only entry of a dictionary. */
std::string encoded_indexes(std::span<const std::uint32_t> indexes, std::size_t distinct) {
    const unsigned width = std::max(1U, bit_width_of(distinct - 1));
    std::string encoded(1, static_cast<char>(width));
    append_hybrid(encoded, indexes, width);
    return encoded;
}

void append_plain_text(std::string &out, std::string_view text) {
    const std::uint32_t size[] = {static_cast<std::uint32_t>(text.size())};
    out += bytes_of(std::span<const std::uint32_t>(size));
    out += text;
}

/** The pages of a chunk, packed. */
struct Pages {
    Encoding encoding = kPlain;
    std::string bytes; ///< with their headers
    std::size_t unpacked_size = 0;
    std::size_t dictionary_size = 0; ///< of the first page with its header; 0 without a dictionary
};

/** The values of a column in a row group. */
struct Chunk {
    Pages pages;
    std::size_t nulls = 0;
    std::optional<Limits> limits;
};

/** Packs pages, one after another. */
class PagePacker {
public:
    void append_dictionary(Pages &pages, std::string_view plain_values, std::size_t count) {
        append(pages, kDictionaryPage, plain_values, [&](Structure &header) {
            header.add_structure(7, [&](Structure &page) {
                page.add_int32(1, static_cast<std::int64_t>(count));
                page.add_int32(2, kPlain);
            });
        });
        pages.dictionary_size = pages.bytes.size();
    }

    /** @param values  in the encoding of the pages, behind the definition levels. */
    void append_data(Pages &pages, std::string_view values, std::size_t rows) {
        append(pages, kDataPage, values, [&](Structure &header) {
            header.add_structure(5, [&](Structure &page) {
                page.add_int32(1, static_cast<std::int64_t>(rows));
                page.add_int32(2, pages.encoding);
                page.add_int32(3, kRle);
                page.add_int32(4, kRle);
            });
        });
    }

private:
    /** @param describe  adds what the header says of this type of page. */
    template <typename Describe>
    void append(Pages &pages, PageType type, std::string_view content, const Describe &describe) {
        const std::size_t most = ZSTD_compressBound(content.size());
        if (most > std::numeric_limits<std::int32_t>::max()) {
            throw host::Error(
                "", "", "a row group of Parquet has no room for texts of " + host::count_text(content.size(), "byte"));
        }
        _room.resize(most);
        const std::size_t size =
            ZSTD_compressCCtx(_context.get(), _room.data(), most, content.data(), content.size(), kLevel);
        if (ZSTD_isError(size) != 0) {
            throw std::bad_alloc(); // with enough room nothing else fails
        }
        const std::size_t start = pages.bytes.size();
        append_structure(pages.bytes, [&](Structure &header) {
            header.add_int32(1, type);
            header.add_int32(2, static_cast<std::int64_t>(content.size()));
            header.add_int32(3, static_cast<std::int64_t>(size));
            describe(header);
        });
        pages.unpacked_size += pages.bytes.size() - start + content.size();
        pages.bytes.append(_room, 0, size);
    }

    static constexpr int kLevel = 1;

    std::unique_ptr<ZSTD_CCtx, std::size_t (*)(ZSTD_CCtx *)> _context{ZSTD_createCCtx(), ZSTD_freeCCtx};
    std::string _room;
};

} // namespace

struct ParquetFile::Packer {
    explicit Packer(std::size_t columns) : best(columns, kPlain) {}

    PagePacker pages;
    NumberDictionary numbers{kMostDistinct};
    std::vector<Encoding> best; ///< of each column of numbers, when all were tried for the last time
    bool tries_all = true;

    Chunk chunk_of(const ColumnBlock &block, std::size_t column) {
        const bool may_be_null = block.columns()[column].may_be_null;
        return std::visit(
            [&]<typename Value>(const std::vector<Value> &values) {
                if constexpr (std::is_same_v<Value, TextRun>) {
                    return chunk_of_texts(values, may_be_null);
                } else {
                    return chunk_of_numbers<Value>(values, block.nulls(column), may_be_null, best[column]);
                }
            },
            block.values(column));
    }

private:
    Chunk chunk_of_texts(const std::vector<TextRun> &runs, bool may_be_null);

    template <typename Value>
    Chunk chunk_of_numbers(std::span<const Value> values, std::span<const std::uint8_t> nulls, bool may_be_null,
                           Encoding &best_encoding);

    template <typename Wide>
    Pages number_pages(std::span<const Wide> held, const std::string &levels, std::size_t rows, bool are_integers,
                       Encoding &best_encoding);

    template <typename Wide>
    std::optional<Pages> encoded_pages(std::span<const Wide> held, const std::string &levels, std::size_t rows,
                                       Encoding encoding);
};

Chunk ParquetFile::Packer::chunk_of_texts(const std::vector<TextRun> &runs, bool may_be_null) {
    Chunk chunk;
    std::map<std::string_view, std::uint32_t> distinct;
    std::string dictionary;
    std::vector<std::uint32_t> indexes; // of each text that is not null
    std::vector<std::uint8_t> nulls;    // of each row
    for (const TextRun &run : runs) {
        nulls.resize(nulls.size() + run.rows, run.text ? 0 : 1);
        if (!run.text) {
            chunk.nulls += run.rows;
            continue;
        }
        const auto [entry, is_new] = distinct.try_emplace(*run.text, static_cast<std::uint32_t>(distinct.size()));
        if (is_new) {
            append_plain_text(dictionary, *run.text);
        }
        indexes.resize(indexes.size() + run.rows, entry->second);
    }
    const auto is_short = [](std::string_view text) { return text.size() <= kLongestLimit; };
    if (!distinct.empty() && is_short(distinct.begin()->first) && is_short(distinct.rbegin()->first)) {
        chunk.limits = {std::string(distinct.begin()->first), std::string(distinct.rbegin()->first)};
    }
    std::string content = may_be_null ? levels_of(nulls) : "";
    if (distinct.size() < indexes.size()) {
        chunk.pages.encoding = kDictionary;
        pages.append_dictionary(chunk.pages, dictionary, distinct.size());
        content += encoded_indexes(indexes, distinct.size());
    } else {
        content += dictionary; // no text twice, so these are all texts in their order
    }
    pages.append_data(chunk.pages, content, nulls.size());
    return chunk;
}

template <typename Value>
Chunk ParquetFile::Packer::chunk_of_numbers(std::span<const Value> values, std::span<const std::uint8_t> nulls,
                                            bool may_be_null, Encoding &best_encoding) {
    using Wide = std::conditional_t<sizeof(Value) == sizeof(std::uint64_t), std::uint64_t, std::uint32_t>;
    Chunk chunk;
    std::vector<Value> present;
    if (!nulls.empty()) {
        for (std::size_t row = 0; row < values.size(); ++row) {
            if (nulls[row] == 0) {
                present.push_back(values[row]);
            }
        }
        chunk.nulls = values.size() - present.size();
    }
    const std::span<const Value> held = nulls.empty() ? values : present;
    chunk.limits = limits_of(held);
    std::string levels;
    if (may_be_null) {
        levels = levels_of(nulls.empty() ? std::vector<std::uint8_t>(values.size())
                                         : std::vector(nulls.begin(), nulls.end()));
    }
    if constexpr (std::is_same_v<Value, Wide>) {
        chunk.pages = number_pages(held, levels, values.size(), true, best_encoding);
    } else {
        std::vector<Wide> wide(held.size());
        std::transform(held.begin(), held.end(), wide.begin(), [](Value value) {
            if constexpr (std::is_floating_point_v<Value>) {
                return std::bit_cast<Wide>(value);
            } else {
                return static_cast<Wide>(value);
            }
        });
        chunk.pages = number_pages<Wide>(wide, levels, values.size(), std::is_integral_v<Value>, best_encoding);
    }
    return chunk;
}

/** The pages in the encoding that was best, or in the one that is, when it cannot be taken or all are tried. */
template <typename Wide>
Pages ParquetFile::Packer::number_pages(std::span<const Wide> held, const std::string &levels, std::size_t rows,
                                        bool are_integers, Encoding &best_encoding) {
    if (!tries_all) {
        if (std::optional<Pages> same = encoded_pages(held, levels, rows, best_encoding)) {
            return std::move(*same);
        }
    }
    std::optional<Pages> shortest;
    for (const Encoding encoding : {kPlain, kDeltas, kDictionary}) {
        if (encoding == kDeltas && !are_integers) {
            continue;
        }
        std::optional<Pages> other = encoded_pages(held, levels, rows, encoding);
        if (other && (!shortest || other->bytes.size() < shortest->bytes.size())) {
            shortest = std::move(other);
            best_encoding = encoding;
        }
    }
    return std::move(*shortest);
}

/** @return nothing when the numbers cannot be held so: there are too many distinct ones for a dictionary, or none. */
template <typename Wide>
std::optional<Pages> ParquetFile::Packer::encoded_pages(std::span<const Wide> held, const std::string &levels,
                                                        std::size_t rows, Encoding encoding) {
    Pages encoded;
    encoded.encoding = encoding;
    std::string content = levels;
    if (encoding == kDictionary) {
        if (held.empty() || !numbers.fill(held)) {
            return std::nullopt;
        }
        const std::vector<Wide> distinct(numbers.distinct().begin(), numbers.distinct().end());
        pages.append_dictionary(encoded, bytes_of(std::span<const Wide>(distinct)), distinct.size());
        content += encoded_indexes(numbers.indexes(), distinct.size());
    } else if (encoding == kDeltas) {
        append_deltas(content, held);
    } else {
        content += bytes_of(held);
    }
    pages.append_data(encoded, content, rows);
    return encoded;
}

namespace {

/** Appends what the end of the file says of a chunk. */
void append_description(std::string &out, const Column &column, const Chunk &chunk, std::uint64_t offset,
                        std::size_t rows) {
    const Pages &pages = chunk.pages;
    append_structure(out, [&](Structure &place) {
        place.add_int64(2, offset);
        place.add_structure(3, [&](Structure &description) {
            description.add_int32(1, physical_type(column.type));
            // A dictionary has plain values.
            const int encodings[] = {pages.encoding, kRle, kPlain};
            description.add_list_of_int32(2, std::span(encodings).first(pages.encoding == kPlain ? 2 : 3));
            description.add_list_of_one_text(3, column.name);
            description.add_int32(4, kZstd);
            description.add_int64(5, rows);
            description.add_int64(6, pages.unpacked_size);
            description.add_int64(7, pages.bytes.size());
            description.add_int64(9, offset + pages.dictionary_size);
            if (pages.dictionary_size != 0) {
                description.add_int64(11, offset);
            }
            description.add_structure(12, [&](Structure &statistics) {
                statistics.add_int64(3, chunk.nulls);
                if (chunk.limits) {
                    statistics.add_text(5, chunk.limits->greatest);
                    statistics.add_text(6, chunk.limits->least);
                }
            });
        });
    });
}

} // namespace

ParquetFile::ParquetFile(std::string_view table, std::vector<Column> columns, ByteSink sink)
    : _table(table), _columns(std::move(columns)), _sink(std::move(sink)),
      _packer(std::make_unique<Packer>(_columns.size())) {
    put(kMark);
}

ParquetFile::~ParquetFile() = default;

void ParquetFile::put(std::string_view bytes) {
    _sink(bytes);
    _offset += bytes.size();
}

void ParquetFile::write(const ColumnBlock &block) {
    const std::uint64_t start = _offset;
    std::uint64_t unpacked_size = 0;
    _packer->tries_all = _group_count % kTriesEvery == 0;
    std::string chunks;
    for (std::size_t column = 0; column < _columns.size(); ++column) {
        const Chunk chunk = _packer->chunk_of(block, column);
        append_description(chunks, _columns[column], chunk, _offset, block.rows());
        unpacked_size += chunk.pages.unpacked_size;
        put(chunk.pages.bytes);
    }
    append_structure(_groups, [&](Structure &group) {
        group.add_list_of_structures(1, _columns.size(), chunks);
        group.add_int64(2, unpacked_size);
        group.add_int64(3, block.rows());
        group.add_int64(5, start);
        group.add_int64(6, _offset - start);
    });
    _rows += block.rows();
    ++_group_count;
}

void ParquetFile::finish() {
    std::string schema;
    append_root(schema, _table, _columns.size());
    std::string orders;
    for (const Column &column : _columns) {
        append_schema(schema, column);
        // Limits are by the order of the column's type.
        append_structure(orders, [](Structure &order) { order.add_structure(1, [](Structure &) {}); });
    }
    std::string description;
    append_structure(description, [&](Structure &file) {
        file.add_int32(1, kVersion);
        file.add_list_of_structures(2, _columns.size() + 1, schema);
        file.add_int64(3, _rows);
        file.add_list_of_structures(4, _group_count, _groups);
        file.add_text(6, "qorstat");
        file.add_list_of_structures(7, _columns.size(), orders);
    });
    const std::uint32_t size[] = {static_cast<std::uint32_t>(description.size())};
    description += bytes_of(std::span<const std::uint32_t>(size));
    description += kMark;
    put(description);
}

} // namespace cli
