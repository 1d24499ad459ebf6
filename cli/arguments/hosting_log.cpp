#include "cli/arguments/hosting_log.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "cli/arguments/time_zone.h"
#include "cli/arguments/words.h"
#include "cli/terminal/output.h"
#include "host/error.h"

namespace cli {
namespace {

/** The levels as the lines of the log name them, in the order of `RvLogLevel`: the least severe first. */
const std::vector<std::string> kLevelWords = {"default", "error", "fault"};

RvLogLevel level_of(const std::string &word) {
    return static_cast<RvLogLevel>(std::distance(kLevelWords.begin(), std::ranges::find(kLevelWords, word)));
}

/** @return null, with a message, when there is no journal. */
std::unique_ptr<host::LogSink> open_journal() {
    try {
        host::require_journal();
        return host::log_to_journal();
    } catch (const host::Error &failure) {
        print_message("qorstat: there is no systemd journal: " + std::string(failure.what()) +
                      "; the log does not go there");
        return nullptr;
    }
}

} // namespace

Argument log_level_option(LogArguments &arguments) {
    return {.name = "--log-level",
            .value_name = "LEVEL",
            .target = word_reader(arguments.level, kLevelWords),
            .help = "Show the log from this level on: default (all of it),\n"
                    "error or fault; fault by default",
            .has_variable = true};
}

Argument log_file_option(LogArguments &arguments) {
    return {.name = "--log", .value_name = "FILE", .target = &arguments.file, .help = "Append the whole log to a file"};
}

HostingLog::HostingLog(const LogArguments &arguments) : _file(arguments.file), _terminal(level_of(arguments.level)) {
    warn_of_unknown_zone(); // its lines have local times
    if (!_file.empty()) {
        _file_sink = host::log_to_file(_file);
    }
    if (arguments.goes_to_journal) {
        _journal = open_journal();
    }
}

void HostingLog::set_device(const std::string &name) {
    if (_journal != nullptr) {
        _journal = host::log_to_journal(name);
    }
}

void HostingLog::print_hidden() const {
    std::string hidden;
    std::string least;
    for (const RvLogLevel level : {kRvLogLevelError, kRvLogLevelDefault}) {
        if (level < _terminal.least_shown() && count(level) > 0) {
            least = kLevelWords[static_cast<std::size_t>(level)];
            hidden += (hidden.empty() ? "" : ", ") + std::to_string(count(level)) + " of level " + least;
        }
    }
    if (!hidden.empty()) {
        print_message("log messages not shown: " + hidden +
                      (_file.empty() ? " (--log-level " + least + " shows them)" : " (" + _file + " has them)"));
    }
}

} // namespace cli
