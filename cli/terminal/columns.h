/** Text in columns and lines of a width. */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

enum class Align { Left, Right };

/**
 * Rows of cells as lines without newlines: each column as wide as its widest cell.
 * @param columns how each column's cells stand; every row has that many cells.
 * @param gap     between columns.
 */
std::vector<std::string> aligned_rows(const std::vector<std::vector<std::string>> &rows,
                                      const std::vector<Align> &columns, std::string_view gap = "  ");

/** What stands between blanks. */
std::vector<std::string> words_of(std::string_view text);

/** Words as lines of at most `width` characters, `separator` and a blank between two; a longer word has its own. */
std::vector<std::string> wrapped_words(const std::vector<std::string> &words, std::string_view separator,
                                       std::size_t width);

} // namespace cli
