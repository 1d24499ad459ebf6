/** Decimal numbers inside texts, kept as characters, so that they stay exact. */
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace cli {

/**
 * Whether `text` is a decimal number, with or without a minus sign and a fraction, of at most 20 characters. That is
 * the length of the longest 64-bit number, and short enough for a column.
 */
bool is_decimal(std::string_view text);

/** Whether a decimal number has a fraction. */
bool is_fraction(std::string_view decimal);

/**
 * Splits a text that consists of names, each followed by a decimal number.
 * @param names   as in the text, each with its separators from the number before.
 * @param values  one per name: views of `text`. Undefined on failure.
 * @return false for any other text.
 */
bool take_decimal_fields(std::string_view text, std::span<const std::string_view> names,
                         std::span<std::string_view> values);

} // namespace cli
