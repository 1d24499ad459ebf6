/** What somebody who typed a wrong word may have meant. */
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

/**
 * The known word that the fewest keystrokes (a letter left out, added, replaced, or two neighbours swapped)
 * turn `word` into, the first of several; nothing when more than a third of its letters would have to change.
 */
std::optional<std::string> nearest_word(std::string_view word, const std::vector<std::string_view> &known);

/** "; did you mean "x"?" for the nearest word, or nothing. */
std::string suggestion(std::string_view word, const std::vector<std::string_view> &known);

} // namespace host
