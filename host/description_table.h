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
};

/** @throws Error for a file that cannot be read or is no TOML. */
DescriptionFile parse_description_file(const std::string &path);

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
    std::uint64_t bits_of(std::string_view key, const toml::node &node) const;
    std::uint64_t checked_number(std::string_view key, const toml::node &node, std::uint64_t largest) const;
    Error wrong_type(std::string_view key, const toml::node &node, const char *wanted) const;

    const DescriptionFile *_file;
    const toml::table *_table;
    std::string _what;
};

/** "; did you mean "x"?" for the nearest of the names, or nothing when none is near. */
std::string suggestion(std::string_view word, const std::vector<std::string_view> &names);

} // namespace host
