#include "host/RvLog.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <system_error>
#include <utility>

#include <pthread.h>

#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/systemd_sink.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "host/error.h"
#include "host/fault_points.h"

/** A log object, one for each subsystem and category. */
struct RvLog {
    std::string subsystem;
    std::string category;
    std::string name; ///< "subsystem:category", for sinks that write lines
};

namespace host {
namespace {

struct LevelNames {
    spdlog::level::level_enum sink_level; ///< chooses colours and the journal's priority
    const char *text;
};

constexpr std::array<LevelNames, 3> kLevels = {{
    {spdlog::level::info, "default"},  // kRvLogLevelDefault
    {spdlog::level::err, "error"},     // kRvLogLevelError
    {spdlog::level::critical, "fault"} // kRvLogLevelFault
}};

/** The common base of all sinks. Called with one message at a time, under the log's lock. */
class Destination : public LogSink {
public:
    virtual void write(const RvLog &log, RvLogLevel level, const char *text) = 0;
};

/** The process's log. Its lock is recursive, so that a receiver of messages may itself log. */
struct Log {
    std::recursive_mutex mutex;
    std::map<std::pair<std::string, std::string>, RvLog> objects;
    std::vector<Destination *> destinations;

    std::atomic<bool> has_destinations{false};
    std::array<std::atomic<bool>, kLevels.size()> enabled{true, true, true};
};

/** Never destroyed: log objects live as long as the process, which may log while it exits. */
Log &the_log() {
    static Log &instance = *new Log;
    return instance;
}

/** The level as an index into the tables; out of range for an unknown level. */
std::size_t index_of(RvLogLevel level) { return static_cast<std::size_t>(level); }

bool is_enabled(RvLogLevel level) {
    return the_log().has_destinations.load(std::memory_order_acquire) && index_of(level) < kLevels.size() &&
           the_log().enabled[index_of(level)].load(std::memory_order_relaxed);
}

void add_destination(Destination *destination) {
    const std::lock_guard lock(the_log().mutex);
    the_log().destinations.push_back(destination);
    the_log().has_destinations.store(true, std::memory_order_release);
}

void remove_destination(Destination *destination) {
    const std::lock_guard lock(the_log().mutex);
    auto &all = the_log().destinations;
    all.erase(std::remove(all.begin(), all.end(), destination), all.end());
    the_log().has_destinations.store(!all.empty(), std::memory_order_release);
}

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
[[maybe_unused]] const int fork_handlers =
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
spdlog::details::log_msg message_of(const RvLog &log, RvLogLevel level, std::string_view text) {
    if (!text.empty() && text.back() == '\n') {
        text.remove_suffix(1);
    }
    return {log.name, kLevels[index_of(level)].sink_level, spdlog::string_view_t(text.data(), text.size())};
}

/** Writes lines to a sink of spdlog. */
class LineDestination final : public Destination {
public:
    explicit LineDestination(std::unique_ptr<spdlog::sinks::sink> sink) : _sink(std::move(sink)) {
        _sink->set_formatter(std::make_unique<LineFormatter>());
        add_destination(this);
    }
    ~LineDestination() override { remove_destination(this); }

    void write(const RvLog &log, RvLogLevel level, const char *text) override {
        _sink->log(message_of(log, level, text));
        // The line must survive if the process is killed next.
        _sink->flush();
    }

private:
    std::unique_ptr<spdlog::sinks::sink> _sink;
};

/** Passes lines to a function. */
class LineReceiver final : public Destination {
public:
    explicit LineReceiver(std::function<void(const LogLine &)> receive) : _receive(std::move(receive)) {
        add_destination(this);
    }
    ~LineReceiver() override { remove_destination(this); }

    void write(const RvLog &log, RvLogLevel level, const char *text) override {
        const spdlog::details::log_msg message = message_of(log, level, text);
        spdlog::memory_buf_t line;
        _formatter.format(message, line); // sets the range of the level
        _receive({level, std::string(line.data(), line.size()), message.color_range_start, message.color_range_end});
    }

private:
    LineFormatter _formatter;
    std::function<void(const LogLine &)> _receive;
};

class FunctionDestination final : public Destination {
public:
    explicit FunctionDestination(std::function<void(const LogMessage &)> receive) : _receive(std::move(receive)) {
        add_destination(this);
    }
    ~FunctionDestination() override { remove_destination(this); }

