/** Text as UTF-8, where it may be anything. Any thread. */
#pragma once

#include <cstddef>
#include <string_view>

namespace host {

/**
 * The length in bytes of the well-formed UTF-8 sequence that `text` starts with: no overlong forms, no
 * surrogates, at most U+10FFFF. 0 when there is none.
 */
std::size_t utf8_sequence_length(std::string_view text);

/** Whether every byte of `text` is below 0x80. */
bool is_ascii(std::string_view text);

/** Whether all of `text` is well-formed. Fast for ASCII, which most texts are. */
bool is_utf8(std::string_view text);

/** How many characters a reader counts in `text`; each byte that belongs to none counts as one. */
std::size_t character_count(std::string_view text);

} // namespace host
