#include "tests/cli/questions/table_reader.h"

#include <algorithm>
#include <bit>
#include <map>
#include <optional>
#include <type_traits>
#include <variant>

#include <zstd.h>

namespace cli_tests {
namespace {

void require(bool holds, const char *what) {
    if (!holds) {
        throw MalformedTable(what);
    }
}

/** Bytes that are taken from the front. */
class Bytes {
public:
    explicit Bytes(std::string_view bytes) : _left(bytes) {}

    bool empty() const { return _left.empty(); }
    std::size_t size() const { return _left.size(); }

    std::string_view take(std::size_t count) {
        require(count <= _left.size(), "the bytes end too early");
        const std::string_view taken = _left.substr(0, count);
        _left.remove_prefix(count);
        return taken;
    }

    std::uint64_t little_endian(std::size_t size) {
        std::uint64_t value = 0;
        const std::string_view bytes = take(size);
        for (std::size_t i = 0; i < size; ++i) {
            value |= std::uint64_t{static_cast<unsigned char>(bytes[i])} << (8 * i);
        }
        return value;
    }

    std::uint64_t varint() {
        std::uint64_t value = 0;
        for (unsigned shift = 0;; shift += 7) {
            const std::uint64_t byte = little_endian(1);
            require(shift < 63 || byte <= 1, "a number has more than 64 bits");
            value |= (byte & 0x7F) << shift;
            if (byte < 0x80) {
                require(byte != 0 || shift == 0, "a number has a needless byte");
                return value;
            }
        }
    }

    std::int64_t zigzag() {
        const std::uint64_t value = varint();
        return static_cast<std::int64_t>(value >> 1 ^ (0 - (value & 1)));
    }

private:
    std::string_view _left;
};

bool is_signed(std::string_view type) { return type.starts_with("Int"); }

std::string_view without_nullable(std::string_view type) {
    constexpr std::string_view kStart = "Nullable(";
    return type.starts_with(kStart) ? type.substr(kStart.size(), type.size() - kStart.size() - 1) : type;
}

bool is_nullable(std::string_view type) { return type != without_nullable(type); }

/** The bits of a number of a type from its lowest ones. */
std::uint64_t extended(std::uint64_t bits, std::size_t size, bool has_sign) {
    const unsigned unused = 64 - 8 * static_cast<unsigned>(size);
    return has_sign ? static_cast<std::uint64_t>(static_cast<std::int64_t>(bits << unused) >> unused)
                    : bits << unused >> unused;
}

std::size_t size_of(std::string_view type) {
    static const std::map<std::string_view, std::size_t> kSizes = {{"UInt8", 1},  {"UInt16", 2}, {"UInt32", 4},
                                                                   {"UInt64", 8}, {"Int8", 1},   {"Int32", 4},
                                                                   {"Int64", 8},  {"Float64", 8}};
    const auto size = kSizes.find(type);
    require(size != kSizes.end(), "an unknown type");
    return size->second;
}

/** The column, which is new in the first part and the same in all others. */
ReadColumn &column_at(std::vector<ReadColumn> &columns, std::size_t index, const std::string &name,
                      const std::string &type, bool is_first) {
    if (is_first) {
        columns.push_back({name, type, {}, {}, {}});
    }
    require(columns[index].name == name && columns[index].type == type, "the columns change");
    return columns[index];
}

void add_value(ReadColumn &column, std::uint64_t number, std::string_view text, bool is_null) {
    column.nulls.push_back(is_null ? 1 : 0);
    column.numbers.push_back(is_null ? 0 : number);
    if (without_nullable(column.type) == "String") {
        column.texts.emplace_back(is_null ? "" : text);
    }
}

// ---- ClickHouse's Native format -----------------------------------------------------------------------------------

void read_native_column(Bytes &bytes, ReadColumn &column, std::size_t rows) {
    std::string_view nulls;
    if (is_nullable(column.type)) {
        nulls = bytes.take(rows);
    }
    const std::string_view type = without_nullable(column.type);
    for (std::size_t row = 0; row < rows; ++row) {
        const bool is_null = !nulls.empty() && nulls[row] != 0;
        require(nulls.empty() || nulls[row] == 0 || nulls[row] == 1, "a null is neither 0 nor 1");
        if (type == "String") {
            const std::string_view text = bytes.take(bytes.varint());
            require(!is_null || text.empty(), "a null has a text");
            add_value(column, 0, text, is_null);
        } else {
            const std::size_t size = size_of(type);
            add_value(column, extended(bytes.little_endian(size), size, is_signed(type)), "", is_null);
        }
    }
}

// ---- Thrift's compact protocol ------------------------------------------------------------------------------------

struct Thrift;
using ThriftList = std::vector<Thrift>;
using ThriftStructure = std::map<int, Thrift>;

struct Thrift {
    std::variant<bool, std::int64_t, std::string, ThriftList, ThriftStructure> value;

