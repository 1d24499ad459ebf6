/** The names that people give to what an engine has: read from the command line, they need no quotes in SQL. */
#pragma once

#include <string>

#include "cli/arguments/declaration.h"

namespace cli {

/** A letter or '_', then letters, digits and '_'; at most 64. @param name  keeps its value when it is not given. */
ValueReader database_reader(std::string &name);

/** Letters, digits, '_', '-' and '.'; at most 64. */
ValueReader cluster_reader(std::string &name);

} // namespace cli
