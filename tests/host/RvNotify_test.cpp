#include "host/RvNotify.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/RvQueue.h"
#include "host/error.h"
#include "host/fault_points.h"
#include "platform/RvNotify.h"
#include "tests/host/counted_context.h"

namespace {

using host::SerialQueue;
using testing::ElementsAre;
using testing::HasSubstr;

namespace fs = std::filesystem;

/** A runtime directory of the test's own, without the receivers of other processes of this user. */
class Notifications : public testing::Test {
protected:
    Notifications() {
        std::string pattern = (fs::temp_directory_path() / "qor-test-XXXXXX").string();
        runtime = ::mkdtemp(pattern.data());
        if (const char *before = std::getenv("XDG_RUNTIME_DIR")) {
            variable_before = before;
        }
        ::setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
    }
    ~Notifications() override {
        if (variable_before) {
            ::setenv("XDG_RUNTIME_DIR", variable_before->c_str(), 1);
        } else {
            ::unsetenv("XDG_RUNTIME_DIR");
        }
        fs::remove_all(runtime);
    }

    fs::path directory() const { return runtime / "qor-notifications"; }
    fs::path own_socket() const { return directory() / (std::to_string(::getpid()) + ".socket"); }

    fs::path runtime;
    std::optional<std::string> variable_before;
};

/** Another process that listens. Killed, if still running, when this object is destroyed. */
class Peer {
public:
    Peer(const std::string &name, int count) {
        int out[2];
        if (::pipe(out) != 0) {
            throw std::runtime_error("pipe");
        }
        _process = ::fork();
        if (_process == 0) {
            ::dup2(out[1], STDOUT_FILENO);
            ::close(out[0]);
            ::execl(NOTIFICATION_PEER, NOTIFICATION_PEER, name.c_str(), std::to_string(count).c_str(), nullptr);
            ::_exit(127);
        }
        ::close(out[1]);
        _out = ::fdopen(out[0], "r");
    }
    ~Peer() {
        kill();
        std::fclose(_out);
    }
    Peer(const Peer &) = delete;
    Peer &operator=(const Peer &) = delete;

    std::string line() {
        char buffer[64];
        return std::fgets(buffer, sizeof buffer, _out) == nullptr ? "" : buffer;
    }

    void kill() {
        if (_process > 0) {
            ::kill(_process, SIGKILL);
            ::waitpid(_process, nullptr, 0);
            _process = 0;
        }
    }

    pid_t process() const { return _process; }

private:
    pid_t _process = 0;
    FILE *_out = nullptr;
};

/** Waits until the handler has been called `count` times. */
void await_calls(SerialQueue &queue, const CountedContext &context, int count) {
    for (int calls = 0; calls < count;) {
        queue.run([&] { calls = context.calls; });
    }
}

void send_raw(const fs::path &socket, const std::string &datagram) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socket.c_str(), sizeof address.sun_path - 1);
    const int sender = ::socket(AF_UNIX, SOCK_DGRAM, 0);
    const auto sent = ::sendto(sender, datagram.data(), datagram.size(), 0,
                               reinterpret_cast<const sockaddr *>(&address), sizeof address);
    ::close(sender);
    ASSERT_EQ(sent, static_cast<ssize_t>(datagram.size()));
}

// ---- within one process -------------------------------------------------------------------------------

TEST_F(Notifications, DeliveryCallsEveryRegistrationOfThatNameWithItsToken) {
    SerialQueue queue;
    CountedContext first;
    CountedContext second;
    CountedContext other;
    std::int32_t first_token = 0;
    std::int32_t second_token = 0;
    RvNotifyRegister("name", queue.handle(), &first_token, CountedContext::on_notification, &first, nullptr);
    RvNotifyRegister("name", queue.handle(), &second_token, CountedContext::on_notification, &second, nullptr);
    RvNotifyRegister("name.longer", queue.handle(), nullptr, CountedContext::on_notification, &other, nullptr);

    const auto delivered = host::deliver_notification("name");
    queue.run([] {});

    EXPECT_EQ(delivered, 2u);
    EXPECT_NE(first_token, second_token);
    EXPECT_THAT(first.tokens, ElementsAre(first_token));
    EXPECT_THAT(second.tokens, ElementsAre(second_token));
    EXPECT_EQ(other.calls, 0);
}

