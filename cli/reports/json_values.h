/** Strings and numbers of JSON text. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "decoder/text_stream.h"

namespace cli {

/**
 * Appends `text`, which must be UTF-8, as a JSON string. Control characters are escaped, including U+007F to U+009F,
 * which JSON would allow but terminals obey.
 */
void append_json_string(text_buffer &out, std::string_view text);

/** Appends bytes as a JSON string of hex digits. */
void append_hex_string(text_buffer &out, std::span<const std::byte> bytes);

/** Appends a whole number in decimal. */
void append_number(text_buffer &out, std::uint64_t number);

/** Appends the shortest number that reads back as `real`, which must be finite. */
void append_real(text_buffer &out, double real);

} // namespace cli
