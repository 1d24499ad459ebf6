/** Decimal numbers inside texts, by their characters: exact however large they are. */
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace cli {

/**
 * Whether `text` is a decimal number with or without a sign and a fraction, of at most 20 characters: as many as
 * the longest 64-bit number has, and short enough for a column.
 */
bool is_decimal(std::string_view text);

/** Whether a decimal number has a fraction. */
bool is_fraction(std::string_view decimal);

/**
 * Splits a text that consists of nothing but names with a decimal number behind each.
 * @param names   as they stand in the text, with what is between a number and the next name.
 * @param values  as many as names: views of `text`. Undefined on failure.
 * @return false for any other text.
 */
bool take_decimal_fields(std::string_view text, std::span<const std::string_view> names,
                         std::span<std::string_view> values);

} // namespace cli