TEST_F(Notifications, RegisteringTwiceMeansBeingCalledTwice) {
    SerialQueue queue;
    CountedContext context;
    RvNotifyRegister("name", queue.handle(), nullptr, CountedContext::on_notification, &context, nullptr);
    RvNotifyRegister("name", queue.handle(), nullptr, CountedContext::on_notification, &context, nullptr);

    host::deliver_notification("name");
    queue.run([] {});

    EXPECT_EQ(context.calls, 2);
}

TEST_F(Notifications, ClosingTheQueueReleasesContextsOnceOnTheQueue) {
    CountedContext context;
    SerialQueue queue;
    context.queue = &queue;
    RvNotifyRegister("name", queue.handle(), nullptr, CountedContext::on_notification, &context,
                     CountedContext::release);

    queue.close();

    EXPECT_EQ(context.releases, 1);
    EXPECT_TRUE(context.released_on_queue);
    EXPECT_EQ(host::deliver_notification("name"), 0u);
    EXPECT_EQ(context.calls, 0);
}

TEST_F(Notifications, DeliveryUnderWayDoesNotReachAHandlerDroppedByCloseOnTheQueue) {
    CountedContext context;
    SerialQueue queue;
    RvNotifyRegister("name", queue.handle(), nullptr, CountedContext::on_notification, &context,
                     CountedContext::release);

    std::size_t under_way = 0;
    queue.run([&] {
        under_way = host::deliver_notification("name");
        queue.close();
    });
    queue.close();

    EXPECT_EQ(under_way, 1u);
    EXPECT_EQ(context.calls, 0);
    EXPECT_EQ(context.releases, 1);
}

TEST_F(Notifications, RegistrationOnAClosedQueueFailsAndReleasesTheContext) {
    SerialQueue queue;
    queue.close();
    CountedContext context;
    std::int32_t token = -5;

    EXPECT_NE(RvNotifyRegister("name", queue.handle(), &token, CountedContext::on_notification, &context,
                               CountedContext::release),
              kRvStatusSuccess + 0u);

    EXPECT_EQ(context.releases, 1);
    EXPECT_EQ(token, -5);
}

TEST_F(Notifications, FaultPointMakesRegistrationFailAndReleaseTheContext) {
    SerialQueue queue;
    CountedContext context;
    host::arm_fault("RvNotifyRegister", 0, host::Strikes::Once);

    const RvStatus status = RvNotifyRegister("name", queue.handle(), nullptr, CountedContext::on_notification, &context,
                                             CountedContext::release);
    host::disarm_faults();

    EXPECT_EQ(status, kRvStatusError);
    EXPECT_EQ(context.releases, 1);
    EXPECT_EQ(host::deliver_notification("name"), 0u);
}

TEST_F(Notifications, DeliveriesOfEightThreadsAllArrive) {
    constexpr int kThreads = 8;
    constexpr int kRounds = 200;
    SerialQueue queue;
    CountedContext context;
    RvNotifyRegister("name", queue.handle(), nullptr, CountedContext::on_notification, &context, nullptr);

    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([] {
            for (int round = 0; round < kRounds; ++round) {
                host::deliver_notification("name");
            }
        });
    }
    for (auto &thread : threads) {
        thread.join();
    }
    queue.close();

    EXPECT_EQ(context.calls, kThreads * kRounds);
}

// ---- between processes ----------------------------------------------------------------------------------

TEST_F(Notifications, PostReachesTheOwnProcess) {
    SerialQueue queue;
    CountedContext context;
    RvNotifyRegister("name", queue.handle(), nullptr, CountedContext::on_notification, &context, nullptr);
    const host::NotificationReceiver receiver;

    const auto reached = host::post_notification("name");
    await_calls(queue, context, 1);

    EXPECT_EQ(reached, 1u);
    EXPECT_EQ(context.calls, 1);
}

TEST_F(Notifications, PostReachesEveryProcessThatReceives) {
    Peer first("name", 2);
    Peer second("name", 1);
    ASSERT_EQ(first.line(), "ready\n");
    ASSERT_EQ(second.line(), "ready\n");

    EXPECT_EQ(host::post_notification("name"), 2u);
    EXPECT_EQ(second.line(), "received 1\n");
    EXPECT_GE(host::post_notification("name"), 1u);
    EXPECT_EQ(first.line(), "received 2\n");
}

/** A receiver of the test's own, under the number of a process that lives. */
class Receiver {
public:
    explicit Receiver(const fs::path &path) : _socket(::socket(AF_UNIX, SOCK_DGRAM, 0)) {
        _address.sun_family = AF_UNIX;
        std::strncpy(_address.sun_path, path.c_str(), sizeof _address.sun_path - 1);
        EXPECT_EQ(::bind(_socket, plain(), sizeof _address), 0);
    }
    ~Receiver() { ::close(_socket); }
    Receiver(const Receiver &) = delete;
    Receiver &operator=(const Receiver &) = delete;

