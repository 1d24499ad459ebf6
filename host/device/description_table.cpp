#include "host/device/description_table.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>

#include "host/TvValues.h"
#include "host/nearest_word.h"

namespace host {
namespace {

using platform::OwnedValue;

/** Far above any description and any stream of reports; keeps a wrong path from filling the memory. */
constexpr std::uintmax_t kLargestFile = 64u << 20;

constexpr std::uint64_t kLargest32 = std::numeric_limits<std::uint32_t>::max();

/** Marks the tables that stand for a value which TOML cannot write; no dictionary may have such keys. */
constexpr char kReservedMark = '$';
constexpr std::string_view kDataKey = "$data";
constexpr std::string_view kNumberKey = "$number";

std::string place_text(const toml::source_position &position) {
    return "line " + std::to_string(position.line) + ", column " + std::to_string(position.column);
}

const char *type_name(const toml::node &node) {
    switch (node.type()) {
    case toml::node_type::table:
        return "a table";
    case toml::node_type::array:
        return "an array";
    case toml::node_type::string:
        return "a text";
    case toml::node_type::integer:
        return "an integer";
    case toml::node_type::floating_point:
        return "a floating-point number";
    case toml::node_type::boolean:
        return "a boolean";
    default:
        return "a date or time";
    }
}

std::string hex_text(std::uint64_t value) {
    std::array<char, 16> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, 16).ptr;
    return "0x" + std::string(digits.data(), end);
}

/** A number written as text: "0x" and 1 to 16 hex digits. */
std::optional<std::uint64_t> number_of_hex_text(std::string_view text) {
    if (!text.starts_with("0x") || text.size() == 2 || text.size() > 18) {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    const auto [end, failure] = std::from_chars(text.data() + 2, text.data() + text.size(), value, 16);
    if (failure != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

int hex_digit(char digit) {
    std::uint8_t value = 0;
    return std::from_chars(&digit, &digit + 1, value, 16).ec == std::errc{} ? value : -1;
}

/** Bytes of hex digits; on failure `bad` is the offset of the first character that is not in its place. */
std::optional<std::vector<std::byte>> bytes_of_hex(std::string_view text, std::size_t &bad) {
    std::vector<std::byte> bytes;
    for (std::size_t i = 0; i < text.size();) {
        if (std::strchr(" \t\r\n", text[i]) != nullptr && text[i] != '\0') {
            ++i;
            continue;
        }
        const int high = hex_digit(text[i]);
        const int low = i + 1 < text.size() ? hex_digit(text[i + 1]) : -1;
        if (high < 0 || low < 0) {
            bad = high < 0 ? i : i + 1;
            return std::nullopt;
        }
        bytes.push_back(static_cast<std::byte>(high * 16 + low));
        i += 2;
    }
    return bytes;
}

constexpr double kFixedOne = 65536;

/** Records show six decimals: half a unit of the last one, and what a double may be off by. */
constexpr double kSixDecimals = 0.5e-6 + 1e-9;

std::string six_decimals(double value) {
    std::array<char, 32> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, 6).ptr;
    return {text.data(), end};
}

std::string shortest(double value) {
    std::array<char, 32> text;
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
}

/** Makes typed values of TOML nodes. */
class TypedValueReader {
public:
    explicit TypedValueReader(const DescriptionFile &file) : _file(file) {}

    OwnedValue value(const toml::node &node) const {
        switch (node.type()) {
        case toml::node_type::boolean:
            return OwnedValue(TvRetain(TvBooleanGet(node.as_boolean()->get())));
        case toml::node_type::integer:
            return made(OwnedValue(TvNumberCreateSInt64(node.as_integer()->get())));
        case toml::node_type::string:
            return text(node.as_string()->get(), node.source().begin);
        case toml::node_type::array:
            return array(*node.as_array());
        case toml::node_type::table:
            return table(*node.as_table());
        default:
            throw error(node.source().begin, std::string("a typed value cannot be ") + type_name(node));
        }
    }

    /** Keys are text too, and those with the mark stand for values. */
    void check_key(const toml::key &key) const {
        if (key.str().starts_with(kReservedMark) || key.str().find('\0') != std::string_view::npos) {
            throw error(key.source().begin, "a property's name cannot begin with \"$\" or hold a zero character");
        }
    }

    OwnedValue text(std::string_view bytes, const toml::source_position &position) const {
        if (bytes.find('\0') != std::string_view::npos) {
            throw error(position, "a text of typed values cannot hold a zero character");
        }
        return made(OwnedValue(TvStringCreateWithBytes(bytes.data(), bytes.size(), kTvStringEncodingUTF8)));
    }

private:
    OwnedValue array(const toml::array &nodes) const {
        platform::OwnedMutableValue array(TvArrayCreateMutable());
        for (const toml::node &node : nodes) {
            if (!TvArrayAppend(array.get(), value(node).get())) {
                throw std::bad_alloc();
            }
        }
        return made(OwnedValue(array.detach()));
    }

    OwnedValue table(const toml::table &nodes) const {
        for (const auto &[key, node] : nodes) {
            if (key.str().starts_with(kReservedMark)) {
                return marked(nodes, key);
            }
        }
        platform::OwnedMutableValue dictionary(TvDictionaryCreateMutable());
        for (const auto &[key, node] : nodes) {
            const OwnedValue typed_key = text(key.str(), key.source().begin);
            if (!TvDictionarySetValue(dictionary.get(), typed_key.get(), value(node).get())) {
                throw std::bad_alloc();
            }
        }
        return made(OwnedValue(dictionary.detach()));
    }

    OwnedValue marked(const toml::table &nodes, const toml::key &key) const {
        if (key.str() != kDataKey && key.str() != kNumberKey) {
            throw error(key.source().begin,
                        "unknown key " + in_quotes(key.str()) + suggestion(key.str(), {kDataKey, kNumberKey}));
        }
        if (nodes.size() != 1) {
            throw error(nodes.source().begin, "a table with " + in_quotes(key.str()) + " has no other key");
        }
        const DescriptionTable table(_file, nodes, "value", {kDataKey, kNumberKey});
        if (key.str() == kNumberKey) {
            return made(OwnedValue(TvNumberCreateSInt64(table.signed_number(kNumberKey))));
        }
        const std::vector<std::byte> bytes = table.hex(kDataKey);
        return made(OwnedValue(TvDataCreate(bytes.data(), bytes.size())));
    }

    static OwnedValue made(OwnedValue value) {
        if (!value) {
            throw std::bad_alloc();
        }
        return value;
    }

    Error error(const toml::source_position &position, const std::string &reason) const {
        return Error(_file.path, place_text(position), reason);
    }

    const DescriptionFile &_file;
};

} // namespace

std::vector<std::byte> read_whole_file(const std::string &path, const std::string &file, const std::string &place) {
    const auto refuse = [&](const std::string &why) {
        // A file without a name is named, too.
        const bool is_named = file == path && !path.empty();
        return Error(file, place, is_named ? why : in_quotes(path) + ": " + why);
    };
    std::error_code failure;
    const std::filesystem::file_status status = std::filesystem::status(path, failure);
    if (!std::filesystem::exists(status)) {
        throw refuse("no such file");
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw refuse("not a regular file");
    }
    const std::uintmax_t size = std::filesystem::file_size(path, failure);
    if (!failure && size > kLargestFile) {
        throw refuse("larger than " + std::to_string(kLargestFile) + " bytes");
    }
    std::ifstream stream(path, std::ios::binary);
    std::vector<std::byte> bytes(failure ? 0 : static_cast<std::size_t>(size));
    if (failure || !stream ||
        !stream.read(reinterpret_cast<char *>(bytes.data()), static_cast<std::streamsize>(size))) {
        throw refuse("cannot be read");
    }
    return bytes;
}

DescriptionFile parse_description_file(const std::string &path) {
    const std::vector<std::byte> bytes = read_whole_file(path, path, "");
    DescriptionFile file = parse_description_text({reinterpret_cast<const char *>(bytes.data()), bytes.size()}, path);
    file.names_files = true;
    return file;
}

DescriptionFile parse_description_text(std::string_view text, const std::string &name) {
    try {
        return {name, toml::parse(text, name), false};
    } catch (const toml::parse_error &failure) {
        throw Error(name, place_text(failure.source().begin), std::string(failure.description()));
    }
}

std::string DescriptionValue::text() const {
    if (!_node->is_string()) {
        throw wrong_type("a text");
    }
    return _node->as_string()->get();
}

bool DescriptionValue::flag() const {
    if (!_node->is_boolean()) {
        throw wrong_type("a boolean");
    }
    return _node->as_boolean()->get();
}

std::uint64_t DescriptionValue::bits() const {
    if (_node->is_integer()) {
        return static_cast<std::uint64_t>(_node->as_integer()->get());
    }
    if (!_node->is_string()) {
        throw wrong_type("a number");
    }
    const std::string &text = _node->as_string()->get();
    const std::optional<std::uint64_t> value = number_of_hex_text(text);
    if (!value) {
        throw error("must be a number, or as text \"0x\" and up to 16 hex digits, not " + in_quotes(text));
    }
    return *value;
}

std::uint64_t DescriptionValue::number(std::uint64_t largest) const {
    const std::uint64_t value = bits();
    const bool negative = _node->is_integer() && _node->as_integer()->get() < 0;
    if (negative || value > largest) {
        throw error("must be 0 to " + hex_text(largest) + ", not " +
                    (negative ? std::to_string(_node->as_integer()->get()) : hex_text(value)));
    }
    return value;
}

std::int64_t DescriptionValue::signed_number(std::int64_t smallest, std::int64_t largest) const {
    const auto value = static_cast<std::int64_t>(bits());
    if (value < smallest || value > largest) {
        throw error("must be " + std::to_string(smallest) + " to " + std::to_string(largest) + ", not " +
                    std::to_string(value));
    }
    return value;
}

double DescriptionValue::decimal() const {
    if (_node->is_integer()) {
        return static_cast<double>(_node->as_integer()->get());
    }
    if (!_node->is_floating_point()) {
        throw wrong_type("a decimal number");
    }
    return _node->as_floating_point()->get();
}

std::int32_t DescriptionValue::fixed_point() const {
    constexpr double kSmallest = std::numeric_limits<std::int32_t>::min();
    constexpr double kLargest = std::numeric_limits<std::int32_t>::max();
    const double wanted = decimal();
    const double scaled = std::nearbyint(wanted * kFixedOne);
    if (!(scaled >= kSmallest && scaled <= kLargest)) {
        throw error("must be " + six_decimals(kSmallest / kFixedOne) + " to " + six_decimals(kLargest / kFixedOne) +
                    ", not " + shortest(wanted));
    }
    const double nearest = scaled / kFixedOne;
    if (std::abs(nearest - wanted) > kSixDecimals) {
        throw error("must be a multiple of 1/65536 to six decimals; the nearest to " + shortest(wanted) + " is " +
                    six_decimals(nearest));
    }
    return static_cast<std::int32_t>(scaled);
}

std::vector<DescriptionValue> DescriptionValue::elements(const char *wanted) const {
    if (!_node->is_array()) {
        throw wrong_type("an array of " + std::string(wanted));
    }
    std::vector<DescriptionValue> found;
    for (const toml::node &element : *_node->as_array()) {
        found.emplace_back(*_file, element, _key);
    }
    return found;
}

DescriptionTable DescriptionValue::table(const std::string &what, const KnownKeys &keys) const {
    if (!_node->is_table()) {
        throw wrong_type("a table");
    }
    return DescriptionTable(*_file, *_node->as_table(), what, keys);
}

Error DescriptionValue::error(const std::string &reason) const {
    return Error(_file->path, place_text(_node->source().begin), in_quotes(_key) + " " + reason);
}

Error DescriptionValue::wrong_type(const std::string &wanted) const {
    return error("must be " + wanted + ", not " + type_name(*_node));
}

DescriptionTable::DescriptionTable(const DescriptionFile &file, const toml::table &table, std::string what,
                                   const KnownKeys &keys)
    : _file(&file), _table(&table), _what(std::move(what)) {
    for (const auto &[key, node] : table) {
        if (std::ranges::find(keys, key.str()) == keys.end()) {
            throw Error(file.path, place_text(key.source().begin),
                        "unknown key " + in_quotes(key.str()) + " of " + _what + suggestion(key.str(), keys));
        }
    }
}

std::string DescriptionTable::place() const { return place_text(_table->source().begin); }

std::string DescriptionTable::place_of(std::string_view key) const {
    const toml::node *node = _table->get(key);
    return node == nullptr ? place() : place_text(node->source().begin);
}

Error DescriptionTable::error(const std::string &reason) const { return Error(_file->path, place(), reason); }

Error DescriptionTable::error_at(std::string_view key, const std::string &reason) const {
    return Error(_file->path, place_of(key), reason);
}

Error DescriptionTable::wrong_type(std::string_view key, const toml::node &node, const char *wanted) const {
    return Error(_file->path, place_text(node.source().begin),
                 in_quotes(key) + " must be " + wanted + ", not " + type_name(node));
}

const toml::node &DescriptionTable::required(std::string_view key) const {
    const toml::node *node = _table->get(key);
    if (node == nullptr) {
        throw error(_what + " lacks the key " + in_quotes(key));
    }
    return *node;
}

DescriptionValue DescriptionTable::value(std::string_view key) const {
    return DescriptionValue(*_file, required(key), std::string(key));
}

std::string DescriptionTable::text(std::string_view key) const { return value(key).text(); }

std::optional<std::string> DescriptionTable::optional_text(std::string_view key) const {
    return has(key) ? std::optional(text(key)) : std::nullopt;
}

std::uint64_t DescriptionTable::number(std::string_view key, std::uint64_t largest) const {
    return value(key).number(largest);
}

std::optional<std::uint64_t> DescriptionTable::optional_number(std::string_view key, std::uint64_t largest) const {
    return has(key) ? std::optional(number(key, largest)) : std::nullopt;
}

std::uint32_t DescriptionTable::number32(std::string_view key) const {
    return static_cast<std::uint32_t>(number(key, kLargest32));
}

std::uint32_t DescriptionTable::number32(std::string_view key, std::uint32_t otherwise) const {
    return has(key) ? number32(key) : otherwise;
}

std::int64_t DescriptionTable::signed_number(std::string_view key) const { return value(key).signed_number(); }

bool DescriptionTable::flag(std::string_view key, bool otherwise) const {
    return has(key) ? value(key).flag() : otherwise;
}

std::vector<std::byte> DescriptionTable::hex(std::string_view key) const {
    const std::string digits = text(key);
    std::size_t bad = 0;
    std::optional<std::vector<std::byte>> bytes = bytes_of_hex(digits, bad);
    if (!bytes) {
        throw error_at(key, in_quotes(key) + " must be hex digits, two for a byte; character " +
                                std::to_string(bad + 1) + (bad < digits.size() ? " is none" : " is missing"));
    }
    return std::move(*bytes);
}

std::vector<std::byte> DescriptionTable::file_bytes(std::string_view key) const {
    const std::string name = text(key);
    if (!_file->names_files) {
        throw error_at(key, in_quotes(key) + " cannot name a file here: the description is none itself");
    }
    const std::filesystem::path path = std::filesystem::path(_file->path).parent_path() / name;
    return read_whole_file(path.string(), _file->path, place_of(key));
}

std::vector<std::pair<std::uint32_t, std::uint32_t>> DescriptionTable::number_pairs(std::string_view key) const {
    std::vector<std::pair<std::uint32_t, std::uint32_t>> pairs;
    if (!has(key)) {
        return pairs;
    }
    for (const DescriptionValue &element : value(key).elements("pairs of numbers")) {
        const std::vector<DescriptionValue> pair = element.elements("pairs of numbers");
        if (pair.size() != 2) {
            throw element.error("must hold pairs of numbers");
        }
        pairs.emplace_back(static_cast<std::uint32_t>(pair[0].number(kLargest32)),
                           static_cast<std::uint32_t>(pair[1].number(kLargest32)));
    }
    return pairs;
}

std::map<std::string, OwnedValue> DescriptionTable::typed_values(std::string_view key) const {
    std::map<std::string, OwnedValue> values;
    if (!has(key)) {
        return values;
    }
    const toml::node &node = required(key);
    if (!node.is_table()) {
        throw wrong_type(key, node, "a table");
    }
    const TypedValueReader reader(*_file);
    for (const auto &[name, value] : *node.as_table()) {
        reader.check_key(name);
        values.emplace(name.str(), reader.value(value));
    }
    return values;
}

std::optional<DescriptionTable> DescriptionTable::table(std::string_view key, const std::string &what,
                                                        const KnownKeys &keys) const {
    return has(key) ? std::optional(value(key).table(what, keys)) : std::nullopt;
}

std::vector<DescriptionTable> DescriptionTable::tables(std::string_view key, const std::string &what,
                                                       const KnownKeys &keys) const {
    std::vector<DescriptionTable> found;
    if (!has(key)) {
        return found;
    }
    const toml::node &node = required(key);
    if (!node.is_array()) {
        throw wrong_type(key, node, "an array of tables");
    }
    for (const toml::node &element : *node.as_array()) {
        if (!element.is_table()) {
            throw Error(_file->path, place_text(element.source().begin),
                        "each element of " + in_quotes(key) + " must be a table, not " + type_name(element));
        }
        found.emplace_back(*_file, *element.as_table(), what, keys);
    }
    return found;
}

std::map<std::string, DescriptionTable> DescriptionTable::named_tables(std::string_view key, const std::string &what,
                                                                       const KnownKeys &keys) const {
    std::map<std::string, DescriptionTable> found;
    if (!has(key)) {
        return found;
    }
    const toml::node &node = required(key);
    if (!node.is_table()) {
        throw wrong_type(key, node, "a table of named tables");
    }
    for (const auto &[name, element] : *node.as_table()) {
        if (!element.is_table()) {
            throw Error(_file->path, place_text(element.source().begin),
                        in_quotes(std::string(key) + "." + std::string(name.str())) + " must be a table, not " +
                            type_name(element));
        }
        found.emplace(name.str(),
                      DescriptionTable(*_file, *element.as_table(), what + " " + in_quotes(name.str()), keys));
    }
    return found;
}

} // namespace host
