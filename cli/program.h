/** The program as it declares itself. */
#pragma once

#include "cli/arguments/parser.h"

namespace cli {

/** Every verb, and the texts of the program's help page. */
const Program &program();

} // namespace cli
