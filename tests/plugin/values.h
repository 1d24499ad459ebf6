/** Values that tests of the plug-in write down: typed values, and bytes put end to end. */
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "platform/Owned.h"

namespace plug_in_tests {

inline platform::OwnedValue string_value(const char *text) {
    return platform::OwnedValue(TvStringCreateWithCString(text, kTvStringEncodingUTF8));
}
inline platform::OwnedValue number_value(int64_t number) { return platform::OwnedValue(TvNumberCreateSInt64(number)); }
inline platform::OwnedValue boolean_value(bool value) { return platform::OwnedValue(TvRetain(TvBooleanGet(value))); }

/** A dictionary of numbers. */
inline platform::OwnedValue numbers(const std::vector<std::pair<const char *, int64_t>> &entries) {
    platform::OwnedMutableValue dictionary(TvDictionaryCreateMutable());
    for (const auto &[key, number] : entries) {
        TvDictionarySetValue(dictionary.get(), string_value(key).get(), number_value(number).get());
    }
    return platform::OwnedValue(dictionary.detach());
}

inline std::vector<uint8_t> operator+(std::vector<uint8_t> left, const std::vector<uint8_t> &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

} // namespace plug_in_tests
