#include "host/RvQueue.h"

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>

#include "host/error.h"

namespace {

thread_local RvQueueRef current_queue = nullptr;

/** The state that a thread waiting for its work shares with the queue. */
class Completion {
public:
    /** Runs `work` and wakes the waiting thread, which then holds the only reference to the exception. */
    void run(const std::function<void()> &work) {
        std::exception_ptr failure;
        try {
            work();
        } catch (...) {
            failure = std::current_exception();
        }
        std::lock_guard lock(_mutex);
        _failure = std::move(failure);
        _done = true;
        _changed.notify_one();
    }

    void wait() {
        std::unique_lock lock(_mutex);
        _changed.wait(lock, [this] { return _done; });
        if (_failure) {
            std::rethrow_exception(std::move(_failure));
        }
    }

private:
    std::mutex _mutex;
    std::condition_variable _changed;
    bool _done = false;
    std::exception_ptr _failure;
};

} // namespace

/** The queue itself. Never freed, because plug-ins keep the handle. */
struct RvQueue {
public:
    // Without the hint that one thread runs the context: with it, Asio holds back what the queue posts to itself until
    // the posting work has ended, and work of other threads overtakes it.
    explicit RvQueue(host::SerialQueue::Thread thread)
        : stand_in(this), _context(std::make_unique<asio::io_context>()), _keep_alive(_context->get_executor()),
          _is_creators(thread == host::SerialQueue::Thread::kOfCreator) {
        if (_is_creators) {
            current_queue = this;
        } else {
            _thread = std::thread([this] { run_thread(); });
        }
    }

    bool post(std::function<void()> work) {
        std::lock_guard lock(_mutex);
        if (_closed) {
            return false;
        }
        asio::post(*_context, std::move(work));
        return true;
    }

    bool at_close(std::function<void()> work) {
        std::lock_guard lock(_mutex);
        if (_registrations_dropped) {
            return false;
        }
        _at_close.push_back(std::move(work));
        return true;
    }

    void close() {
        refuse_work();
        if (current_queue != this) {
            join();
        } else if (_is_creators) {
            run_posted();
            drop_registrations_for_good();
            current_queue = nullptr;
        } else {
            drop_registrations_for_good();
        }
    }

    void run_posted() { _context->poll(); }

    void drop_registrations() {
        std::vector<std::function<void()>> dropping;
        {
            std::lock_guard lock(_mutex);
            dropping.swap(_at_close);
        }
        for (const auto &drop : dropping) {
            drop();
        }
    }

    host::SerialQueue stand_in; ///< what `from_handle` gives

private:
    void run_thread() {
        current_queue = this;
        _context->run();
        drop_registrations_for_good();
    }

    void refuse_work() {
        std::lock_guard lock(_mutex);
        _closed = true;
        _keep_alive.reset();
    }

    void drop_registrations_for_good() {
        {
            std::lock_guard lock(_mutex);
            _registrations_dropped = true; // from here on, `at_close` adds nothing
        }
        drop_registrations();
    }

    void join() {
        std::lock_guard lock(_joining);
        if (_thread.joinable()) {
            _thread.join();
            _context.reset();
        }
    }

    std::mutex _mutex; ///< guards the four members below, and posting
    bool _closed = false;
    bool _registrations_dropped = false;
    std::vector<std::function<void()>> _at_close;
    std::unique_ptr<asio::io_context> _context;
    std::optional<asio::executor_work_guard<asio::io_context::executor_type>> _keep_alive;
    const bool _is_creators; ///< has no thread of its own
    std::mutex _joining;     ///< held while joining, so that every caller of `close` waits
    std::thread _thread;
};

namespace host {

namespace {

/** Creates a queue that lives until the process ends and stays reachable, so that it is not reported as a leak. */
RvQueueRef create_queue(SerialQueue::Thread thread) {
    static std::mutex mutex;
    static auto &queues = *new std::vector<std::unique_ptr<RvQueue>>;

    std::lock_guard lock(mutex);
    return queues.emplace_back(std::make_unique<RvQueue>(thread)).get();
}

} // namespace

SerialQueue::SerialQueue(Thread thread) : _core(create_queue(thread)), _closes_core(true) {}

SerialQueue::SerialQueue(RvQueueRef core) : _core(core), _closes_core(false) {}

// NOLINTNEXTLINE(bugprone-exception-escape): work that throws ends the process, as on a thread of the queue's own
SerialQueue::~SerialQueue() {
    if (_closes_core) {
        close();
    }
}

RvQueueRef SerialQueue::handle() const { return _core; }

bool SerialQueue::post(std::function<void()> work) { return _core->post(std::move(work)); }

void SerialQueue::run(const std::function<void()> &work) {
    if (!run_if_open(work)) {
        throw Error("", "", "the serial queue is closed");
    }
}

bool SerialQueue::run_if_open(const std::function<void()> &work) {
    if (is_current()) {
        work();
        return true;
    }
    Completion completion;
    if (!post([&completion, &work] { completion.run(work); })) {
        return false;
    }
    completion.wait();
    return true;
}

bool SerialQueue::is_current() const { return current_queue == _core; }

void SerialQueue::run_posted() {
    check_on_queue(this, "run_posted");
    _core->run_posted();
}

void SerialQueue::close() { _core->close(); }

void SerialQueue::drop_registrations() {
    check_on_queue(this, "drop_registrations");
    _core->drop_registrations();
}

bool SerialQueue::at_close(std::function<void()> work) { return _core->at_close(std::move(work)); }

SerialQueue *SerialQueue::from_handle(RvQueueRef handle) { return handle == nullptr ? nullptr : &handle->stand_in; }

void check_on_queue([[maybe_unused]] const SerialQueue *queue, [[maybe_unused]] const char *operation) {
#ifndef NDEBUG
    if (queue != nullptr && !queue->is_current()) {
        std::fprintf(stderr, "%s: called off the serial queue\n", operation);
        std::abort();
    }
#endif
}

} // namespace host
