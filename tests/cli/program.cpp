#include "tests/cli/program.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace cli_tests {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const char *what) { throw std::system_error(errno, std::generic_category(), what); }

struct Pipe {
    Pipe() {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) == -1) {
            fail("pipe2");
        }
        reads = ends[0];
        writes = ends[1];
    }
    int reads = -1;
    int writes = -1;
};

Pipe terminal() {
    Pipe ends;
    close(ends.reads);
    close(ends.writes);
    struct winsize size {};
    size.ws_row = 24;
    size.ws_col = 80;
    if (openpty(&ends.reads, &ends.writes, nullptr, nullptr, &size) == -1) {
        fail("openpty");
    }
    fcntl(ends.reads, F_SETFD, FD_CLOEXEC);
    fcntl(ends.writes, F_SETFD, FD_CLOEXEC);
    return ends;
}

void close_if_open(int &descriptor) {
    if (descriptor != -1) {
        close(descriptor);
        descriptor = -1;
    }
}

[[noreturn]] void become_program(const std::vector<std::string> &arguments, const Surroundings &surroundings, int in,
                                 int out, int err) {
    dup2(in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    if (surroundings.has_controlling_terminal) {
        setsid();
        ioctl(STDOUT_FILENO, TIOCSCTTY, 0);
    }
    if (!surroundings.folder.empty() && chdir(surroundings.folder.c_str()) == -1) {
        _exit(126);
    }
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        std::signal(signal, surroundings.ignored_signals.count(signal) == 0 ? SIG_DFL : SIG_IGN);
    }
    unsetenv("NO_COLOR");
    unsetenv("COLUMNS");
    setenv("PAGER", "", 1); // none
    unsetenv("LESS");
    unsetenv("LOCPATH"); // with it the C library leaks a list of folders; the program needs no other locales
    for (const auto &[name, value] : surroundings.environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    const char *const program = surroundings.program.empty() ? QORSTAT_PROGRAM : surroundings.program.c_str();
    std::vector<char *> argv{const_cast<char *>(program)};
    for (const std::string &argument : arguments) {
        argv.push_back(const_cast<char *>(argument.c_str()));
    }
    argv.push_back(nullptr);
    execv(program, argv.data());
    _exit(127);
}

/** Appends available input to `text`. At the end of the stream closes the descriptor and returns false. */
bool read_some(int &descriptor, std::string &text) {
    std::array<char, 65536> piece{};
    const ssize_t count = read(descriptor, piece.data(), piece.size());
    if (count > 0) {
        text.append(piece.data(), static_cast<std::size_t>(count));
        return true;
    }
    if (count == -1 && errno == EINTR) {
        return true;
    }
    close_if_open(descriptor); // the end of a terminal is EIO
    return false;
}

} // namespace

TemporaryFolder::TemporaryFolder() {
    std::string pattern = (fs::temp_directory_path() / "qorstat-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        fail("mkdtemp");
    }
    _path = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(_path, ignored);
}

