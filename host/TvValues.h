/** Operations on typed values beyond those of `platform/TvValues.h`. Any thread. */
#pragma once

#include <cstddef>
#include <functional>
#include <string_view>

#include "platform/Owned.h"
#include "platform/TvValues.h"

namespace host {

/** Visits the entries of a dictionary in ascending order of their keys (byte for byte). */
void for_each_entry(TvDictionaryRef dictionary, const std::function<void(std::string_view key, TvRef value)> &visit);

/** Whether `text` can be a typed string: well-formed UTF-8 without a zero byte. */
bool is_string_text(std::string_view text);

/** The width in bits that a number was created with, 32 or 64; 0 for any other kind. */
int number_width(TvNumberRef number);

/** The number of live values in the process, not counting booleans. */
std::size_t live_values();

/**
 * Sets an entry of a dictionary, taking over the reference to `value`.
 * @return false for null, for a key that is not valid text, and when memory is exhausted.
 */
bool set_value(TvMutableDictionaryRef dictionary, std::string_view key, platform::OwnedValue value);

} // namespace host
