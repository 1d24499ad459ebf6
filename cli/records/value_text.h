/** Any typed value as text for people. */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/terminal/text_style.h"
#include "platform/TvValues.h"

namespace cli {

/** A key of a dictionary and its value, both borrowed from the dictionary. */
using DictionaryEntry = std::pair<std::string_view, TvRef>;

/** Whether the value is written beside its key: scalars, empty values, and arrays of only numbers and booleans. */
bool fits_on_one_line(TvRef value);

/** A value that fits on one line, without a newline. */
std::string value_line(TvRef value, const TextStyle &style);

/**
 * The value on lines of its own, each of which ends with a newline. The texts of an array have a line each. The keys of
 * a dictionary are a column in ascending order, byte for byte, with nested values indented below them.
 *
 * @param indent  in spaces.
 */
std::string value_lines(TvRef value, std::size_t indent, const TextStyle &style);

/** Writes entries like those of a dictionary, in the order given. */
std::string entry_lines(const std::vector<DictionaryEntry> &entries, std::size_t indent, const TextStyle &style);

} // namespace cli
