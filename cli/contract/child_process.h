/** Runs this program again as a child process, with a time limit. */
#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace cli {

/** The descriptor to which the child writes its result. */
constexpr int kResultDescriptor = 3;

struct ChildOutcome {
    bool timed_out = false;
    int exit_status = 0;  ///< of the program, when no signal killed it
    int signal = 0;       ///< that killed it; 0 when it exited
    std::string result;   ///< what it wrote to `kResultDescriptor`, at most 1 MiB
    std::string messages; ///< what it wrote to standard output and standard error, the last 64 KiB
};

/**
 * Runs this program with `arguments` and waits until it ends. After `time_out` it is killed. Processes that it started
 * are killed in either case. The child is a new process image, not a fork: threads of this process do not affect it.
 * @param environment  names and values added to this process's environment; they replace variables of the same name.
 * @throws host::Error when no child can be started.
 */
ChildOutcome run_child(const std::vector<std::string> &arguments,
                       const std::vector<std::pair<std::string, std::string>> &environment,
                       std::chrono::milliseconds time_out);

/** Whether this process was started by `run_child`. Also true when the system does not say who started it. */
bool is_child();

/** Must be called first in the child: it is then killed when its parent ends, and writes no core file. */
void become_child();

} // namespace cli
