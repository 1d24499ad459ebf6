/** The built program as a child process: what it prints, and how it ends. */
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

/** A folder of its own for one test, gone with the object. */
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    const std::filesystem::path &path() const { return _path; }
    /** The names in the folder, sorted. */
    std::vector<std::string> names() const;
    /** Writes a file and says where. */
    std::string file(const std::string &name, std::string_view content) const;

private:
    std::filesystem::path _path;
};

std::string content_of(const std::filesystem::path &file);

/** How often `part` stands in `text`, none of them within another. @param part at least one character. */
std::size_t occurrences(std::string_view text, std::string_view part);

/** What goes into a program besides its arguments. */
struct Surroundings {
    std::string program{}; ///< another copy of it; empty: the built one
    std::string standard_input;
    std::map<std::string, std::string> environment; ///< added to this process's
    std::filesystem::path folder;                   ///< to start in; empty: this process's
    bool output_is_terminal = false;                ///< a terminal of 80 columns in place of the standard output's pipe
    bool messages_are_to_terminal = false;          ///< the same for standard error
    std::string output_file;                        ///< in place of the standard output's pipe
    std::set<int> ignored_signals; ///< of those that ask a program to end; what this process ignores does not count
};

struct Outcome {
    int exit_code; ///< 128 + N for the end by signal N
    std::string out;
    std::string err;
};

/** `qorstat` with these arguments, until it ends. */
Outcome qorstat(const std::vector<std::string> &arguments, const Surroundings &surroundings = {});

/** A program that runs beside the test. */
class RunningProgram {
public:
    explicit RunningProgram(const std::vector<std::string> &arguments, const Surroundings &surroundings = {});
    /** Ends it by force if it still runs. */
    ~RunningProgram();
    RunningProgram(const RunningProgram &) = delete;
    RunningProgram &operator=(const RunningProgram &) = delete;

    /** Waits until standard error holds `text` so many times; false when the program ended without that. */
    bool waits_for_message(std::string_view text, std::size_t times = 1);
    /** Waits until standard output holds `text`; false when the program ended without it. */
    bool waits_for_output(std::string_view text);
    /** Waits until it has the file open; false when the program ended without it. */
    bool waits_for_opening(const std::filesystem::path &file) const;
    void send(int signal) const;
    /** Closes the reading end of standard output. */
    void stop_reading();
    Outcome wait_for_end();

private:
    bool read_once();
    bool waits_for(const std::string &gathered, std::string_view text, std::size_t times);

    pid_t _process = -1;
    int _in = -1;
    int _out = -1;
    int _err = -1;
    std::string _input_left;
    std::string _out_text;
    std::string _err_text;
};

/** Compares with the golden file `name`; writes it instead when QOR_RENEW_GOLDEN is 1 in the environment. */
void expect_golden(const std::string &name, const std::string &text);

} // namespace cli_tests
