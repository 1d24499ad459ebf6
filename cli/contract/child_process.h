/** This program once more, as a child process that is waited for no longer than a given time. */
#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace cli {

/** Where the child writes what the parent asked it for. */
constexpr int kResultDescriptor = 3;

struct ChildOutcome {
    bool timed_out = false;
    int exit_status = 0;  ///< of the program, when no signal ended it
    int signal = 0;       ///< that ended it; 0 when it ended by itself
    std::string result;   ///< what it wrote to `kResultDescriptor`
    std::string messages; ///< what it wrote to standard output and standard error, the end of it when that is long
};

/**
 * Runs this program with `arguments` and waits until it ends. When the time is over, it and what it started are ended
 * by force. A child is started anew instead of being forked off: what it finds then is a process as the program's own
 * begins, whatever threads there are here.
 * @param environment  names and values put into the child's environment besides this process's.
 * @throws host::Error when no child can be started.
 */
ChildOutcome run_child(const std::vector<std::string> &arguments,
                       const std::vector<std::pair<std::string, std::string>> &environment,
                       std::chrono::milliseconds time_out);

/** Whether this process was started by `run_child`; true, too, where the system does not say who started it. */
bool is_child();

/** Called by the child first: it ends when its parent does, and leaves no core file. */
void become_child();

} // namespace cli
