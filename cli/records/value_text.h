/** Any typed value as people read it. */
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

/** Whether the value stands beside its key: scalars, lists of nothing but numbers and booleans, what is empty. */
bool fits_on_one_line(TvRef value);

/** A value that fits on one line, without a newline at its end. */
std::string value_line(TvRef value, const TextStyle &style);

/**
 * The value on lines of its own, each with a newline at its end.
 *
 * An array's texts stand one on a line, as they are; a dictionary's keys stand in a column, in ascending order
 * (byte for byte), what they contain indented below them.
 *
 * @param indent in blanks.
 */
std::string value_lines(TvRef value, std::size_t indent, const TextStyle &style);

/** Entries as those of a dictionary, in the order given. */
std::string entry_lines(const std::vector<DictionaryEntry> &entries, std::size_t indent, const TextStyle &style);

} // namespace cli
