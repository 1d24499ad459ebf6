/** One TOML table of a device description, read key by key. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#define TOML_ENABLE_FORMATTERS 0
#include <toml++/impl/preprocessor.h>
// A header such as "[=]" breaks what the parser asserts (with checks) or lets the compiler assume (without). It refuses
// the header by itself a line later: leave it to that, in every build.
#undef TOML_ASSERT_ASSUME
#define TOML_ASSERT_ASSUME(expr) static_assert(true)
#include <toml++/toml.h>

#include "host/error.h"
#include "platform/Owned.h"

namespace host {

/** The keys that a table may have. */
using KnownKeys = std::vector<std::string_view>;

/** A description file, parsed. */
struct DescriptionFile {
    std::string path; ///< as the user named it
    toml::table root;
    bool names_files; ///< whether it may name other files, which stand beside it
};

/** @throws Error for a file that cannot be read or is no TOML. */
DescriptionFile parse_description_file(const std::string &path);

/** A description that is no file, and names none. @param name  for errors. @throws Error for what is no TOML. */
DescriptionFile parse_description_text(std::string_view text, const std::string &name);

class DescriptionTable;

/**
 * The value of a key, or an element of it. Refers to the parsed file, which must outlive it. Every member throws
 * an Error that names file, line, column, key and reason when the value is of the wrong type or out of range.
 */
class DescriptionValue {
public:
    DescriptionValue(const DescriptionFile &file, const toml::node &node, std::string key)
        : _file(&file), _node(&node), _key(std::move(key)) {}

    bool is_text() const { return _node->is_string(); }
    bool is_boolean() const { return _node->is_boolean(); }

    std::string text() const;
    bool flag() const;

    /** 0 to `largest`. */
    std::uint64_t number(std::uint64_t largest) const;

    /** `smallest` to `largest`; a hex text stands for the 64 bits of a number. */
    std::int64_t signed_number(std::int64_t smallest = std::numeric_limits<std::int64_t>::min(),
                               std::int64_t largest = std::numeric_limits<std::int64_t>::max()) const;

    /** A TOML integer or floating-point number, infinities among them. */
    double decimal() const;

    /**
     * A decimal number as a signed one with 16 fraction bits. Refuses what would read back as another number to the
     * six decimals that people are shown.
     */
    std::int32_t fixed_point() const;

    /** The elements of an array, which errors name by its key. @param wanted  what it is an array of, for errors. */
    std::vector<DescriptionValue> elements(const char *wanted) const;

    /** @param what, keys  as for DescriptionTable. */
    DescriptionTable table(const std::string &what, const KnownKeys &keys) const;

    const std::string &key() const { return _key; }

    /** An error here, whose reason begins with the key. */
    Error error(const std::string &reason) const;

private:
    std::uint64_t bits() const;
    Error wrong_type(const std::string &wanted) const;

    const DescriptionFile *_file;
    const toml::node *_node;
    std::string _key;
};

/** A regular file's bytes. @throws Error(file, place, …) with a reason that names `path`. */
std::vector<std::byte> read_whole_file(const std::string &path, const std::string &file, const std::string &place);

/**
 * A table whose keys are all known. Refers to the parsed file, which must outlive it. Every member throws an
 * Error that names file, line, column and reason when a key is missing, of the wrong type or out of range.
 *
 * Numbers may be written as TOML integers or, because those have 63 bits, as text: "0x" and hex digits.
 */
class DescriptionTable {
public:
    /**
     * @param what  how errors name such a table, as "entry".
     * @param keys  every key that the table may have. @throws Error for any other.
     */
    DescriptionTable(const DescriptionFile &file, const toml::table &table, std::string what, const KnownKeys &keys);

    bool has(std::string_view key) const { return _table->contains(key); }

    /** The value of a key that the table must have. */
    DescriptionValue value(std::string_view key) const;

    std::string text(std::string_view key) const;
    std::optional<std::string> optional_text(std::string_view key) const;

    /** 0 to `largest`. */
    std::uint64_t number(std::string_view key, std::uint64_t largest) const;
    std::optional<std::uint64_t> optional_number(std::string_view key, std::uint64_t largest) const;

    /** 0 to 0xFFFFFFFF. */
    std::uint32_t number32(std::string_view key) const;
    std::uint32_t number32(std::string_view key, std::uint32_t otherwise) const;

    /** All 64-bit values: a hex text stands for its bits. */
    std::int64_t signed_number(std::string_view key) const;

    bool flag(std::string_view key, bool otherwise) const;

    /** Hex digits, two for a byte, blanks and line ends between bytes allowed. */
    std::vector<std::byte> hex(std::string_view key) const;

    /** The bytes of the file that the value names. */
    std::vector<std::byte> file_bytes(std::string_view key) const;

    /** An array of pairs of 32-bit numbers; empty when absent. */
    std::vector<std::pair<std::uint32_t, std::uint32_t>> number_pairs(std::string_view key) const;

    /** A table of typed values: booleans, numbers, text, data, arrays, dictionaries; empty when absent. */
    std::map<std::string, platform::OwnedValue> typed_values(std::string_view key) const;

    /** The table under `key`; none when absent. */
    std::optional<DescriptionTable> table(std::string_view key, const std::string &what, const KnownKeys &keys) const;

    /** The tables of an array of tables, in order; none when absent. */
    std::vector<DescriptionTable> tables(std::string_view key, const std::string &what, const KnownKeys &keys) const;

    /** The tables of a table of tables, by their names; none when absent. */
    std::map<std::string, DescriptionTable> named_tables(std::string_view key, const std::string &what,
                                                         const KnownKeys &keys) const;

    const std::string &file() const { return _file->path; }

    /** Where the table, or the value of one of its keys, stands: "line 3, column 7". */
    std::string place() const;
    std::string place_of(std::string_view key) const;

    /** An error at the table, or at the value of one of its keys. */
    Error error(const std::string &reason) const;
    Error error_at(std::string_view key, const std::string &reason) const;

private:
    const toml::node &required(std::string_view key) const;
    Error wrong_type(std::string_view key, const toml::node &node, const char *wanted) const;

    const DescriptionFile *_file;
    const toml::table *_table;
    std::string _what;
};

/** "; did you mean "x"?" for the nearest of the names, or nothing when none is near. */
std::string suggestion(std::string_view word, const std::vector<std::string_view> &names);

} // namespace host
