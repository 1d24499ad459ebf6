/** The verbs of the command line. Each is defined in the source file named after it. */
#pragma once

#include "cli/arguments/declaration.h"

namespace cli {

/** The program's exit codes. */
enum ExitCode { kExitOk = 0, kExitFailed = 1, kExitWrongUse = 2 };

Verb declare_run();
Verb declare_notify();
Verb declare_capture();
Verb declare_show();
Verb declare_decode();
Verb declare_export();
Verb declare_load();
Verb declare_report();
Verb declare_names();
Verb declare_schema();
Verb declare_metrics();
Verb declare_publish();
Verb declare_query();
Verb declare_compare();
Verb declare_validate();
Verb declare_completion();
Verb declare_help();

} // namespace cli
