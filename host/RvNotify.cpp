#include "host/RvNotify.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <asio/buffer.hpp>
#include <asio/io_context.hpp>
#include <asio/local/datagram_protocol.hpp>

#include "host/error.h"
#include "host/fault_points.h"
#include "host/file_descriptor.h"
#include "host/queue_registrations.h"
#include "platform/RvNotify.h"

namespace host {

namespace {

// ---- the handlers of this process ---------------------------------------------------------------------

struct NotifyEntry {
    std::string name;
    RvNotifyHandler handler;
};

using NotifyRegistrations = QueueRegistrations<NotifyEntry>;

FaultPoint register_fault("RvNotifyRegister");

void call_handler(std::uint64_t id) {
    if (const auto *registration = NotifyRegistrations::of_process().find(id)) {
        registration->entry.handler(static_cast<std::int32_t>(id), registration->context.get());
    }
}

RvStatus register_handler(std::string name, RvQueueRef queue, std::int32_t *token, RvNotifyHandler handler,
                          OwnedContext context) {
    const std::uint64_t id =
        NotifyRegistrations::of_process().add(queue, {std::move(name), handler}, std::move(context));
    if (id == 0) {
        return kRvStatusError;
    }
    if (token != nullptr) {
        *token = static_cast<std::int32_t>(id);
    }
    return kRvStatusSuccess;
}

// ---- the sockets of this user's processes ---------------------------------------------------------------

constexpr std::string_view kSocketSuffix = ".socket";

/** How long a post waits for receivers whose buffers are full, for all of them together. */
constexpr std::chrono::milliseconds kPatience{1000};

std::string error_text(int error) { return std::generic_category().message(error); }

bool is_valid_name(std::string_view name) {
    return !name.empty() && name.size() <= kMaxNotificationName && name.find('\0') == std::string_view::npos;
}

std::string directory_path() {
    // Nothing in a host changes the environment.
    const char *runtime = std::getenv("XDG_RUNTIME_DIR"); // NOLINT(concurrency-mt-unsafe)
    if (runtime != nullptr && *runtime != '\0') {
        return std::string(runtime) + "/qor-notifications";
    }
    return "/tmp/qor-notifications-" + std::to_string(::geteuid());
}

/** Anybody can create a directory in /tmp, so one that others have access to is not used. */
void check_directory_is_private(const std::string &path) {
    const FileDescriptor directory(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (directory.get() < 0 || ::fstat(directory.get(), &status) != 0) {
        throw Error(path, "", "cannot use this directory for notifications: " + error_text(errno));
    }
    if (status.st_uid != ::geteuid() || (status.st_mode & 077) != 0) {
        throw Error(path, "", "not used for notifications because other users have access to it");
    }
}

std::string create_directory() {
    std::string path = directory_path();
    if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        throw Error(path, "", "cannot create the directory for notifications: " + error_text(errno));
    }
    check_directory_is_private(path);
    return path;
}

std::optional<sockaddr_un> socket_address(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return std::nullopt;
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

/** The process ID in the name of a socket file; 0 for any other name. */
pid_t process_of_socket(const std::string &file_name) {
    const char *begin = file_name.data();
    const char *end = begin + file_name.size();
    pid_t process = 0;
    const auto [rest, error] = std::from_chars(begin, end, process);
    const bool is_socket = error == std::errc() && process > 0 &&
                           std::string_view(rest, static_cast<std::size_t>(end - rest)) == kSocketSuffix;
    return is_socket ? process : 0;
}

/** A socket that sends to one receiver. */
class Sender {
public:
    /** @param socket  the receiver's. */
    explicit Sender(const std::string &socket)
        : _socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
        const auto address = socket_address(socket);
        if (!address) {
            _error = ENAMETOOLONG;
        } else if (::connect(_socket.get(), reinterpret_cast<const sockaddr *>(&*address), sizeof *address) != 0) {
            _error = errno;
        }
    }

    /** @return 0 or an errno value; EAGAIN when the receiver's buffer is full. */
    int send(std::string_view name) const {
        if (_error != 0) {
            return _error;
        }
        return ::send(_socket.get(), name.data(), name.size(), 0) < 0 ? errno : 0;
    }

    /** To wait with until the receiver has room. */
    pollfd room() const { return {_socket.get(), POLLOUT, 0}; }

private:
    FileDescriptor _socket;
    int _error = 0;
};

/** A refusal alone does not make a socket stale: its process may be about to bind it. */
bool is_stale(int send_error, pid_t process) {
    return send_error == ECONNREFUSED && ::kill(process, 0) != 0 && errno == ESRCH;
}

/** Sends again to those that have room, until none is left or the patience ends. @return how many took the name. */
std::size_t send_when_there_is_room(std::vector<Sender> waiting, std::string_view name) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + kPatience;
    std::size_t reached = 0;
    while (!waiting.empty()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        std::vector<pollfd> rooms;
        std::ranges::transform(waiting, std::back_inserter(rooms), &Sender::room);
        if (left.count() <= 0 || ::poll(rooms.data(), rooms.size(), static_cast<int>(left.count())) == 0) {
            break;
        }
        std::vector<Sender> still_waiting;
        for (std::size_t i = 0; i < waiting.size(); ++i) {
            const int error = rooms[i].revents == 0 ? EAGAIN : waiting[i].send(name);
            reached += error == 0;
            if (error == EAGAIN) {
                still_waiting.push_back(std::move(waiting[i]));
            }
        }
        waiting = std::move(still_waiting);
    }
    return reached;
}

} // namespace

