/** Scripts with which shells complete the program's words. */
#pragma once

#include <string>
#include <vector>

#include "cli/arguments/parser.h"

namespace cli {

/** The shells for which there is a script: "bash", "zsh" and "fish". */
std::vector<std::string> completed_shells();

/**
 * The script of one of them, made from the declarations alone. It needs nothing of the program when it runs.
 * @param shell  one of `completed_shells()`.
 */
std::string completion_script(const Program &program, const std::string &shell);

} // namespace cli
