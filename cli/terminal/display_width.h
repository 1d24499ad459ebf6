/** How many columns of a terminal a text takes. */
#pragma once

#include <cstddef>
#include <string_view>

namespace cli {

/**
 * The columns of a line: two for a wide character, none for one that joins the character before it. A byte that is not
 * UTF-8 counts as one. The line has no control characters. Any thread.
 */
std::size_t display_width(std::string_view line);

/** A line that may have lost its end. */
struct CutText {
    std::string_view start;
    std::string_view mark; ///< stands for what is missing; empty when nothing is
};

/**
 * As much of `line`, in whole characters, as takes at most `columns` together with the mark.
 * @param mark  says that something is missing; itself cut where it is wider than `columns`.
 */
CutText cut_to_width(std::string_view line, std::size_t columns, std::string_view mark);

} // namespace cli