    void write(const RvLog &log, RvLogLevel level, const char *text) override {
        _receive(LogMessage{level, log.subsystem, log.category, text});
    }

private:
    std::function<void(const LogMessage &)> _receive;
};

/** Checked first, because spdlog's own message repeats the name of the file. */
void require_appendable(const std::string &path) {
    std::FILE *file = std::fopen(path.c_str(), "ab");
    if (file == nullptr) {
        throw Error(path, "", std::string("cannot open the log file: ") + std::generic_category().message(errno));
    }
    std::fclose(file);
}

FaultPoint create_fault("RvLogCreate");

} // namespace

std::unique_ptr<LogSink> log_to_lines(std::function<void(const LogLine &)> receive) {
    return std::make_unique<LineReceiver>(std::move(receive));
}

std::unique_ptr<LogSink> log_to_file(const std::string &path) {
    require_appendable(path);
    return std::make_unique<LineDestination>(std::make_unique<spdlog::sinks::basic_file_sink_mt>(path));
}

std::unique_ptr<LogSink> log_to_journal() {
    return std::make_unique<LineDestination>(std::make_unique<spdlog::sinks::systemd_sink_mt>());
}

void require_journal() {
    constexpr std::string_view kSocket = "/run/systemd/journal/socket";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    kSocket.copy(address.sun_path, sizeof address.sun_path - 1);
    const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool is_reached =
        descriptor != -1 &&
        connect(descriptor, static_cast<const sockaddr *>(static_cast<const void *>(&address)), sizeof address) == 0;
    const int error = errno;
    if (descriptor != -1) {
        close(descriptor);
    }
    if (!is_reached) {
        throw Error(std::string(kSocket), "", std::generic_category().message(error));
    }
}

std::unique_ptr<LogSink> log_to_function(std::function<void(const LogMessage &)> receive) {
    return std::make_unique<FunctionDestination>(std::move(receive));
}

LogRecorder::LogRecorder()
    : _sink(log_to_function([this](const LogMessage &message) {
          const std::lock_guard lock(_mutex);
          _messages.push_back(message);
      })) {}

std::vector<LogMessage> LogRecorder::messages() const {
    const std::lock_guard lock(_mutex);
    return _messages;
}

std::vector<std::string> LogRecorder::lines() const {
    std::vector<std::string> lines;
    for (const LogMessage &message : messages()) {
        lines.push_back(message.text);
        if (!lines.back().empty() && lines.back().back() == '\n') {
            lines.back().pop_back();
        }
    }
    return lines;
}

void LogRecorder::clear() {
    const std::lock_guard lock(_mutex);
    _messages.clear();
}

void enable_log_level(RvLogLevel level, bool enabled) {
    if (index_of(level) < kLevels.size()) {
        the_log().enabled[index_of(level)].store(enabled, std::memory_order_relaxed);
    }
}

} // namespace host

RvLogRef RvLogCreate(const char *subsystem, const char *category) {
    if (host::create_fault.strikes() || subsystem == nullptr || category == nullptr) {
        return nullptr;
    }
    try {
        const std::string name = std::string(subsystem) + ":" + category;
        const std::lock_guard lock(host::the_log().mutex);
        const auto [place, added] =
            host::the_log().objects.try_emplace({subsystem, category}, RvLog{subsystem, category, name});
        return &place->second;
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

bool RvLogIsEnabled(RvLogRef log, RvLogLevel level) { return log != nullptr && host::is_enabled(level); }

void RvLogWrite(RvLogRef log, RvLogLevel level, const char *text) {
    if (text == nullptr || !RvLogIsEnabled(log, level)) {
        return;
    }
    const std::lock_guard lock(host::the_log().mutex);
    // A copy, because a receiver may add or remove sinks.
    const auto destinations = host::the_log().destinations;
    for (host::Destination *destination : destinations) {
        try {
            destination->write(*log, level, text);
        } catch (const std::exception &failure) {
            std::fprintf(stderr, "log: a message was lost: %s\n", failure.what());
        }
    }
}

void RvLogRelease(RvLogRef) {}
