/** What `--version` says of the program. */
#pragma once

#include <string>

namespace cli {

/** The commit that the program was built from, or "unknown"; always the latter in tests. Valid as long as the process.
 */
const char *commit();

/** The program's version, its commit and compiler, and the module that it loads by default, in one line each. */
std::string version_text();

} // namespace cli
