/** Suggestions for mistyped words. */
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

/**
 * The known word that is the fewest edits (a letter left out, added or replaced, or two neighbours swapped) away from
 * `word`; the first of several. Nothing when that takes more than two edits and more than a third of the letters, or
 * when `word` has more than 64 letters.
 */
std::optional<std::string> nearest_word(std::string_view word, const std::vector<std::string_view> &known);

/** "; did you mean "x"?" for the nearest word; empty when there is none. */
std::string suggestion(std::string_view word, const std::vector<std::string_view> &known);

} // namespace host
