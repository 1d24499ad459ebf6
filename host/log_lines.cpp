#include "host/log_lines.h"

#include <array>
#include <cstring>
#include <ctime>
#include <mutex>
#include <system_error>
#include <utility>
#include <vector>

#include <pthread.h>
#include <sys/uio.h>
#include <syslog.h>

#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <systemd/sd-journal.h>

namespace host {
namespace {

struct LevelNames {
    spdlog::level::level_enum sink_level;
    int priority; ///< in the journal
    const char *text;
};

constexpr std::array<LevelNames, 3> kLevels = {{
    {spdlog::level::info, LOG_INFO, "default"},  // kRvLogLevelDefault
    {spdlog::level::err, LOG_ERR, "error"},      // kRvLogLevelError
    {spdlog::level::critical, LOG_CRIT, "fault"} // kRvLogLevelFault
}};

const LevelNames &names_of(RvLogLevel level) { return kLevels.at(static_cast<std::size_t>(level)); }

/** Writes our names of the levels instead of those of spdlog. */
class LevelFlag : public spdlog::custom_flag_formatter {
public:
    void format(const spdlog::details::log_msg &message, const std::tm &, spdlog::memory_buf_t &line) override {
        for (const LevelNames &level : kLevels) {
            if (level.sink_level == message.level) {
                line.append(level.text, level.text + std::strlen(level.text));
            }
        }
    }
    std::unique_ptr<custom_flag_formatter> clone() const override { return std::make_unique<LevelFlag>(); }
};

/**
 * Held while a line is formatted, which takes the C library's lock for time zones. A child process needs that lock for
 * any local time, so no thread holds it at the moment of a fork. Registered when the library is loaded.
 */
constinit std::mutex formatting;
[[maybe_unused]] const int kForkHandlers =
    pthread_atfork([] { formatting.lock(); }, [] { formatting.unlock(); }, [] { formatting.unlock(); });

/** The log's lines, formatted under the lock. */
class LineFormatter : public spdlog::formatter {
public:
    LineFormatter() { _lines.add_flag<LevelFlag>('*').set_pattern("%Y-%m-%d %H:%M:%S.%e %^%*%$ [%n] %v"); }
    void format(const spdlog::details::log_msg &message, spdlog::memory_buf_t &line) override {
        const std::lock_guard lock(formatting);
        _lines.format(message, line);
    }
    std::unique_ptr<spdlog::formatter> clone() const override { return std::make_unique<LineFormatter>(); }

private:
    spdlog::pattern_formatter _lines;
};

/** @param text  must outlive the result. */
spdlog::details::log_msg message_of(const std::string &name, RvLogLevel level, std::string_view text) {
    return {name, names_of(level).sink_level, spdlog::string_view_t(text.data(), text.size())};
}

/** Writes lines to a sink of spdlog. */
class SinkLines final : public LogLines {
public:
    explicit SinkLines(std::unique_ptr<spdlog::sinks::sink> sink) : _sink(std::move(sink)) {
        _sink->set_formatter(std::make_unique<LineFormatter>());
    }

    void write(const LogNames &names, RvLogLevel level, std::string_view text) override {
        _sink->log(message_of(names.both, level, text));
        // The line must survive if the process is killed next.
        _sink->flush();
    }

private:
    std::unique_ptr<spdlog::sinks::sink> _sink;
};

/** Passes lines to a function. */
class FunctionLines final : public LogLines {
public:
    explicit FunctionLines(std::function<void(const LogLine &)> receive) : _receive(std::move(receive)) {}

    void write(const LogNames &names, RvLogLevel level, std::string_view text) override {
        const spdlog::details::log_msg message = message_of(names.both, level, text);
        spdlog::memory_buf_t line;
        _formatter.format(message, line); // sets the range of the level
        _receive({level, std::string(line.data(), line.size()), message.color_range_start, message.color_range_end});
    }

private:
    LineFormatter _formatter;
    std::function<void(const LogLine &)> _receive;
};

/** Sends messages to the journal, each with fields that it can be found by. */
class JournalLines final : public LogLines {
public:
    explicit JournalLines(const std::string &device) : _device(device) {}

    void write(const LogNames &names, RvLogLevel level, std::string_view text) override {
        std::vector<std::string> fields = {
            "MESSAGE=" + std::string(text),    "PRIORITY=" + std::to_string(names_of(level).priority),
            "SYSLOG_IDENTIFIER=" + names.both, "QOR_SUBSYSTEM=" + names.subsystem,
            "QOR_CATEGORY=" + names.category,  std::string("QOR_LEVEL=") + names_of(level).text,
        };
        if (!_device.empty()) {
            fields.push_back("QOR_DEVICE=" + _device);
        }
        std::vector<iovec> parts;
        for (std::string &field : fields) {
            parts.push_back({field.data(), field.size()});
        }
        // In parentheses: the macro of this name adds the place in this file.
        if (const int result = (sd_journal_sendv)(parts.data(), static_cast<int>(parts.size())); result < 0) {
            throw std::system_error(-result, std::generic_category(), "Failed writing to systemd");
        }
    }

private:
    std::string _device;
};

std::unique_ptr<LogLines> to_function(std::function<void(const LogLine &)> receive) {
    return std::make_unique<FunctionLines>(std::move(receive));
}

std::unique_ptr<LogLines> to_file(const std::string &path) {
    return std::make_unique<SinkLines>(std::make_unique<spdlog::sinks::basic_file_sink_mt>(path));
}

std::unique_ptr<LogLines> to_journal(const std::string &device) { return std::make_unique<JournalLines>(device); }

} // namespace
} // namespace host

// NOLINTNEXTLINE(readability-identifier-naming): its symbol
extern "C" constexpr host::LogLinesLibrary qor_log_lines_library = {
    .to_function = host::to_function, .to_file = host::to_file, .to_journal = host::to_journal};