std::size_t deliver_notification(std::string_view name) {
    std::size_t delivered = 0;
    for (const auto &target :
         NotifyRegistrations::of_process().targets([name](const NotifyEntry &entry) { return entry.name == name; })) {
        if (target.queue->post([id = target.id] { call_handler(id); })) {
            ++delivered;
        }
    }
    return delivered;
}

struct NotificationReceiver::State {
    State() : path(create_directory() + "/" + std::to_string(::getpid()) + std::string(kSocketSuffix)), socket(io) {
        bind();
        receive();
        thread = std::thread([this] { io.run(); });
    }

    ~State() {
        io.stop();
        thread.join();
        ::unlink(path.c_str());
    }

    void bind() {
        const auto address = socket_address(path);
        if (!address) {
            throw Error(path, "", "the path is too long for a socket");
        }
        remove_leftover();
        asio::error_code error;
        socket.open(asio::local::datagram_protocol(), error);
        if (!error) {
            socket.bind(asio::local::datagram_protocol::endpoint(path), error);
        }
        if (error) {
            throw Error(path, "", "cannot receive notifications: " + error.message());
        }
    }

    /** Removes the socket of an earlier process with the same ID, unless a process listens on it. */
    void remove_leftover() const {
        if (Sender(path).send("") == ECONNREFUSED) {
            ::unlink(path.c_str());
        }
    }

    void receive() {
        socket.async_receive(asio::buffer(datagram), [this](const asio::error_code &error, std::size_t size) {
            if (error == asio::error::operation_aborted) {
                return;
            }
            // The buffer has one byte more than a name may have, so a name that is too long fills it.
            if (const std::string_view name(datagram.data(), size); !error && is_valid_name(name)) {
                deliver_notification(name);
            }
            receive();
        });
    }

    std::string path;
    asio::io_context io;
    asio::local::datagram_protocol::socket socket;
    std::array<char, kMaxNotificationName + 1> datagram;
    std::thread thread;
};

NotificationReceiver::NotificationReceiver() : _state(std::make_unique<State>()) {}

NotificationReceiver::~NotificationReceiver() = default;

const std::string &NotificationReceiver::socket() const { return _state->path; }

std::size_t post_notification(std::string_view name) {
    if (!is_valid_name(name)) {
        throw Error("", "notification name",
                    "a name has 1 to " + std::to_string(kMaxNotificationName) + " bytes, none of them zero");
    }
    const std::string directory = directory_path();
    if (::access(directory.c_str(), F_OK) != 0 && errno == ENOENT) {
        return 0;
    }
    check_directory_is_private(directory);

    std::size_t reached = 0;
    std::vector<Sender> waiting;
    std::error_code ignored; // a directory that is removed while it is read has no receivers
    std::filesystem::directory_iterator file(directory, ignored);
    for (; file != std::filesystem::directory_iterator(); file.increment(ignored)) {
        const std::filesystem::path &socket = file->path();
        const pid_t process = process_of_socket(socket.filename().string());
        if (process == 0) {
            continue;
        }
        Sender sender(socket.string());
        const int error = sender.send(name);
        reached += error == 0;
        if (error == EAGAIN) {
            waiting.push_back(std::move(sender));
        } else if (is_stale(error, process)) {
            ::unlink(socket.c_str());
        }
    }
    return reached + send_when_there_is_room(std::move(waiting), name);
}

} // namespace host

RvStatus RvNotifyRegister(const char *name, RvQueueRef queue, int32_t *token, RvNotifyHandler handler, void *context,
                          void (*release_context)(void *context)) {
    host::OwnedContext owned(context, release_context);
    if (name == nullptr || queue == nullptr || handler == nullptr) {
        return kRvStatusBadArgument;
    }
    if (host::register_fault.strikes()) {
        return kRvStatusError;
    }
    try {
        return host::register_handler(name, queue, token, handler, std::move(owned));
    } catch (const std::exception &) {
        return kRvStatusNoMemory;
    }
}