std::vector<std::string> TemporaryFolder::names() const {
    std::vector<std::string> found;
    for (const fs::directory_entry &entry : fs::directory_iterator(_path)) {
        found.push_back(entry.path().filename());
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::string TemporaryFolder::file(const std::string &name, std::string_view content) const {
    std::ofstream(_path / name, std::ios::binary) << content;
    return _path / name;
}

std::string content_of(const fs::path &file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        ADD_FAILURE() << file << " cannot be read";
    }
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::size_t occurrences(std::string_view text, std::string_view part) {
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string_view::npos; at += part.size()) {
        ++count;
    }
    return count;
}

std::vector<std::string> split_lines(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

RunningProgram::RunningProgram(const std::vector<std::string> &arguments, const Surroundings &surroundings)
    : _sanitizers_may_report(surroundings.sanitizers_may_report), _input_left(surroundings.standard_input) {
    Pipe in;
    Pipe out = surroundings.output_is_terminal ? terminal() : Pipe();
    Pipe err = surroundings.messages_are_to_terminal ? terminal() : Pipe();
    if (!surroundings.output_file.empty()) {
        close_if_open(out.writes);
        out.writes = open(surroundings.output_file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    }
    std::signal(SIGPIPE, SIG_IGN);
    _process = fork();
    if (_process == 0) {
        std::signal(SIGPIPE, SIG_DFL);
        become_program(arguments, surroundings, surroundings.input_is_terminal ? out.writes : in.reads, out.writes,
                       err.writes);
    }
    if (_process == -1) {
        fail("fork");
    }
    close(in.reads);
    close(out.writes);
    close(err.writes);
    fcntl(in.writes, F_SETFL, O_NONBLOCK);
    _in = in.writes;
    _out = out.reads;
    _err = err.reads;
}

RunningProgram::~RunningProgram() {
    if (_process != -1) {
        kill(_process, SIGKILL);
        waitpid(_process, nullptr, 0);
    }
    close_if_open(_in);
    close_if_open(_out);
    close_if_open(_err);
}

bool RunningProgram::read_once() {
    if (_input_left.empty()) {
        close_if_open(_in);
    }
    if (_out == -1 && _err == -1) {
        return false;
    }
    std::array<pollfd, 3> ends{{{_out, POLLIN, 0}, {_err, POLLIN, 0}, {_in, POLLOUT, 0}}};
    if (poll(ends.data(), ends.size(), -1) == -1 && errno != EINTR) {
        fail("poll");
    }
    if (ends[0].revents != 0) {
        read_some(_out, _out_text);
    }
    if (ends[1].revents != 0) {
        read_some(_err, _err_text);
    }
    if (ends[2].revents != 0) {
        const ssize_t count = write(_in, _input_left.data(), _input_left.size());
        // The program has stopped reading: the rest of the input is not needed.
        _input_left.erase(0, count == -1 ? _input_left.size() : static_cast<std::size_t>(count));
    }
    return true;
}

bool RunningProgram::waits_for(const std::string &gathered, std::string_view text, std::size_t times) {
    while (occurrences(gathered, text) < times) {
        if (!read_once()) {
            return false;
        }
    }
    return true;
}

bool RunningProgram::waits_for_message(std::string_view text, std::size_t times) {
    return waits_for(_err_text, text, times);
}
bool RunningProgram::waits_for_output(std::string_view text, std::size_t times) {
    return waits_for(_out_text, text, times);
}
bool RunningProgram::waits_for_opening(const fs::path &file) {
    while (!_input_left.empty() && read_once()) {
    }
    close_if_open(_in);
    const fs::path descriptors = "/proc/" + std::to_string(_process) + "/fd";
    std::error_code gone;
    for (;;) {
        fs::directory_iterator open(descriptors, gone); // empty when the program has ended
        if (gone || open == fs::directory_iterator()) {
            return false;
        }
        for (; !gone && open != fs::directory_iterator(); open.increment(gone)) {
            if (std::error_code closed; fs::read_symlink(open->path(), closed) == file) {
                return true;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void RunningProgram::waits_for_sleep() const {
    for (int sleeps = 0; sleeps < 10; std::this_thread::sleep_for(std::chrono::milliseconds(1))) {
        const std::string status = content_of("/proc/" + std::to_string(_process) + "/stat");
        const std::string after_name = status.substr(std::min(status.rfind(") "), status.size()));
        sleeps = after_name.starts_with(") R") || after_name.starts_with(") D") ? 0 : sleeps + 1;
    }
}

namespace {

/** Where a test looks every millisecond for what a program does: more than a minute. */
constexpr int kMostLooks = 60'000;

} // namespace

void RunningProgram::waits_for_work() const {
    clockid_t clock{}; // of all its threads
    ASSERT_EQ(clock_getcpuclockid(_process, &clock), 0);
    const auto computed = [&] {
        std::timespec time{};
        EXPECT_EQ(clock_gettime(clock, &time), 0);
        return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    };
    const auto before = computed();
    int looks = 0;
    for (; computed() < before + std::chrono::milliseconds(50); ++looks) {
        ASSERT_LT(looks, kMostLooks) << "the program does not work";
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

namespace {

void wait_for_full(int pipe) {
    const int size = fcntl(pipe, F_GETPIPE_SZ);
    int looks = 0;
    for (int unread = 0; unread < size / 2; ++looks) {
        ASSERT_LT(looks, kMostLooks) << "the program does not fill the pipe";
        ioctl(pipe, FIONREAD, &unread);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace

void RunningProgram::waits_for_full_output() const {
    wait_for_full(_out);
    waits_for_sleep();
}
void RunningProgram::waits_for_full_messages() const {
    wait_for_full(_err);
    waits_for_sleep();
}

void RunningProgram::send(int signal) const { kill(_process, signal); }
void RunningProgram::type(std::string_view keys) const {
    EXPECT_EQ(write(_out, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
}

void RunningProgram::resize_terminal(unsigned short columns) const {
    struct winsize size {};
    size.ws_row = 24;
    size.ws_col = columns;
    EXPECT_EQ(ioctl(_out, TIOCSWINSZ, &size), 0);
}

void RunningProgram::stop_reading() { close_if_open(_out); }

Outcome RunningProgram::wait_for_end_unread() {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    siginfo_t end{};
    while (end.si_pid == 0 && std::chrono::steady_clock::now() < deadline) {
        waitid(P_PID, static_cast<id_t>(_process), &end, WEXITED | WNOHANG | WNOWAIT);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (end.si_pid == 0) {
        ADD_FAILURE() << "the program does not end";
        kill(_process, SIGKILL);
    }
    close_if_open(_in);
    return wait_for_end();
}

Outcome RunningProgram::wait_for_end() {
    while (read_once()) {
    }
    int status = 0;
    waitpid(_process, &status, 0);
    _process = -1;
    const int exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    // Whatever else a test expects of the program. What sanitizers find goes to the one or, with 2>&1, to the other.
    for (const char *const report : {"Sanitizer: ", ": runtime error: "}) {
        const std::size_t count = occurrences(_out_text, report) + occurrences(_err_text, report);
        EXPECT_TRUE(count == 0 || _sanitizers_may_report) << _out_text << _err_text;
    }
    return {exit_code, _out_text, _err_text};
}

Outcome qorstat(const std::vector<std::string> &arguments, const Surroundings &surroundings) {
    return RunningProgram(arguments, surroundings).wait_for_end();
}

std::string missing_terminals() {
    std::array<int, 2> ends{};
    if (openpty(&ends[0], &ends[1], nullptr, nullptr, nullptr) == -1) {
        return "this machine has no pseudo-terminals (openpty: " + std::generic_category().message(errno) + ")";
    }
    close(ends[0]);
    close(ends[1]);
    return {};
}

void expect_golden(const std::string &name, const std::string &text) {
    const fs::path file = fs::path(QOR_GOLDEN_FOLDER) / name;
    const char *const renews = std::getenv("QOR_RENEW_GOLDEN");
    if (renews != nullptr && std::string_view(renews) == "1") {
        std::ofstream(file, std::ios::binary) << text;
        return;
    }
    EXPECT_EQ(text, content_of(file)) << "renew " << file << " with QOR_RENEW_GOLDEN=1 when the change is meant";
}

} // namespace cli_tests
