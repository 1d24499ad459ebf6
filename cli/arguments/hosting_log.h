/** The log of the verbs that host a plug-in, and its options. */
#pragma once

#include <memory>
#include <string>

#include "cli/arguments/declaration.h"
#include "cli/terminal/log.h"
#include "host/RvLog.h"

namespace cli {

/** Where the log goes besides standard error, and what standard error gets of it. */
struct LogArguments {
    std::string level = "fault"; ///< a level as lines of the log name it: the least severe that standard error shows
    std::string file;            ///< the whole log is appended to it; empty: to none
    bool goes_to_journal = false;
};

/** `--log-level LEVEL`. */
Argument log_level_option(LogArguments &arguments);

/** `--log FILE`. */
Argument log_file_option(LogArguments &arguments);

/** The log, as long as this object lives. */
class HostingLog {
public:
    /**
     * Without a journal the log goes on to standard error and the file, and the user is told. So is one whose time zone
     * is unknown: the lines have local times.
     * @throws host::Error when the file cannot be opened.
     */
    explicit HostingLog(const LogArguments &arguments);

    /** Gives the journal's messages the name of the device from now on. Before the first message. */
    void set_device(const std::string &name);

    /** The number of messages of a level so far. Any thread. */
    std::uint64_t count(RvLogLevel level) const { return _terminal.count(level); }

    /** Says on standard error how many messages it was not shown, if any. */
    void print_hidden() const;

private:
    std::string _file;
    TerminalLog _terminal;
    std::unique_ptr<host::LogSink> _file_sink;
    std::unique_ptr<host::LogSink> _journal; ///< null where it is not asked for or not there
};

} // namespace cli
