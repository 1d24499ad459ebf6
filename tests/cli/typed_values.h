/** Typed values written as one expression. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/TvValues.h"

namespace cli_tests {

using platform::OwnedValue;

inline OwnedValue text(std::string_view content) {
    return OwnedValue(TvStringCreateWithBytes(content.data(), content.size(), kTvStringEncodingUTF8));
}

inline OwnedValue number(std::int64_t value) { return OwnedValue(TvNumberCreateSInt64(value)); }

inline OwnedValue boolean(bool value) { return OwnedValue(TvRetain(TvBooleanGet(value))); }

inline OwnedValue data(std::string_view content) { return OwnedValue(TvDataCreate(content.data(), content.size())); }

template <typename... Entries>
OwnedValue array(Entries... entries) {
    const TvMutableArrayRef made = TvArrayCreateMutable();
    (TvArrayAppend(made, entries.get()), ...);
    return OwnedValue(made);
}

/** A dictionary being written: entries are added or replaced, then it is taken. */
class Dictionary {
public:
    Dictionary &with(std::string_view key, OwnedValue value) {
        host::set_value(_made.get(), key, std::move(value));
        return *this;
    }
    Dictionary &with(std::string_view key, std::string_view content) { return with(key, text(content)); }
    Dictionary &with(std::string_view key, const char *content) { return with(key, text(content)); }
    Dictionary &with(std::string_view key, std::int64_t value) { return with(key, number(value)); }
    Dictionary &with(std::string_view key, int value) { return with(key, number(value)); }
    Dictionary &with(std::string_view key, Dictionary &value) { return with(key, value.take()); }

    OwnedValue take() { return OwnedValue(_made.detach()); }

private:
    platform::OwnedMutableValue _made{TvDictionaryCreateMutable()};
};

/** As `TvCreateBinaryEncoding` writes it. */
inline std::string encode(const OwnedValue &value) {
    const OwnedValue bytes(TvCreateBinaryEncoding(value.get()));
    return {reinterpret_cast<const char *>(TvDataGetBytes(bytes.get())), TvDataGetLength(bytes.get())};
}

} // namespace cli_tests
