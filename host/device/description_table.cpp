#include "host/device/description_table.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstring>
#include <new>

#include "host/TvValues.h"
#include "host/device/toml_keys.h"
#include "host/nearest_word.h"

namespace host {
namespace {

using platform::OwnedValue;

constexpr std::uint64_t kLargest32 = std::numeric_limits<std::uint32_t>::max();

/** Marks tables that stand for a value that TOML cannot express. No dictionary may have such keys. */
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

/** @param time  with an offset. */
std::int64_t microseconds_since_epoch(const toml::date_time &time) {
    namespace chrono = std::chrono;
    const chrono::sys_days day =
        chrono::year(time.date.year) / chrono::month(time.date.month) / chrono::day(time.date.day);
    const auto of_day = chrono::hours(time.time.hour) + chrono::minutes(time.time.minute) +
                        chrono::seconds(time.time.second) +
                        chrono::duration_cast<chrono::microseconds>(chrono::nanoseconds(time.time.nanosecond));
    return chrono::microseconds(day.time_since_epoch() + of_day - chrono::minutes(time.offset->minutes)).count();
}

/** Parses "0x" and 1 to 16 hex digits. */
std::optional<std::uint64_t> parse_hex_number(std::string_view text) {
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

int hex_digit_value(char digit) {
    std::uint8_t value = 0;
    return std::from_chars(&digit, &digit + 1, value, 16).ec == std::errc{} ? value : -1;
}

/** Parses pairs of hex digits. @param bad  set on failure to the offset of the first invalid or missing character. */
std::optional<std::vector<std::byte>> parse_hex_bytes(std::string_view text, std::size_t &bad) {
    std::vector<std::byte> bytes;
    for (std::size_t i = 0; i < text.size();) {
        if (std::strchr(" \t\r\n", text[i]) != nullptr && text[i] != '\0') {
            ++i;
            continue;
        }
        const int high = hex_digit_value(text[i]);
        const int low = i + 1 < text.size() ? hex_digit_value(text[i + 1]) : -1;
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

/** Records show six decimals: half a unit of the last one, plus the rounding error of a double. */
constexpr double kSixDecimals = 0.5e-6 + 1e-9;

std::string six_decimal_text(double value) {
    std::array<char, 32> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, 6).ptr;
    return {text.data(), end};
}

std::string shortest_text(double value) {
    std::array<char, 32> text;
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
}

/** Converts TOML nodes to typed values. */
class TypedValueReader {
public:
    explicit TypedValueReader(const DescriptionFile &file) : _file(file) {}

    OwnedValue read(const toml::node &node) const {
        switch (node.type()) {
        case toml::node_type::boolean:
            return OwnedValue(TvRetain(TvBooleanGet(node.as_boolean()->get())));
        case toml::node_type::integer:
            return require_memory(OwnedValue(TvNumberCreateSInt64(node.as_integer()->get())));
        case toml::node_type::string:
            return read_text(node.as_string()->get(), node.source().begin);
        case toml::node_type::array:
            return read_array(*node.as_array());
        case toml::node_type::table:
            return read_table(*node.as_table());
        default:
            throw error(node.source().begin, std::string("a typed value cannot be ") + type_name(node));
        }
    }

    /** Refuses keys that no dictionary can hold or that the mark reserves. */
    void check_key(const toml::key &key) const {
        if (key.str().starts_with(kReservedMark) || key.str().find('\0') != std::string_view::npos) {
            throw error(key.source().begin, "a property's name cannot begin with \"$\" or hold a zero character");
        }
    }

    OwnedValue read_text(std::string_view bytes, const toml::source_position &position) const {
        if (bytes.find('\0') != std::string_view::npos) {
            throw error(position, "a string cannot hold a zero character");
        }
        return require_memory(OwnedValue(TvStringCreateWithBytes(bytes.data(), bytes.size(), kTvStringEncodingUTF8)));
    }

private:
    OwnedValue read_array(const toml::array &nodes) const {
        platform::OwnedMutableValue array(TvArrayCreateMutable());
        for (const toml::node &node : nodes) {
            if (!TvArrayAppend(array.get(), read(node).get())) {
                throw std::bad_alloc();
            }
        }
        return require_memory(OwnedValue(array.detach()));
    }

    OwnedValue read_table(const toml::table &nodes) const {
        for (const auto &[key, node] : nodes) {
            if (key.str().starts_with(kReservedMark)) {
                return read_marked(nodes, key);
            }
        }
        platform::OwnedMutableValue dictionary(TvDictionaryCreateMutable());
        for (const auto &[key, node] : nodes) {
            const OwnedValue typed_key = read_text(key.str(), key.source().begin);
            if (!TvDictionarySetValue(dictionary.get(), typed_key.get(), read(node).get())) {
                throw std::bad_alloc();
            }
        }
        return require_memory(OwnedValue(dictionary.detach()));
    }

    OwnedValue read_marked(const toml::table &nodes, const toml::key &key) const {
        if (key.str() != kDataKey && key.str() != kNumberKey) {
            throw error(key.source().begin,
                        "unknown key " + in_quotes(key.str()) + suggestion(key.str(), {kDataKey, kNumberKey}));
        }
        if (nodes.size() != 1) {
            throw error(nodes.source().begin, "a table with " + in_quotes(key.str()) + " has no other key");
        }
        const DescriptionTable table(_file, nodes, "value", {kDataKey, kNumberKey});
        if (key.str() == kNumberKey) {
            return require_memory(OwnedValue(TvNumberCreateSInt64(table.signed_number(kNumberKey))));
        }
        const std::vector<std::byte> bytes = table.hex(kDataKey);
        return require_memory(OwnedValue(TvDataCreate(bytes.data(), bytes.size())));
    }

    static OwnedValue require_memory(OwnedValue value) {
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

DescriptionFile parse_description_file(const std::string &path, const std::optional<std::string> &folder) {
    const std::vector<std::byte> bytes = read_description_file(path);
    DescriptionFile file = parse_description_text({reinterpret_cast<const char *>(bytes.data()), bytes.size()}, path);
    file.names = std::make_shared<NamedFiles>(path, folder);
    return file;
}

DescriptionFile parse_description_text(std::string_view text, const std::string &name) {
    require_short_keys(text, name);
    try {
        return {name, toml::parse(text, name), nullptr};
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
    const std::optional<std::uint64_t> value = parse_hex_number(text);
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

std::int64_t DescriptionValue::instant() const {
    const toml::value<toml::date_time> *const written = _node->as_date_time();
    if (written == nullptr) {
        if (!_node->is_integer() && !_node->is_string()) {
            throw wrong_type("a number of microseconds or a date and time");
        }
        return static_cast<std::int64_t>(number(std::numeric_limits<std::int64_t>::max()));
    }
    const toml::date_time &time = written->get();
    if (!time.offset) {
        throw error("must have a distance from UTC, as in 2025-10-09T06:53:20Z or 2025-10-09T08:53:20+02:00");
    }
    const std::int64_t microseconds = microseconds_since_epoch(time);
    if (microseconds < 0) {
        throw error("must not be before 1970");
    }
    return microseconds;
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
        throw error("must be " + six_decimal_text(kSmallest / kFixedOne) + " to " +
                    six_decimal_text(kLargest / kFixedOne) + ", not " + shortest_text(wanted));
    }
    const double nearest = scaled / kFixedOne;
    if (std::abs(nearest - wanted) > kSixDecimals) {
        throw error("must be a multiple of 1/65536 to six decimals; the nearest to " + shortest_text(wanted) + " is " +
                    six_decimal_text(nearest));
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

const toml::node &DescriptionTable::require(std::string_view key) const {
    const toml::node *node = _table->get(key);
    if (node == nullptr) {
        throw error(_what + " lacks the key " + in_quotes(key));
    }
    return *node;
}

DescriptionValue DescriptionTable::value(std::string_view key) const {
    return DescriptionValue(*_file, require(key), std::string(key));
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

std::optional<std::int64_t> DescriptionTable::optional_instant(std::string_view key) const {
    return has(key) ? std::optional(value(key).instant()) : std::nullopt;
}

bool DescriptionTable::flag(std::string_view key, bool otherwise) const {
    return has(key) ? value(key).flag() : otherwise;
}

std::vector<std::byte> DescriptionTable::hex(std::string_view key) const {
    const std::string digits = text(key);
    std::size_t bad = 0;
    std::optional<std::vector<std::byte>> bytes = parse_hex_bytes(digits, bad);
    if (!bytes) {
        throw error_at(key, in_quotes(key) + " must be hex digits, two per byte; character " + std::to_string(bad + 1) +
                                (bad < digits.size() ? " is not one" : " is missing"));
    }
    return std::move(*bytes);
}

std::vector<std::byte> DescriptionTable::file_bytes(std::string_view key) const {
    const std::string name = text(key);
    if (_file->names == nullptr) {
        throw error_at(key, in_quotes(key) + " cannot name a file here: the description is not a file itself");
    }
    if (name.find('\0') != std::string::npos) {
        throw error_at(key, in_quotes(key) + " cannot hold a zero character");
    }
    return _file->names->read(name, place_of(key));
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
    const toml::node &node = require(key);
    if (!node.is_table()) {
        throw wrong_type(key, node, "a table");
    }
    const TypedValueReader reader(*_file);
    for (const auto &[name, value] : *node.as_table()) {
        reader.check_key(name);
        values.emplace(name.str(), reader.read(value));
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
    const toml::node &node = require(key);
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
    const toml::node &node = require(key);
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