    const ThriftStructure &fields() const { return of<ThriftStructure>(); }
    const ThriftList &list() const { return of<ThriftList>(); }
    std::int64_t number() const { return of<std::int64_t>(); }
    const std::string &text() const { return of<std::string>(); }
    bool truth() const { return of<bool>(); }

    template <typename Type>
    const Type &of() const {
        const Type *const typed = std::get_if<Type>(&value);
        require(typed != nullptr, "a field has another type");
        return *typed;
    }
};

const Thrift &field(const ThriftStructure &structure, int id) {
    const auto found = structure.find(id);
    require(found != structure.end(), "a field is missing");
    return found->second;
}

/** No field but these. */
void require_fields(const ThriftStructure &structure, std::initializer_list<int> ids) {
    for (const auto &[id, value] : structure) {
        require(std::find(ids.begin(), ids.end(), id) != ids.end(), "an unknown field");
    }
}

ThriftStructure read_structure(Bytes &bytes, int depth);

Thrift read_thrift(Bytes &bytes, unsigned type, int depth) {
    require(depth < 16, "structures within one another");
    switch (type) {
    case 1:
    case 2:
        return {type == 1};
    case 3:
        return {static_cast<std::int64_t>(extended(bytes.little_endian(1), 1, true))};
    case 5:
    case 6:
        return {bytes.zigzag()};
    case 8:
        return {std::string(bytes.take(bytes.varint()))};
    case 9: {
        const std::uint64_t start = bytes.little_endian(1);
        const std::uint64_t count = start >> 4 == 15 ? bytes.varint() : start >> 4;
        ThriftList list;
        for (std::uint64_t i = 0; i < count; ++i) {
            list.push_back(read_thrift(bytes, start & 15, depth + 1));
        }
        return {list};
    }
    case 12:
        return {read_structure(bytes, depth + 1)};
    default:
        throw MalformedTable("an unknown type of a field");
    }
}

ThriftStructure read_structure(Bytes &bytes, int depth = 0) {
    ThriftStructure structure;
    int id = 0;
    while (const std::uint64_t start = bytes.little_endian(1)) {
        require(start >> 4 != 0, "a field far from the one before");
        id += static_cast<int>(start >> 4);
        structure.emplace(id, read_thrift(bytes, start & 15, depth));
    }
    return structure;
}

// ---- Parquet ------------------------------------------------------------------------------------------------------

constexpr std::int64_t kPlain = 0;
constexpr std::int64_t kRle = 3;
constexpr std::int64_t kDeltas = 5;
constexpr std::int64_t kDictionary = 8;

struct ParquetColumn {
    std::string name;
    std::string type;
    std::int64_t physical; ///< 1 for 32 bits, 2 for 64, 5 for a double, 6 for bytes
    bool may_be_null;
};

std::size_t size_of_physical(std::int64_t physical) { return physical == 1 ? 4 : 8; }

ParquetColumn column_of(const ThriftStructure &element) {
    require_fields(element, {1, 3, 4, 6, 10});
    ParquetColumn column{field(element, 4).text(), "", field(element, 1).number(), field(element, 3).number() == 1};
    require(field(element, 3).number() <= 1, "a repeated column");
    if (column.physical == 5) {
        require(element.size() == 3, "a double is nothing else");
        column.type = "Float64";
    } else {
        const ThriftStructure &logical = field(element, 10).fields();
        require(logical.size() == 1, "one logical type");
        if (column.physical == 6) {
            require(field(logical, 1).fields().empty() && field(element, 6).number() == 0, "a text is UTF-8");
            column.type = "String";
        } else {
            const ThriftStructure &integer = field(logical, 10).fields();
            const std::int64_t bits = field(integer, 1).number();
            const bool has_sign = field(integer, 2).truth();
            static const std::map<std::int64_t, std::int64_t> kConverted = {{8, 11}, {16, 12}, {32, 13}, {64, 14}};
            require(kConverted.count(bits) == 1, "a width of no integer");
            require(field(element, 6).number() == kConverted.at(bits) + (has_sign ? 4 : 0), "both types agree");
            require(column.physical == (bits == 64 ? 2 : 1), "the width fits");
            column.type = (has_sign ? "Int" : "UInt") + std::to_string(bits);
        }
    }
    if (column.may_be_null) {
        column.type = "Nullable(" + column.type + ")";
    }
    return column;
}

std::uint64_t bits_at(std::string_view bytes, std::size_t first, unsigned width) {
    std::uint64_t value = 0;
    for (unsigned i = 0; i < width; ++i) {
        const std::size_t bit = first + i;
        value |= std::uint64_t{static_cast<unsigned char>(bytes[bit / 8]) >> (bit % 8) & 1U} << i;
    }
    return value;
}

/** Runs and packed groups of eight. */
std::vector<std::uint64_t> read_hybrid(Bytes &bytes, unsigned width, std::size_t count) {
    std::vector<std::uint64_t> numbers;
    while (numbers.size() < count) {
        const std::uint64_t start = bytes.varint();
        require(start >> 1 != 0, "an empty run");
        if (start % 2 == 0) {
            require(start >> 1 <= count - numbers.size(), "a run goes too far");
            const std::uint64_t number = bytes.little_endian((width + 7) / 8);
            require(number >> width == 0, "a number is too wide");
            numbers.insert(numbers.end(), start >> 1, number);
            continue;
        }
        const std::size_t groups = start >> 1;
        require(groups <= (count - numbers.size() + 7) / 8, "groups go too far");
        const std::string_view packed = bytes.take(groups * width);
        for (std::size_t i = 0; i < 8 * groups && numbers.size() < count; ++i) {
            numbers.push_back(bits_at(packed, i * width, width));
        }
    }
    return numbers;
}

std::vector<std::uint64_t> read_deltas(Bytes &bytes, std::size_t count, std::size_t size) {
    require(bytes.varint() == 128 && bytes.varint() == 4, "the usual blocks");
    require(bytes.varint() == count, "as many values as the page");
    std::uint64_t last = static_cast<std::uint64_t>(bytes.zigzag());
    std::vector<std::uint64_t> numbers;
    if (count != 0) {
        numbers.push_back(extended(last, size, false));
    }
    while (numbers.size() < count) {
        const auto least = static_cast<std::uint64_t>(bytes.zigzag());
        const std::string_view widths = bytes.take(4);
        for (const char miniblock : widths) {
            const auto width = static_cast<unsigned char>(miniblock);
            require(width <= 8 * size, "a difference is too wide");
            require(numbers.size() < count || width == 0, "a miniblock without values has no width");
            if (numbers.size() == count) {
                continue;
            }
            const std::string_view packed = bytes.take(std::size_t{width} * 4);
            for (std::size_t i = 0; i < 32 && numbers.size() < count; ++i) {
                last += least + bits_at(packed, i * width, width);
                numbers.push_back(extended(last, size, false));
            }
        }
    }
    return numbers;
}

struct PlainValues {
    std::vector<std::uint64_t> numbers;
    std::vector<std::string_view> texts;
};

PlainValues read_plain(Bytes &bytes, std::int64_t physical, std::size_t count) {
    PlainValues values;
    for (std::size_t i = 0; i < count; ++i) {
        if (physical == 6) {
            values.texts.push_back(bytes.take(bytes.little_endian(4)));
        } else {
            values.numbers.push_back(bytes.little_endian(size_of_physical(physical)));
        }
    }
    return values;
}

struct Page {
    ThriftStructure header;
    std::string content;
    std::size_t header_size;
};

Page read_page(Bytes &bytes) {
    Page page;
    const std::size_t before = bytes.size();
    page.header = read_structure(bytes);
    page.header_size = before - bytes.size();
    const auto size = static_cast<std::size_t>(field(page.header, 2).number());
    const std::string_view packed = bytes.take(static_cast<std::size_t>(field(page.header, 3).number()));
    require(ZSTD_getFrameContentSize(packed.data(), packed.size()) == size, "the size of a page");
    page.content.resize(size);
    require(ZSTD_decompress(page.content.data(), size, packed.data(), packed.size()) == size, "a packed page");
    return page;
}

/** The values of a chunk that are no nulls, by the order of the column. */
bool is_less(const ReadColumn &column, std::size_t a, std::size_t b) {
    const std::string_view type = without_nullable(column.type);
    if (type == "String") {
        return column.texts[a] < column.texts[b];
    }
    if (type == "Float64") {
        return std::bit_cast<double>(column.numbers[a]) < std::bit_cast<double>(column.numbers[b]);
    }
    return is_signed(type) ? static_cast<std::int64_t>(column.numbers[a]) < static_cast<std::int64_t>(column.numbers[b])
                           : column.numbers[a] < column.numbers[b];
}

std::string plain_value(const ReadColumn &column, std::size_t row, std::int64_t physical) {
    if (physical == 6) {
        return column.texts[row];
    }
    std::string plain;
    for (std::size_t byte = 0; byte < size_of_physical(physical); ++byte) {
        plain.push_back(static_cast<char>(column.numbers[row] >> (8 * byte)));
    }
    return plain;
}

void check_statistics(const ReadColumn &column, const ParquetColumn &described, std::size_t first,
                      const ThriftStructure &statistics) {
    require_fields(statistics, {3, 5, 6});
    std::int64_t nulls = 0;
    std::optional<std::size_t> least;
    std::optional<std::size_t> greatest;
    for (std::size_t row = first; row < column.nulls.size(); ++row) {
        if (column.nulls[row] != 0) {
            ++nulls;
            continue;
        }
        least = !least || is_less(column, row, *least) ? row : *least;
        greatest = !greatest || is_less(column, *greatest, row) ? row : *greatest;
    }
    require(field(statistics, 3).number() == nulls, "the count of nulls");
    const auto is_short = [&](std::size_t row) { return described.physical != 6 || column.texts[row].size() <= 256; };
    if (!least || !is_short(*least) || !is_short(*greatest)) {
        require(statistics.size() == 1, "no limits");
        return;
    }
    require(field(statistics, 6).text() == plain_value(column, *least, described.physical), "the least value");
    require(field(statistics, 5).text() == plain_value(column, *greatest, described.physical), "the greatest value");
}

void add_values(ReadColumn &column, const ParquetColumn &described, const std::vector<std::uint64_t> &levels,
                const PlainValues &values) {
    std::size_t next = 0;
    const std::string_view type = without_nullable(column.type);
    for (const std::uint64_t level : levels) {
        if (level == 0) {
            add_value(column, 0, "", true);
        } else if (described.physical == 6) {
            add_value(column, 0, values.texts.at(next++), false);
        } else {
            const std::uint64_t number =
                extended(values.numbers.at(next++), size_of_physical(described.physical), is_signed(type));
            const std::size_t size = size_of(type);
            require(number == extended(number, size, is_signed(type)), "a number is wider than its type");
            add_value(column, number, "", false);
        }
    }
}

/** @param offset  where the chunk before ended. @return where this one ends. */
std::size_t read_chunk(std::string_view file, const ThriftStructure &chunk, const ParquetColumn &described,
                       std::size_t rows, std::size_t offset, ReadColumn &column) {
    require_fields(chunk, {2, 3});
    const ThriftStructure &description = field(chunk, 3).fields();
    require_fields(description, {1, 2, 3, 4, 5, 6, 7, 9, 11, 12});
    require(static_cast<std::size_t>(field(chunk, 2).number()) == offset, "where a chunk is");
    require(field(description, 1).number() == described.physical, "the type of a chunk");
    require(field(description, 3).list().size() == 1 && field(description, 3).list()[0].text() == described.name,
            "the path of a chunk");
    require(field(description, 4).number() == 6, "zstd");
    require(static_cast<std::size_t>(field(description, 5).number()) == rows, "the rows of a chunk");
    const auto size = static_cast<std::size_t>(field(description, 7).number());
    require(offset <= file.size() && size <= file.size() - offset, "a chunk goes too far");

    Bytes bytes(file.substr(offset, size));
    Page page = read_page(bytes);
    std::size_t unpacked = page.header_size + page.content.size();
    PlainValues dictionary;
    std::string dictionary_content;
    const bool has_dictionary = field(page.header, 1).number() == 2;
    require(has_dictionary == (description.count(11) == 1), "where a dictionary is");
    std::size_t distinct = 0;
    if (has_dictionary) {
        require(static_cast<std::size_t>(field(description, 11).number()) == offset, "where the dictionary is");
        const ThriftStructure &header = field(page.header, 7).fields();
        require(field(header, 2).number() == kPlain, "a dictionary is plain");
        distinct = static_cast<std::size_t>(field(header, 1).number());
        dictionary_content = page.content;
        Bytes content(dictionary_content);
        dictionary = read_plain(content, described.physical, distinct);
        require(content.empty(), "bytes behind a dictionary");
        page = read_page(bytes);
        unpacked += page.header_size + page.content.size();
    }
    require(bytes.empty(), "bytes behind a page");
    require(static_cast<std::size_t>(field(description, 6).number()) == unpacked, "the unpacked size");
    require(field(page.header, 1).number() == 0, "a data page");
    const auto place = static_cast<std::size_t>(field(description, 9).number());
    require(place == offset + size - page.header_size - static_cast<std::size_t>(field(page.header, 3).number()),
            "where the data is");

    const ThriftStructure &header = field(page.header, 5).fields();
    require_fields(header, {1, 2, 3, 4});
    require(static_cast<std::size_t>(field(header, 1).number()) == rows, "the rows of a page");
    require(field(header, 3).number() == kRle && field(header, 4).number() == kRle, "levels are in runs");
    const std::int64_t encoding = field(header, 2).number();
    const ThriftList &encodings = field(description, 2).list();
    require(encodings.front().number() == encoding, "the encodings of a chunk");

    Bytes content(page.content);
    std::vector<std::uint64_t> levels(rows, 1);
    if (described.may_be_null) {
        Bytes runs(content.take(content.little_endian(4)));
        levels = read_hybrid(runs, 1, rows);
        require(runs.empty(), "bytes behind the levels");
    }
    const auto count = static_cast<std::size_t>(std::count(levels.begin(), levels.end(), 1U));
    PlainValues values;
    if (encoding == kPlain) {
        values = read_plain(content, described.physical, count);
    } else if (encoding == kDeltas) {
        require(described.physical <= 2, "deltas of integers");
        values.numbers = read_deltas(content, count, size_of_physical(described.physical));
    } else {
        require(encoding == kDictionary && has_dictionary, "a known encoding");
        const auto width = static_cast<unsigned>(content.little_endian(1));
        require(width >= 1 && width <= 32, "the width of an index");
        for (const std::uint64_t index : read_hybrid(content, width, count)) {
            require(index < distinct, "an index beyond the dictionary");
            if (described.physical == 6) {
                values.texts.push_back(dictionary.texts[index]);
            } else {
                values.numbers.push_back(dictionary.numbers[index]);
            }
        }
    }
    require(content.empty(), "bytes behind the values");
    const std::size_t first = column.nulls.size();
    add_values(column, described, levels, values);
    check_statistics(column, described, first, field(description, 12).fields());
    return offset + size;
}

} // namespace

ReadTable read_native(std::string_view bytes) {
    ReadTable table;
    for (Bytes left(bytes); !left.empty();) {
        const std::uint64_t columns = left.varint();
        const std::size_t rows = left.varint();
        require(columns > 0 && (table.parts.empty() || columns == table.columns.size()), "the columns change");
        for (std::size_t i = 0; i < columns; ++i) {
            const std::string name(left.take(left.varint()));
            const std::string type(left.take(left.varint()));
            read_native_column(left, column_at(table.columns, i, name, type, table.parts.empty()), rows);
        }
        table.parts.push_back(rows);
    }
    return table;
}

ReadTable read_parquet(std::string_view bytes) {
    constexpr std::string_view kMark = "PAR1";
    require(bytes.size() >= 12 && bytes.starts_with(kMark) && bytes.ends_with(kMark), "the marks");
    const std::size_t size = Bytes(bytes.substr(bytes.size() - 8)).little_endian(4);
    require(size <= bytes.size() - 12, "the size of the description");
    Bytes description(bytes.substr(bytes.size() - 8 - size, size));
    const ThriftStructure file = read_structure(description);
    require(description.empty(), "bytes behind the description");
    require_fields(file, {1, 2, 3, 4, 6, 7});
    require(field(file, 1).number() == 2, "the version");
    const ThriftList &schema = field(file, 2).list();
    require(!schema.empty() && field(file, 7).list().size() == schema.size() - 1, "an order for each column");
    require(static_cast<std::size_t>(field(schema[0].fields(), 5).number()) == schema.size() - 1, "the columns");
    std::vector<ParquetColumn> columns;
    ReadTable table;
    for (std::size_t i = 1; i < schema.size(); ++i) {
        columns.push_back(column_of(schema[i].fields()));
        table.columns.push_back({columns.back().name, columns.back().type, {}, {}, {}});
        require(field(field(file, 7).list()[i - 1].fields(), 1).fields().empty(), "the order of a column");
    }
    std::size_t offset = kMark.size();
    std::size_t all_rows = 0;
    for (const Thrift &listed : field(file, 4).list()) {
        const ThriftStructure &group = listed.fields();
        require_fields(group, {1, 2, 3, 5, 6});
        const auto rows = static_cast<std::size_t>(field(group, 3).number());
        require(static_cast<std::size_t>(field(group, 5).number()) == offset, "where a group is");
        const std::size_t start = offset;
        std::int64_t unpacked = 0;
        require(field(group, 1).list().size() == columns.size(), "a chunk for each column");
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const ThriftStructure &chunk = field(group, 1).list()[i].fields();
            offset = read_chunk(bytes, chunk, columns[i], rows, offset, table.columns[i]);
            unpacked += field(field(chunk, 3).fields(), 6).number();
        }
        require(field(group, 2).number() == unpacked, "the unpacked size of a group");
        require(static_cast<std::size_t>(field(group, 6).number()) == offset - start, "the size of a group");
        all_rows += rows;
        table.parts.push_back(rows);
    }
    require(offset == bytes.size() - 8 - size, "bytes behind the groups");
    require(static_cast<std::size_t>(field(file, 3).number()) == all_rows, "the rows of all");
    return table;
}

