/** Options that accept one of a few words. */
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/arguments/declaration.h"

namespace cli {

/**
 * The value must be one of `words`. The message for any other value lists them and suggests the nearest.
 * @param word  keeps its value when the option is not given.
 */
ValueReader word_reader(std::string &word, const std::vector<std::string> &words);

/** `; did you mean "WORD"?` for the nearest of `words`; empty when none is near. */
std::string suggest_word(std::string_view word, const std::vector<std::string> &words);

} // namespace cli
