#include "host/RvLog.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <map>
#include <new>
#include <system_error>
#include <utility>

#include <sys/socket.h>
#include <sys/un.h>

#include "host/error.h"
#include "host/fault_points.h"
#include "host/file_descriptor.h"
#include "host/log_lines.h"
#include "host/shared_library.h"

/** A log object, one for each subsystem and category. */
struct RvLog {
    host::LogNames names;
};

namespace host {
namespace {

constexpr std::size_t kLevelCount = 3;

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
    std::array<std::atomic<bool>, kLevelCount> enabled{true, true, true};
};

/** Never destroyed: log objects live as long as the process, which may log while it exits. */
Log &the_log() {
    static Log &instance = *new Log;
    return instance;
}

/** The level as an index into the table; out of range for an unknown level. */
std::size_t index_of(RvLogLevel level) { return static_cast<std::size_t>(level); }

bool is_enabled(RvLogLevel level) {
    return the_log().has_destinations.load(std::memory_order_acquire) && index_of(level) < kLevelCount &&
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

/** Passes messages, without the newline at their end, to what makes lines of them. */
class LineDestination final : public Destination {
public:
    explicit LineDestination(std::unique_ptr<LogLines> lines) : _lines(std::move(lines)) { add_destination(this); }
    ~LineDestination() override { remove_destination(this); }

    void write(const RvLog &log, RvLogLevel level, const char *text) override {
        std::string_view line(text);
        if (!line.empty() && line.back() == '\n') {
            line.remove_suffix(1);
        }
        _lines->write(log.names, level, line);
    }

private:
    std::unique_ptr<LogLines> _lines;
};

class FunctionDestination final : public Destination {
public:
    explicit FunctionDestination(std::function<void(const LogMessage &)> receive) : _receive(std::move(receive)) {
        add_destination(this);
    }
    ~FunctionDestination() override { remove_destination(this); }

    void write(const RvLog &log, RvLogLevel level, const char *text) override {
        _receive(LogMessage{level, log.names.subsystem, log.names.category, text});
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

void say_lost(const char *reason) { std::fprintf(stderr, "log: a message was lost: %s\n", reason); }

/** Passes a message to every destination. Called with the lock. @throws std::bad_alloc before any has it. */
void pass_on(const RvLog &log, RvLogLevel level, const char *text) {
    // A copy, because a receiver may add or remove destinations.
    const std::vector<Destination *> destinations = the_log().destinations;
    for (Destination *destination : destinations) {
        const auto &present = the_log().destinations;
        if (std::find(present.begin(), present.end(), destination) == present.end()) {
            continue; // removed by an earlier one
        }
        try {
            destination->write(log, level, text);
        } catch (const std::exception &failure) {
            say_lost(failure.what());
        }
    }
}

const LogLinesLibrary &lines_library() { return own_library<LogLinesLibrary>("libqorlog.so", "qor_log_lines_library"); }

FaultPoint create_fault("RvLogCreate");

} // namespace

std::unique_ptr<LogSink> log_to_lines(std::function<void(const LogLine &)> receive) {
    return std::make_unique<LineDestination>(lines_library().to_function(std::move(receive)));
}

std::unique_ptr<LogSink> log_to_file(const std::string &path) {
    require_appendable(path);
    return std::make_unique<LineDestination>(lines_library().to_file(path));
}

std::unique_ptr<LogSink> log_to_journal(const std::string &device) {
    return std::make_unique<LineDestination>(lines_library().to_journal(device));
}

void require_journal() {
    constexpr std::string_view kSocket = "/run/systemd/journal/socket";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    kSocket.copy(address.sun_path, sizeof address.sun_path - 1);
    const FileDescriptor journal(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const auto *const plain = reinterpret_cast<const sockaddr *>(&address);
    if (journal.get() == -1 || connect(journal.get(), plain, sizeof address) != 0) {
        throw Error(std::string(kSocket), "", std::generic_category().message(errno));
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
    if (index_of(level) < kLevelCount) {
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
            host::the_log().objects.try_emplace({subsystem, category}, RvLog{{subsystem, category, name}});
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
    try {
        host::pass_on(*log, level, text);
    } catch (const std::bad_alloc &failure) {
        host::say_lost(failure.what());
    }
}

void RvLogRelease(RvLogRef) {}
