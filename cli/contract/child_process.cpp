#include "cli/contract/child_process.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/error.h"

namespace cli {
namespace {

using Clock = std::chrono::steady_clock;

/** More than any check writes. A module may print without end. */
constexpr std::size_t kMostResult = std::size_t{1} << 20;
constexpr std::size_t kMostMessages = std::size_t{1} << 16;

constexpr const char *kThisProgram = "/proc/self/exe";

[[noreturn]] void fail(const char *what, int error) {
    throw host::Error(what, "", std::system_category().message(error));
}

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : _number(number) {}
    Descriptor(Descriptor &&other) noexcept : _number(std::exchange(other._number, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept {
        std::swap(_number, other._number);
        return *this;
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor() { close(); }

    int get() const { return _number; }
    void close() {
        if (const int number = std::exchange(_number, -1); number != -1) {
            ::close(number);
        }
    }

private:
    int _number = -1;
};

struct Pipe {
    Pipe() {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) == -1) {
            fail("pipe", errno);
        }
        reads = Descriptor(ends[0]);
        writes = Descriptor(ends[1]);
        fcntl(reads.get(), F_SETFL, O_NONBLOCK);
    }
    Descriptor reads;
    Descriptor writes;
};

/** The actions of `posix_spawn` in the child before the program begins. */
class SpawnSettings {
public:
    SpawnSettings(int result, int messages) {
        posix_spawn_file_actions_init(&_actions);
        posix_spawnattr_init(&_attributes);
        posix_spawn_file_actions_addopen(&_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&_actions, messages, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&_actions, messages, STDERR_FILENO);
        posix_spawn_file_actions_adddup2(&_actions, result, kResultDescriptor);
        // A group of its own, so that processes that the child starts can be killed with it.
        posix_spawnattr_setflags(&_attributes, POSIX_SPAWN_SETPGROUP);
        posix_spawnattr_setpgroup(&_attributes, 0);
    }
    ~SpawnSettings() {
        posix_spawn_file_actions_destroy(&_actions);
        posix_spawnattr_destroy(&_attributes);
    }
    SpawnSettings(const SpawnSettings &) = delete;
    SpawnSettings &operator=(const SpawnSettings &) = delete;

    const posix_spawn_file_actions_t *actions() const { return &_actions; }
    const posix_spawnattr_t *attributes() const { return &_attributes; }

private:
    posix_spawn_file_actions_t _actions{};
    posix_spawnattr_t _attributes{};
};

/** The strings as a null-terminated array for system calls. */
std::vector<char *> pointers_to(const std::vector<std::string> &texts) {
    std::vector<char *> result;
    for (const std::string &text : texts) {
        result.push_back(const_cast<char *>(text.c_str())); // system calls do not write to them
    }
    result.push_back(nullptr);
    return result;
}

std::vector<std::string> environment_with(const std::vector<std::pair<std::string, std::string>> &added) {
    std::vector<std::string> all;
    for (char *const *entry = environ; *entry != nullptr; ++entry) {
        const std::string_view text = *entry;
        const bool is_replaced = std::any_of(added.begin(), added.end(), [text](const auto &variable) {
            return text.substr(0, text.find('=')) == variable.first;
        });
        if (!is_replaced) {
            all.emplace_back(text);
        }
    }
    for (const auto &[name, value] : added) {
        all.push_back(name);
        all.back().append("=").append(value);
    }
    return all;
}

/** Reads what is available, at most 16 pieces. Closes `end` at the end of the stream. */
void read_available(Descriptor &end, std::string &text) {
    std::array<char, 65536> piece{};
    for (int pieces = 0; end.get() != -1 && pieces < 16; ++pieces) {
        const ssize_t count = read(end.get(), piece.data(), piece.size());
        if (count > 0) {
            text.append(piece.data(), static_cast<std::size_t>(count));
        } else if (count == 0) {
            end.close();
        } else if (errno != EINTR) {
            return; // nothing available now
        }
    }
}

/** A descriptor that becomes readable when the process ends. The C library's wrapper is not usable from C++. */
Descriptor open_process(pid_t process) {
    const long number = syscall(SYS_pidfd_open, process, 0);
    if (number == -1) {
        const int error = errno;
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
        fail("pidfd_open", error);
    }
    return Descriptor(static_cast<int>(number));
}

/** A running child. Its output is read all the time, so that it never blocks on a full pipe. */
class Child {
public:
    Child(pid_t process, Descriptor result, Descriptor messages)
        : _process(process), _ended(open_process(process)), _result(std::move(result)), _messages(std::move(messages)) {
    }

    ChildOutcome wait(Clock::time_point deadline) {
        ChildOutcome outcome;
        outcome.timed_out = !waits_for_end(deadline);
        kill(-_process, SIGKILL); // the processes it started, and itself when the time is over
        int status = 0;
        while (waitpid(_process, &status, 0) == -1 && errno == EINTR) {
        }
        read_output();
        if (WIFSIGNALED(status)) {
            outcome.signal = WTERMSIG(status);
        } else {
            outcome.exit_status = WEXITSTATUS(status);
        }
        outcome.result = std::move(_result_text);
        outcome.messages = std::move(_messages_text);
        return outcome;
    }

private:
    /** @return whether the child ended in time. */
    bool waits_for_end(Clock::time_point deadline) {
        for (;;) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            if (left.count() <= 0) {
                return false;
            }
            std::array<pollfd, 3> ends{
                {{_ended.get(), POLLIN, 0}, {_result.get(), POLLIN, 0}, {_messages.get(), POLLIN, 0}}};
            poll(ends.data(), ends.size(), static_cast<int>(std::min<std::int64_t>(left.count() + 1, 1000)));
            read_output();
            if (ends[0].revents != 0) {
                return true;
            }
        }
    }

    void read_output() {
        read_available(_result, _result_text);
        read_available(_messages, _messages_text);
        if (_result_text.size() > kMostResult) {
            _result_text.resize(kMostResult);
        }
        if (_messages_text.size() > kMostMessages) {
            _messages_text.erase(0, _messages_text.size() - kMostMessages);
        }
    }

    pid_t _process;
    Descriptor _ended;
    Descriptor _result;
    Descriptor _messages;
    std::string _result_text;
    std::string _messages_text;
};

} // namespace

ChildOutcome run_child(const std::vector<std::string> &arguments,
                       const std::vector<std::pair<std::string, std::string>> &environment,
                       std::chrono::milliseconds time_out) {
    const Clock::time_point deadline = Clock::now() + time_out;
    Pipe result;
    Pipe messages;
    std::vector<std::string> words = {"qorstat"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const std::vector<std::string> variables = environment_with(environment);
    const SpawnSettings settings(result.writes.get(), messages.writes.get());
    pid_t process = -1;
    const int error = posix_spawn(&process, kThisProgram, settings.actions(), settings.attributes(),
                                  pointers_to(words).data(), pointers_to(variables).data());
    if (error != 0) {
        fail(kThisProgram, error);
    }
    result.writes.close();
    messages.writes.close();
    return Child(process, std::move(result.reads), std::move(messages.reads)).wait(deadline);
}

bool is_child() {
    struct stat own {};
    struct stat parents {};
    const std::string parent = "/proc/" + std::to_string(getppid()) + "/exe";
    if (stat(kThisProgram, &own) != 0 || stat(parent.c_str(), &parents) != 0) {
        return true;
    }
    return own.st_dev == parents.st_dev && own.st_ino == parents.st_ino;
}

void become_child() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
}

} // namespace cli