void add_expected(std::vector<ReadColumn> &columns, const cli::ColumnBlock &block) {
    static const std::map<cli::ColumnType, std::string> kTypes = {
        {cli::ColumnType::Text, "String"},       {cli::ColumnType::Unsigned8, "UInt8"},
        {cli::ColumnType::Unsigned16, "UInt16"}, {cli::ColumnType::Unsigned32, "UInt32"},
        {cli::ColumnType::Unsigned64, "UInt64"}, {cli::ColumnType::Signed8, "Int8"},
        {cli::ColumnType::Signed32, "Int32"},    {cli::ColumnType::Signed64, "Int64"},
        {cli::ColumnType::Real, "Float64"}};
    const bool is_first = columns.empty();
    for (std::size_t i = 0; i < block.columns().size(); ++i) {
        const cli::Column &described = block.columns()[i];
        const std::string &plain_type = kTypes.at(described.type);
        ReadColumn &column = column_at(columns, i, std::string(described.name),
                                       described.may_be_null ? "Nullable(" + plain_type + ")" : plain_type, is_first);
        std::visit(
            [&]<typename Value>(const std::vector<Value> &values) {
                for (std::size_t row = 0; row < values.size(); ++row) {
                    if constexpr (std::is_same_v<Value, cli::TextRun>) {
                        for (std::size_t i_row = 0; i_row < values[row].rows; ++i_row) {
                            add_value(column, 0, values[row].text.value_or(""), !values[row].text);
                        }
                    } else {
                        const bool is_null = !block.nulls(i).empty() && block.nulls(i)[row] != 0;
                        if constexpr (std::is_same_v<Value, double>) {
                            add_value(column, std::bit_cast<std::uint64_t>(values[row]), "", is_null);
                        } else {
                            add_value(column, static_cast<std::uint64_t>(values[row]), "", is_null);
                        }
                    }
                }
            },
            block.values(i));
    }
}

} // namespace cli_tests
