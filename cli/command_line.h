/** The whole program: arguments in, exit code out. */
#pragma once

namespace cli {

/**
 * Parses the arguments and runs the verb they name. Every error is printed here, once, as one line on standard error.
 * @return 0 success, 1 failure, 2 wrong use.
 */
int run_command_line(int argc, const char *const *argv);

} // namespace cli
