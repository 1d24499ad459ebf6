/** What the host and the command line need of typed values beyond what the plug-in needs. */
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "platform/Owned.h"
#include "platform/TvValues.h"

namespace host {

/** Visits the entries of a dictionary in ascending order of their keys (byte for byte). */
void for_each_entry(TvDictionaryRef dictionary, const std::function<void(std::string_view key, TvRef value)> &visit);

/** Whether text can be a typed string: well-formed UTF-8 without a zero byte. */
bool is_string_text(std::string_view text);

/** The width that a number was made with: 32 or 64. 0 for any other kind. */
int number_width(TvNumberRef number);

/** How many values are alive in the process, booleans left out. Any thread. */
std::size_t live_values();

/** Puts a value under a key given as text, taking over the reference; false for null, for text that is no valid
 * key and without memory. */
bool set_value(TvMutableDictionaryRef dictionary, std::string_view key, platform::OwnedValue value);

/**
 * Reads back what `TvCreateBinaryEncoding` makes, and any other CBOR item built from maps with text keys,
 * arrays, integers of 64 signed bits, text, byte strings and booleans with definite lengths.
 *
 * The bytes are hostile: counts and nesting (at most 64 arrays and maps inside one another) are checked against the
 * bytes that remain before anything is built, a key that stands twice is refused, text must be well-formed, and nothing
 * may follow the item.
 *
 * @param file   named in errors.
 * @param base   the offset of `bytes` in that file, added to the offsets in errors.
 * @throws Error naming the file, the byte and the reason.
 */
platform::OwnedValue decode_binary_encoding(std::span<const std::byte> bytes, const std::string &file,
                                            std::size_t base);

} // namespace host
