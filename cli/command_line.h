/** The program, from its arguments to its exit code. */
#pragma once

namespace cli {

/**
 * Parses the arguments and runs the verb that they name. Every error is printed here, once, as one line on
 * standard error.
 * @return 0 fine, 1 the job failed, 2 wrong use.
 */
int run_command_line(int argc, const char *const *argv);

} // namespace cli
