/** A dictionary whose entries are taken one by one, so that what nobody understood is known. */
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

#include "cli/records/value_text.h"
#include "platform/TvValues.h"

namespace cli {

/** Borrows the dictionary; null and any other kind count as empty. Keys given must outlive the reader. */
class DictionaryReader {
public:
    explicit DictionaryReader(TvDictionaryRef dictionary) : _dictionary(dictionary) {}

    /** The number under `key`, if there is one. */
    std::optional<std::int64_t> number(const char *key) const;
    /** The same, as one that is understood. */
    std::optional<std::int64_t> take_number(const char *key);
    /** The same, of 32 bits. */
    std::optional<std::int32_t> take_number_32(const char *key);
    /** The value under `key` as one that is understood, when it fits on one line; else null. */
    TvRef take_line(const char *key);
    /** The dictionary under `key` as one that is understood; null when there is none. */
    TvDictionaryRef take_dictionary(const char *key);
    /** Marks the entry under `key` as understood. */
    void take(std::string_view key) { _taken.insert(key); }

    bool took_any() const { return !_taken.empty(); }
    /** The entries that nobody took, in ascending order of their keys. */
    std::vector<DictionaryEntry> rest() const;

private:
    TvDictionaryRef _dictionary;
    std::set<std::string_view> _taken;
};

/** The text of a string; nothing for any other kind. */
std::optional<std::string_view> text_of(TvRef value);

} // namespace cli
