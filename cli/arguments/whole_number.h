/** Options that accept a whole number. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "cli/arguments/declaration.h"

namespace cli {

/** Reads decimal digits, leading zeros included. Empty for any other text and for numbers beyond 64 bits. */
std::optional<std::uint64_t> parse_whole_number(std::string_view text);

/**
 * Reads an id: decimal digits, or hexadecimal ones behind "0x" or "0X". Empty for any other text; a number beyond 64
 * bits is the largest of 64 bits, which no id is.
 */
std::optional<std::uint64_t> parse_id(std::string_view text);

/**
 * The value is a whole number of 64 bits.
 * @param number  stays empty when the option is not given.
 */
ValueReader whole_number_reader(std::optional<std::uint64_t> &number);

} // namespace cli
