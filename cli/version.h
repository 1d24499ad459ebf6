/** What `--version` says of the program. */
#pragma once

#include <string>

namespace cli {

/** The commit that the program was built from, or "unknown". Only the program itself has it, since it changes often. */
extern const char *const kCommit;

/** The program's version, its commit and compiler, and the module that it loads by default, in one line each. */
std::string version_text();

} // namespace cli
