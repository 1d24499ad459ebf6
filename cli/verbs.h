/** The verbs of the command line. Each is defined in the source file named after it. */
#pragma once

#include <functional>

#include <CLI/CLI.hpp>

namespace cli {

/** The program's exit codes. */
enum ExitCode { kExitOk = 0, kExitFailed = 1, kExitWrongUse = 2 };

/** A verb: its arguments, and the function to call when they are parsed. */
struct Verb {
    CLI::App *arguments; ///< owned by the program's `CLI::App`
    /** @return the exit code. @throws host::Error, ReaderHasGone, WrongUse. */
    std::function<int()> run;
};

Verb add_run_verb(CLI::App &program);
Verb add_notify_verb(CLI::App &program);
Verb add_capture_verb(CLI::App &program);
Verb add_show_verb(CLI::App &program);
Verb add_decode_verb(CLI::App &program);
Verb add_metrics_verb(CLI::App &program);
Verb add_publish_verb(CLI::App &program);
Verb add_validate_verb(CLI::App &program);

} // namespace cli