    fs::path path() const { return _address.sun_path; }

    void fill() const {
        const int sender = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0);
        while (::sendto(sender, "old", 3, 0, plain(), sizeof _address) == 3) {
        }
        ::close(sender);
    }

    /** Waits for a datagram. */
    std::string receive() const {
        char datagram[16];
        const ssize_t size = ::recv(_socket, datagram, sizeof datagram, 0);
        return std::string(datagram, size > 0 ? static_cast<std::size_t>(size) : 0);
    }

private:
    const sockaddr *plain() const { return reinterpret_cast<const sockaddr *>(&_address); }

    int _socket;
    sockaddr_un _address{};
};

/**
 * Each of the full receivers makes room only when the one with room has the name. That one is the last in the
 * directory: were it the first, waiting for one after the other would do as well.
 */
TEST_F(Notifications, ReceiversWithoutRoomKeepNobodyWaiting) {
    std::vector<std::unique_ptr<Receiver>> full;
    std::vector<std::unique_ptr<Peer>> processes;
    for (int i = 0; i < 5; ++i) {
        processes.push_back(std::make_unique<Peer>("name", 1));
        ASSERT_EQ(processes.back()->line(), "ready\n");
        const fs::path socket = directory() / (std::to_string(processes.back()->process()) + ".socket");
        fs::remove(socket);
        full.push_back(std::make_unique<Receiver>(socket));
    }
    for (const fs::directory_entry &socket : fs::directory_iterator(directory())) {
        const auto place = std::find_if(full.begin(), full.end(),
                                        [&](const auto &receiver) { return receiver->path() == socket.path(); });
        ASSERT_NE(place, full.end());
        std::rotate(place, place + 1, full.end());
    }
    const std::unique_ptr<Receiver> quick = std::move(full.back());
    full.pop_back();
    for (const auto &receiver : full) {
        receiver->fill();
    }

    std::size_t reached = 0;
    std::thread poster([&] { reached = host::post_notification("new"); });
    EXPECT_EQ(quick->receive(), "new");
    for (const auto &receiver : full) {
        EXPECT_EQ(receiver->receive(), "old");
    }
    poster.join();

    EXPECT_EQ(reached, 5u);
}

TEST_F(Notifications, SocketOfADeadProcessIsClearedAway) {
    Peer peer("name", 1);
    ASSERT_EQ(peer.line(), "ready\n");
    const fs::path socket = directory() / (std::to_string(peer.process()) + ".socket");
    peer.kill();
    ASSERT_TRUE(fs::exists(socket));

    const auto reached = host::post_notification("name");

    EXPECT_EQ(reached, 0u);
    EXPECT_FALSE(fs::exists(socket));
}

TEST_F(Notifications, ForeignFilesInTheDirectoryAreLeftAlone) {
    fs::create_directory(directory());
    fs::permissions(directory(), fs::perms::owner_all);
    for (const char *name : {"notes.txt", "12x.socket", ".socket", "-1.socket", "99999999999999.socket"}) {
        ASSERT_NE(std::fclose(std::fopen((directory() / name).c_str(), "w")), EOF);
    }

    const auto reached = host::post_notification("name");

    EXPECT_EQ(reached, 0u);
    EXPECT_EQ(std::distance(fs::directory_iterator(directory()), fs::directory_iterator()), 5);
}

TEST_F(Notifications, ReceiverTakesItsSocketAway) {
    {
        const host::NotificationReceiver receiver;
        ASSERT_TRUE(fs::exists(own_socket()));
    }

    EXPECT_FALSE(fs::exists(own_socket()));
}

