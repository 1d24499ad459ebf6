/** Text in columns, and text wrapped to a width. */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

enum class Align { Left, Right };

/**
 * Turns rows of cells into lines without newlines. Each column is as wide as its widest cell.
 * @param columns  the alignment of each column; every row has that many cells.
 * @param gap      printed between columns.
 */
std::vector<std::string> align_rows(const std::vector<std::vector<std::string>> &rows,
                                    const std::vector<Align> &columns, std::string_view gap = "  ");

/** The words of `text`, which spaces separate. */
std::vector<std::string> words_of(std::string_view text);

/**
 * Joins words into lines of at most `width` characters. `separator` and a space stand between two words; a word longer
 * than `width` has a line of its own.
 */
std::vector<std::string> wrap_words(const std::vector<std::string> &words, std::string_view separator,
                                    std::size_t width);

} // namespace cli
