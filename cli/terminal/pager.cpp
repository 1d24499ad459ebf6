#include "cli/terminal/pager.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "host/error.h"

namespace cli {
namespace {

constexpr const char *kShell = "/bin/sh";
constexpr std::string_view kDefaultPager = "less";

/** What a shell exits with when it cannot run a command. */
constexpr int kCannotRun = 126;
constexpr int kNotFound = 127;

/** Null when the variable is not set. Nothing in this program changes the environment while it has threads. */
const char *environment_text(const char *variable) { return std::getenv(variable); } // NOLINT(concurrency-mt-unsafe)

bool is_program(const std::string &file) { return access(file.c_str(), X_OK) == 0; }

/** Whether a shell finds this program, looking in PATH. */
bool can_be_found(std::string_view program) {
    if (program.find('/') != std::string_view::npos) {
        return is_program(std::string(program));
    }
    const char *const path = environment_text("PATH");
    std::string_view folders = path != nullptr ? path : "/usr/bin:/bin";
    while (true) {
        const std::string_view folder = folders.substr(0, folders.find(':'));
        if (is_program(std::string(folder.empty() ? "." : folder) + "/" + std::string(program))) {
            return true;
        }
        if (folder.size() == folders.size()) {
            return false;
        }
        folders.remove_prefix(folder.size() + 1);
    }
}

/** The first word of a command. Empty where only a shell can tell what it runs. */
std::string_view program_of(std::string_view command) {
    if (command.find_first_of("|&;<>()$`\\\"'*?[]#~=%{}!\n\t") != std::string_view::npos) {
        return {};
    }
    command.remove_prefix(std::min(command.find_first_not_of(' '), command.size()));
    return command.substr(0, command.find(' '));
}

[[noreturn]] void fail(const std::string &what, int error) {
    throw host::Error(what, "", std::generic_category().message(error));
}

/** Both ends close when another program is started. */
struct PagerPipe {
    PagerPipe() {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) == -1) {
            fail("pipe", errno);
        }
        reads = ends[0];
        writes = ends[1];
    }
    ~PagerPipe() {
        close(reads);
        if (writes != -1) {
            close(writes);
        }
    }
    PagerPipe(const PagerPipe &) = delete;
    PagerPipe &operator=(const PagerPipe &) = delete;

    int reads = -1;
    int writes = -1;
};

/** The shell becomes the pager, so that signals to the process reach it, unless it has to understand the command. */
pid_t start(const std::string &command, int input) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t ignored_here;
    sigemptyset(&ignored_here);
    sigaddset(&ignored_here, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &ignored_here);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);

    const std::string script = program_of(command).empty() ? command : "exec " + command;
    std::array<std::string, 3> words{"sh", "-c", "LESS=\"${LESS-FRX}\"; export LESS; " + script};
    std::array<char *, 4> arguments{words[0].data(), words[1].data(), words[2].data(), nullptr};
    pid_t process = -1;
    const int error = posix_spawn(&process, kShell, &actions, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        fail(kShell, error);
    }
    return process;
}

/** Waits until `process` has ended. Once `wake` is readable, ends it. */
void wait_for_process(pid_t process, int wake) {
    constexpr int kTimeToEnd = 500; // milliseconds: enough to leave the terminal in order
    const int end = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    if (end == -1) {
        return; // the system cannot tell: whoever reaps the process waits
    }
    std::array<pollfd, 2> events{{{end, POLLIN, 0}, {wake, POLLIN, 0}}};
    while (poll(events.data(), events.size(), -1) == -1 && errno == EINTR) {
    }
    if (events[0].revents == 0) {
        kill(process, SIGTERM);
        while (poll(events.data(), 1, kTimeToEnd) == -1 && errno == EINTR) {
        }
        kill(process, SIGKILL); // no effect on one that has ended: it is not reaped yet
    }
    close(end);
}

} // namespace

/** The settings of a terminal, and what Ctrl-C did, before a pager changes them. */
struct Pager::Terminal {
    Terminal() : has_settings(tcgetattr(STDOUT_FILENO, &settings) == 0) { sigaction(SIGINT, nullptr, &interrupt); }
    void ignore_interrupt() const {
        struct sigaction ignore {};
        ignore.sa_handler = SIG_IGN;
        sigemptyset(&ignore.sa_mask);
        sigaction(SIGINT, &ignore, nullptr);
    }
    ~Terminal() { sigaction(SIGINT, &interrupt, nullptr); }
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    /** For a pager that was killed. */
    void restore() const {
        if (has_settings) {
            tcsetattr(STDOUT_FILENO, TCSADRAIN, &settings);
        }
    }

    termios settings{};
    bool has_settings;
    struct sigaction interrupt {};
};

PagerChoice choose_pager() {
    const char *const chosen = environment_text("PAGER");
    if (chosen == nullptr) {
        return {can_be_found(kDefaultPager) ? std::string(kDefaultPager) : "", ""};
    }
    const std::string command = chosen;
    if (command.find_first_not_of(' ') == std::string::npos || command == "cat") {
        return {};
    }
    const std::string program(program_of(command));
    return program.empty() || can_be_found(program) ? PagerChoice{command, ""} : PagerChoice{"", program};
}

Pager::Pager(const std::string &command) : _command(command) {
    PagerPipe pipe;
    _terminal = std::make_unique<Terminal>();
    _process = start(command, pipe.reads);
    _terminal->ignore_interrupt(); // the pager itself has the signals as this program had them
    _pipe = std::exchange(pipe.writes, -1);
}

Pager::~Pager() {
    try {
        wait();
    } catch (const host::Error &) {
        // The caller is failing already, with a reason of its own.
    }
}

int Pager::descriptor() const { return _pipe; }

bool Pager::is_interrupted() const { return _piece.is_interrupted(); }

void Pager::wait() {
    if (_pipe != -1) {
        close(std::exchange(_pipe, -1));
    }
    wait_for_end();
}

void Pager::wait_for_end() {
    const std::lock_guard lock(_end);
    if (_process != -1) {
        const pid_t process = std::exchange(_process, -1);
        wait_for_process(process, _piece.descriptor());
        int status = 0;
        while (waitpid(process, &status, 0) == -1 && errno == EINTR) {
        }
        if (WIFSIGNALED(status)) {
            _terminal->restore();
        }
        _terminal.reset();
        _could_run = !WIFEXITED(status) || (WEXITSTATUS(status) != kCannotRun && WEXITSTATUS(status) != kNotFound);
    }
    if (!_could_run) {
        throw host::Error("PAGER", "", "cannot run \"" + _command + "\"");
    }
}

} // namespace cli
