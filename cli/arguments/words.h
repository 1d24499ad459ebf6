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
OneOfWords word_reader(std::string &word, const std::vector<std::string> &words);

/** Checks and stores the text of such a value. @param name  of the option or variable. @throws WrongUse. */
void read_word(const OneOfWords &target, const std::string &name, const std::string &text);

/** `; did you mean "WORD"?` for the nearest of `words`; empty when none is near. */
std::string suggest_word(std::string_view word, const std::vector<std::string> &words);

} // namespace cli
