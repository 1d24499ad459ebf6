/** The system log and its sinks, behind `platform/RvLog.h`. */
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/RvLog.h"

namespace host {

/** A message; `text` is exactly what was written. */
struct LogMessage {
    RvLogLevel level;
    std::string subsystem;
    std::string category;
    std::string text;
};

/** A destination of log messages for as long as this object lives. */
class LogSink {
public:
    virtual ~LogSink() = default;
};

/** A message as a line with time and level. */
struct LogLine {
    RvLogLevel level;
    std::string text;        ///< ends with a newline
    std::size_t level_begin; ///< of the level's name in `text`
    std::size_t level_end;
};

/** Passes each message as a line to `receive`, one at a time, on the thread that writes it. */
[[nodiscard]] std::unique_ptr<LogSink> log_to_lines(std::function<void(const LogLine &)> receive);

/** Appends lines to a file. @throws Error when it cannot be opened. */
[[nodiscard]] std::unique_ptr<LogSink> log_to_file(const std::string &path);

/**
 * Writes messages to the systemd journal, with the fields of `docs/log.md`. While there is none, they are lost.
 * @param device  the name of the hosted device; the field is left out where it is empty.
 */
[[nodiscard]] std::unique_ptr<LogSink> log_to_journal(const std::string &device = "");

/** Tries to reach the systemd journal. @throws Error when there is none. */
void require_journal();

/** Passes each message to `receive`, one at a time, on the thread that writes it. */
[[nodiscard]] std::unique_ptr<LogSink> log_to_function(std::function<void(const LogMessage &)> receive);

/** Collects messages. Any thread. */
class LogRecorder {
public:
    LogRecorder();
    std::vector<LogMessage> messages() const;
    /** The texts of the messages, each without its final newline. */
    std::vector<std::string> lines() const;
    void clear();

private:
    mutable std::mutex _mutex;
    std::vector<LogMessage> _messages;
    std::unique_ptr<LogSink> _sink;
};

/** Enables or disables a level for the whole process. All are enabled at start; without sinks, none is. */
void enable_log_level(RvLogLevel level, bool enabled);

} // namespace host
