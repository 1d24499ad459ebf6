#include "cli/terminal/interruption.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <limits>
#include <mutex>
#include <system_error>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "host/error.h"

namespace cli {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::array<int, 3> kSignals = {SIGINT, SIGTERM, SIGHUP};

/** After a signal, what is left for a slow reader: short for the user, long for a reader that lives. */
constexpr std::chrono::milliseconds kTimeForReader{500};

/** The value of `holders` when the process is ending. */
constexpr int kEnding = -1;

/** The signal that came, or 0. Set on whichever thread receives it. */
std::atomic<int> requested = 0;
/** How many objects keep the process from ending, or `kEnding`. */
std::atomic<int> holders = 0;
std::atomic<bool> has_interruption = false;
std::atomic<bool> next_kills = false;
/** An eventfd; -1 before the first object. */
std::atomic<int> wake = -1;
/** In nanoseconds of the clock; 0 until the first interrupted piece asks. */
std::atomic<std::int64_t> deadline = 0;
/** Of waiting for input, in nanoseconds of the clock; the greatest for none. */
constexpr std::int64_t kNoDeadline = std::numeric_limits<std::int64_t>::max();
std::atomic<std::int64_t> input_deadline = kNoDeadline;
/** What a signal that ends the process removes; null for nothing. */
std::atomic<const char *> removed_by_signal = nullptr;
static_assert(std::atomic<const char *>::is_always_lock_free && std::atomic<int>::is_always_lock_free &&
                  std::atomic<bool>::is_always_lock_free,
              "a signal handler uses them");

/** Safe in a signal handler. */
[[noreturn]] void end_by(int signal) {
    if (const char *const path = removed_by_signal) {
        unlink(path);
    }
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    raise(signal);
    _exit(128 + signal);
}

/** Ends the process if nothing holds it. Afterwards no thread can begin a piece. */
void end_if_free(int signal) {
    int none = 0;
    if (holders.compare_exchange_strong(none, kEnding)) {
        end_by(signal);
    }
}

void handle(int signal) {
    const int former_errno = errno;
    requested = signal;
    if (next_kills && signal != SIGHUP) {
        end_by(signal);
    }
    end_if_free(signal);
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(wake, &one, sizeof one);
    errno = former_errno;
}

/** For the rest of the process: without an object that holds it, the handler ends it as the signal itself would. */
void prepare() {
    static std::once_flag once;
    std::call_once(once, [] {
        wake = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
        if (wake == -1) {
            throw host::Error("eventfd", "", std::generic_category().message(errno));
        }
        struct sigaction action {};
        action.sa_handler = handle;
        sigemptyset(&action.sa_mask);
        for (const int signal : kSignals) {
            struct sigaction before {};
            sigaction(signal, nullptr, &before);
            if (before.sa_handler != SIG_IGN) {
                sigaction(signal, &action, nullptr);
            }
        }
    });
}

void hold() {
    int count = holders;
    do {
        while (count == kEnding) {
            pause();
            count = holders;
        }
    } while (!holders.compare_exchange_weak(count, count + 1));
}

std::int64_t nanoseconds_of(Clock::time_point time) { return time.time_since_epoch() / std::chrono::nanoseconds(1); }

/** The time left, as `poll` takes it: rounded up, -1 for any. */
int milliseconds_for_input() {
    const std::int64_t end = input_deadline;
    if (end == kNoDeadline) {
        return -1;
    }
    const std::int64_t left = std::max<std::int64_t>(0, end - nanoseconds_of(Clock::now()));
    return static_cast<int>(std::min<std::int64_t>(std::numeric_limits<int>::max(), (left + 999'999) / 1'000'000));
}

void release() {
    --holders;
    if (const int signal = requested; signal != 0) {
        end_if_free(signal);
    }
}

} // namespace

Interruption::Interruption() {
    prepare();
    hold();
    has_interruption = true;
}

Interruption::~Interruption() {
    // The owner has seen to the signals so far. One that comes from here on ends the process, at the latest on release.
    take_signal();
    next_kills = false;
    has_interruption = false;
    release();
}

bool Interruption::is_requested() const { return requested != 0; }

int Interruption::take_signal() {
    std::uint64_t signals = 0;
    [[maybe_unused]] const ssize_t drained = read(wake, &signals, sizeof signals);
    deadline = 0;
    return requested.exchange(0);
}

void Interruption::throw_if_requested() const {
    if (is_requested()) {
        throw host::Error("", "", "interrupted");
    }
}

int Interruption::descriptor() const { return wake; }

void Interruption::let_next_signal_kill() { next_kills = true; }

WholePiece::WholePiece() {
    prepare();
    hold();
}

WholePiece::~WholePiece() { release(); }

bool WholePiece::is_interrupted() const { return requested != 0; }

bool WholePiece::ends_process() const { return !has_interruption; }

std::chrono::milliseconds WholePiece::time_left() const {
    const std::int64_t now = nanoseconds_of(Clock::now());
    std::int64_t none = 0;
    deadline.compare_exchange_strong(none, now + kTimeForReader / std::chrono::nanoseconds(1));
    const std::int64_t left = deadline - now;
    return std::chrono::milliseconds(left <= 0 ? 0 : (left + 999'999) / 1'000'000);
}

int WholePiece::descriptor() const { return wake; }

RemovedBySignal::RemovedBySignal(std::string path) : _path(std::move(path)) { removed_by_signal = _path.c_str(); }

RemovedBySignal::~RemovedBySignal() { removed_by_signal = nullptr; }

InputDeadline::InputDeadline(Clock::time_point time) { input_deadline = nanoseconds_of(time); }

InputDeadline::~InputDeadline() { input_deadline = kNoDeadline; }

void wait_for_input(int descriptor) {
    std::array<pollfd, 2> ends{{{descriptor, POLLIN, 0}, {has_interruption ? wake.load() : -1, POLLIN, 0}}};
    do {
        poll(ends.data(), ends.size(), milliseconds_for_input());
        if (has_interruption && requested != 0) {
            throw Interrupted{};
        }
        if (milliseconds_for_input() == 0) {
            throw InputTooLate{};
        }
    } while (ends[0].revents == 0);
}

} // namespace cli
