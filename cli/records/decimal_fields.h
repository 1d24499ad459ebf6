/** Decimal numbers inside texts, kept as characters, so that they stay exact. */
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "qor/field.h"

namespace cli {

/**
 * Whether `text` is a decimal number, with or without a minus sign and a fraction, of at most 20 characters. That is
 * the length of the longest 64-bit number, and short enough for a column.
 */
bool is_decimal(std::string_view text);

/** Whether a decimal number has a fraction. */
bool is_fraction(std::string_view decimal);

/**
 * Splits a text that consists of nothing but "NAME=NUMBER" for each field, separated by single blanks.
 * @param values  as many as fields: views of `text`. Undefined on failure.
 * @return false for any other text.
 */
bool take_decimal_fields(std::string_view text, std::span<const qor::Field> fields, std::span<std::string_view> values);

} // namespace cli
