/** Reads a dictionary entry by entry and remembers which entries were not taken. */
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

#include "cli/records/value_text.h"
#include "platform/TvValues.h"

namespace cli {

/** Borrows the dictionary. Null and values of other kinds count as empty. Keys passed in must outlive the reader. */
class DictionaryReader {
public:
    explicit DictionaryReader(TvDictionaryRef dictionary) : _dictionary(dictionary) {}

    /** The number under `key`, if any. Does not take the entry. */
    std::optional<std::int64_t> number(const char *key) const;
    /** Takes the number under `key`, if any. */
    std::optional<std::int64_t> take_number(const char *key);
    /** Takes the number under `key` if it is one of 32 bits. */
    std::optional<std::int32_t> take_number_32(const char *key);
    /** Takes the value under `key` if it fits on one line; otherwise null. */
    TvRef take_line(const char *key);
    /** Takes the dictionary under `key`; null when there is none. */
    TvDictionaryRef take_dictionary(const char *key);
    /** Marks the entry under `key` as taken. */
    void take(std::string_view key) { _taken.insert(key); }

    bool took_any() const { return !_taken.empty(); }
    /** The entries that were not taken, in ascending order of their keys. */
    std::vector<DictionaryEntry> rest() const;

private:
    TvDictionaryRef _dictionary;
    std::set<std::string_view> _taken;
};

/** The text of a string; nothing for values of other kinds. */
std::optional<std::string_view> text_of(TvRef value);

} // namespace cli
