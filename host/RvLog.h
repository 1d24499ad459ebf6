/** Where the system log's lines go. */
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/RvLog.h"

namespace host {

/** One message as it was written, text unchanged. */
struct LogMessage {
    RvLogLevel level;
    std::string subsystem;
    std::string category;
    std::string text;
};

/** A place where log lines go, as long as this object lives. */
class LogSink {
public:
    virtual ~LogSink() = default;
};

/** Lines on standard error, with the time and the level; coloured when `coloured`. */
[[nodiscard]] std::unique_ptr<LogSink> log_to_terminal(bool coloured);

/** Lines appended to a file. @throws Error when it cannot be opened. */
[[nodiscard]] std::unique_ptr<LogSink> log_to_file(const std::string &path);

/** Lines in the systemd journal. */
[[nodiscard]] std::unique_ptr<LogSink> log_to_journal();

/** Each message handed to `receive`, one at a time, on the thread that writes it. */
[[nodiscard]] std::unique_ptr<LogSink> log_to_function(std::function<void(const LogMessage &)> receive);

/** Collects messages, for tests and reports. */
class LogRecorder {
public:
    LogRecorder();
    std::vector<LogMessage> messages() const;
    /** The texts alone, a newline at the end of each taken away. */
    std::vector<std::string> lines() const;
    void clear();

private:
    mutable std::mutex _mutex;
    std::vector<LogMessage> _messages;
    std::unique_ptr<LogSink> _sink;
};

/** Enables or disables a level for the whole process; all are enabled at start. A level without sinks is off. */
void enable_log_level(RvLogLevel level, bool enabled);

} // namespace host