TEST_F(Notifications, ReceiverReplacesTheSocketOfAnEarlierProcessOfTheSameNumber) {
    { const host::NotificationReceiver makes_the_directory; }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, own_socket().c_str(), sizeof address.sun_path - 1);
    const int leftover = ::socket(AF_UNIX, SOCK_DGRAM, 0);
    ASSERT_EQ(::bind(leftover, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    ::close(leftover);

    const host::NotificationReceiver receiver;

    EXPECT_EQ(host::post_notification("name"), 1u);
}

TEST_F(Notifications, SecondReceiverInOneProcessIsRefusedAndTheFirstGoesOn) {
    const host::NotificationReceiver first;

    EXPECT_THROW(host::NotificationReceiver(), host::Error);

    EXPECT_EQ(host::post_notification("name"), 1u);
}

TEST_F(Notifications, HostileDatagramsAreIgnoredAndTheNextNameArrives) {
    SerialQueue queue;
    CountedContext context;
    CountedContext hostile;
    const std::string too_long(host::kMaxNotificationName + 1, 'n');
    RvNotifyRegister("name", queue.handle(), nullptr, CountedContext::on_notification, &context, nullptr);
    RvNotifyRegister("", queue.handle(), nullptr, CountedContext::on_notification, &hostile, nullptr);
    RvNotifyRegister(too_long.c_str(), queue.handle(), nullptr, CountedContext::on_notification, &hostile, nullptr);
    const host::NotificationReceiver receiver;

    send_raw(own_socket(), "");
    send_raw(own_socket(), std::string("name\0", 5));
    send_raw(own_socket(), too_long);
    send_raw(own_socket(), std::string(60'000, 'n'));
    host::post_notification("name");
    await_calls(queue, context, 1);

    EXPECT_EQ(context.calls, 1);
    EXPECT_EQ(hostile.calls, 0);
}

TEST_F(Notifications, NameOfFullLengthTravels) {
    SerialQueue queue;
    CountedContext context;
    const std::string name(host::kMaxNotificationName, 'n');
    RvNotifyRegister(name.c_str(), queue.handle(), nullptr, CountedContext::on_notification, &context, nullptr);
    const host::NotificationReceiver receiver;

    host::post_notification(name);
    await_calls(queue, context, 1);

    EXPECT_EQ(context.calls, 1);
}

TEST_F(Notifications, NameThatCannotTravelIsRefused) {
    EXPECT_THROW(host::post_notification(""), host::Error);
    EXPECT_THROW(host::post_notification(std::string(host::kMaxNotificationName + 1, 'n')), host::Error);
    EXPECT_THROW(host::post_notification(std::string_view("a\0b", 3)), host::Error);
}

TEST_F(Notifications, PostWithoutAnyReceiverReachesNobodyAndMakesNothing) {
    EXPECT_EQ(host::post_notification("name"), 0u);

    EXPECT_FALSE(fs::exists(directory()));
}

/** The text of the error that `call` throws; empty when it throws none. */
template <typename Call>
std::string error_of(Call call) {
    try {
        call();
    } catch (const host::Error &error) {
        return error.what();
    }
    return "";
}

TEST_F(Notifications, DirectoryOpenToOthersIsRefusedByBothSides) {
    fs::create_directory(directory());
    ::chmod(directory().c_str(), 0711);

    const std::string receiving = error_of([] { host::NotificationReceiver(); });
    const std::string posting = error_of([] { host::post_notification("name"); });

    EXPECT_THAT(receiving, HasSubstr("other users have access"));
    EXPECT_THAT(posting, HasSubstr(directory().string()));
}

TEST_F(Notifications, DirectoryBehindASymbolicLinkIsRefused) {
    fs::create_directory(runtime / "elsewhere");
    fs::create_directory_symlink(runtime / "elsewhere", directory());

    EXPECT_THROW(host::NotificationReceiver(), host::Error);
}

TEST_F(Notifications, RuntimeDirectoryThatIsNotThereIsNamed) {
    ::setenv("XDG_RUNTIME_DIR", (runtime / "missing").c_str(), 1);

    EXPECT_THAT(error_of([] { host::NotificationReceiver(); }), HasSubstr((runtime / "missing").string()));
}

TEST_F(Notifications, PathTooLongForASocketIsRefused) {
    const fs::path deep = runtime / std::string(100, 'd');
    fs::create_directory(deep);
    ::setenv("XDG_RUNTIME_DIR", deep.c_str(), 1);

    EXPECT_THAT(error_of([] { host::NotificationReceiver(); }), HasSubstr("too long for a socket"));
}

TEST_F(Notifications, DirectoryInTmpIsUsedWhereNoRuntimeDirectoryIsSet) {
    ::unsetenv("XDG_RUNTIME_DIR");
    const fs::path expected = "/tmp/qor-notifications-" + std::to_string(::geteuid());
    const fs::path socket = expected / (std::to_string(::getpid()) + ".socket");

    const host::NotificationReceiver receiver;

    EXPECT_TRUE(fs::exists(socket));
    EXPECT_EQ(fs::status(expected).permissions(), fs::perms::owner_all);
}

} // namespace
