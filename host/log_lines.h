/** The library that writes lines of the log: loaded for the first sink that needs it. */
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "host/RvLog.h"

namespace host {

/** The names of a log object. */
struct LogNames {
    std::string subsystem;
    std::string category;
    std::string both; ///< "subsystem:category", for what has room for one name
};

/** A destination of lines. One thread at a time. */
class LogLines {
public:
    virtual ~LogLines() = default;
    /** Writes a message as one line, at once. @param names  of the log object; @param level  one of the three. */
    virtual void write(const LogNames &names, RvLogLevel level, std::string_view text) = 0;
};

/** What the library exports, and nothing else. See `log_to_lines` and its neighbours. */
struct LogLinesLibrary {
    std::unique_ptr<LogLines> (*to_function)(std::function<void(const LogLine &)> receive);
    std::unique_ptr<LogLines> (*to_file)(const std::string &path);
    std::unique_ptr<LogLines> (*to_journal)(const std::string &device);
};

} // namespace host

// NOLINTNEXTLINE(readability-identifier-naming): its symbol
extern "C" const host::LogLinesLibrary qor_log_lines_library;
