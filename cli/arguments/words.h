/** Arguments that are one of a few words. */
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

namespace cli {

/** Accepts one of `words`; the message for any other suggests the right one. */
CLI::Validator one_of(const std::vector<std::string> &words);

/** "; did you mean" the nearest of `words`, or nothing. */
std::string near_word(std::string_view word, const std::vector<std::string> &words);

} // namespace cli
