#include "cli/records/dictionary_reader.h"

#include "host/TvValues.h"

namespace cli {

std::optional<std::int64_t> DictionaryReader::number(const char *key) const {
    std::int64_t value = 0;
    return TvNumberGetSInt64(TvDictionaryGetValue(_dictionary, key), &value) ? std::optional(value) : std::nullopt;
}

std::optional<std::int64_t> DictionaryReader::take_number(const char *key) {
    const std::optional<std::int64_t> value = number(key);
    if (value) {
        take(key);
    }
    return value;
}

std::optional<std::int32_t> DictionaryReader::take_number_32(const char *key) {
    std::int32_t value = 0;
    if (!TvNumberGetSInt32(TvDictionaryGetValue(_dictionary, key), &value)) {
        return std::nullopt;
    }
    take(key);
    return value;
}

TvRef DictionaryReader::take_line(const char *key) {
    const TvRef value = TvDictionaryGetValue(_dictionary, key);
    if (value == nullptr || !fits_on_one_line(value)) {
        return nullptr;
    }
    take(key);
    return value;
}

TvDictionaryRef DictionaryReader::take_dictionary(const char *key) {
    const TvRef value = TvDictionaryGetValue(_dictionary, key);
    if (TvGetTypeID(value) != TvDictionaryGetTypeID()) {
        return nullptr;
    }
    take(key);
    return value;
}

std::vector<DictionaryEntry> DictionaryReader::rest() const {
    std::vector<DictionaryEntry> entries;
    host::for_each_entry(_dictionary, [&](std::string_view key, TvRef value) {
        if (_taken.find(key) == _taken.end()) {
            entries.emplace_back(key, value);
        }
    });
    return entries;
}

std::optional<std::string_view> text_of(TvRef value) {
    if (TvGetTypeID(value) != TvStringGetTypeID()) {
        return std::nullopt;
    }
    return std::string_view(TvStringGetCString(value), TvStringGetLength(value));
}

} // namespace cli
