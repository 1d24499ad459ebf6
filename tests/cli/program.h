/** Runs the built program as a child process and collects its output and exit code. */
#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace cli_tests {

/** A new temporary folder, removed with the object. */
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    const std::filesystem::path &path() const { return _path; }
    /** The names in the folder, sorted. */
    std::vector<std::string> names() const;
    /** Writes a file. @return its path. */
    std::string file(const std::string &name, std::string_view content) const;

private:
    std::filesystem::path _path;
};

std::string content_of(const std::filesystem::path &file);

/** The number of non-overlapping occurrences of `part` in `text`. @param part  not empty. */
std::size_t occurrences(std::string_view text, std::string_view part);
/** The lines of a text, without their newlines. */
std::vector<std::string> split_lines(const std::string &text);

/** The environment of a program: everything that it is given besides its arguments. */
struct Surroundings {
    std::string program{}; ///< another copy of the program; empty: the built one
    std::string standard_input;
    std::map<std::string, std::string> environment; ///< added to this process's
    std::filesystem::path folder;                   ///< working directory; empty: this process's
    bool output_is_terminal = false;                ///< standard output is a terminal of 80 columns, not a pipe
    bool input_is_terminal = false;                 ///< standard input is the terminal of standard output
    bool messages_are_to_terminal = false;          ///< the same for standard error
    bool has_controlling_terminal = false; ///< the terminal of standard output is also /dev/tty and sends signals
    std::string output_file;               ///< standard output is this file, not a pipe
    bool sanitizers_may_report = false;    ///< the program runs a module that is broken on purpose
    std::set<int> ignored_signals;         ///< of SIGHUP, SIGINT and SIGTERM; what this process ignores does not count
};

struct Outcome {
    int exit_code; ///< 128 + N when killed by signal N
    std::string out;
    std::string err;
};

/** Runs `qorstat` with these arguments and waits until it ends. */
Outcome qorstat(const std::vector<std::string> &arguments, const Surroundings &surroundings = {});

/** A program that runs in parallel to the test. */
class RunningProgram {
public:
    explicit RunningProgram(const std::vector<std::string> &arguments, const Surroundings &surroundings = {});
    /** Kills the program if it still runs. */
    ~RunningProgram();
    RunningProgram(const RunningProgram &) = delete;
    RunningProgram &operator=(const RunningProgram &) = delete;

    /** Waits until standard error contains `text` `times` times. @return false when the program ended before. */
    bool waits_for_message(std::string_view text, std::size_t times = 1);
    /** The same of standard output. */
    bool waits_for_output(std::string_view text, std::size_t times = 1);
    /** Gives the program its standard input, and waits until it has `file` open. @return false when it ended before. */
    bool waits_for_opening(const std::filesystem::path &file);
    /** Waits until the program sleeps: in a system call that waits, with nothing to do. */
    void waits_for_sleep() const;
    /** Waits until the program has computed for a while. */
    void waits_for_work() const;
    /** Waits until the pipe of standard output is full, or of standard error; neither is read meanwhile. */
    void waits_for_full_output() const;
    void waits_for_full_messages() const;
    void send(int signal) const;
    /** Types on the terminal of standard output. */
    void type(std::string_view keys) const;
    /** Makes that terminal so many columns wide. */
    void resize_terminal(unsigned short columns) const;
    /** Closes the reading end of standard output. */
    void stop_reading();
    Outcome wait_for_end();
    /** The same, without reading anything before the program has ended; kills it after ten seconds. */
    Outcome wait_for_end_unread();

private:
    bool read_once();
    bool waits_for(const std::string &gathered, std::string_view text, std::size_t times);

    pid_t _process = -1;
    bool _sanitizers_may_report;
    int _in = -1;
    int _out = -1;
    int _err = -1;
    std::string _input_left;
    std::string _out_text;
    std::string _err_text;
};

/** Why this machine has no pseudo-terminals, such as a container without /dev/pts; empty when it has. */
std::string missing_terminals();

/** Skips the test, with the reason, where it cannot have a terminal. */
#define SKIP_WITHOUT_TERMINALS()                                                                                       \
    if (const std::string reason = cli_tests::missing_terminals(); !reason.empty())                                    \
    GTEST_SKIP() << reason

/** Compares with the golden file `name`; writes it when the environment has QOR_RENEW_GOLDEN=1. */
void expect_golden(const std::string &name, const std::string &text);

} // namespace cli_tests
