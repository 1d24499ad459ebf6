/** Handlers that a service calls on a serial queue, with their contexts, owned until that queue is closed. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "host/RvQueue.h"

namespace host {

/** A context with its release function, which is called exactly once; null when there is nothing to release. */
class OwnedContext {
public:
    using Release = void (*)(void *context);

    OwnedContext(void *context, Release release) : _context(context), _release(release) {}
    OwnedContext(OwnedContext &&other) noexcept
        : _context(other._context), _release(std::exchange(other._release, nullptr)) {}
    OwnedContext &operator=(OwnedContext &&) = delete;
    OwnedContext(const OwnedContext &) = delete;
    OwnedContext &operator=(const OwnedContext &) = delete;
    ~OwnedContext() {
        if (_release != nullptr) {
            _release(_context);
        }
    }

    void *get() const { return _context; }

private:
    void *_context;
    Release _release;
};

/**
 * The registrations of one service. Closing a queue drops its registrations and their contexts on the queue's thread,
 * so work on the queue may use the result of `find` until it returns. All members may be called from any thread, unless
 * stated otherwise.
 */
template <typename Entry>
class QueueRegistrations {
public:
    struct Registration {
        Entry entry;
        OwnedContext context;
        SerialQueue *queue;
    };

    struct Target {
        std::uint64_t id;
        SerialQueue *queue;
    };

    /** The registrations of the process. Never destroyed, because queues may be closed while the process exits. */
    static QueueRegistrations &of_process() {
        static auto &immortal = *new QueueRegistrations;
        return immortal;
    }

    /** @return the registration's number, ascending from 1; 0 for a closed queue, with the context released. */
    std::uint64_t add(RvQueueRef handle, Entry entry, OwnedContext context) {
        SerialQueue *queue = SerialQueue::from_handle(handle);
        const std::uint64_t id = insert({std::move(entry), std::move(context), queue});
        try {
            if (queue->at_close([this, id] { drop(id); })) {
                return id;
            }
        } catch (...) {
            drop(id);
            throw;
        }
        drop(id);
        return 0;
    }

    /** The registrations that `wanted` accepts, in the order of registration. */
    template <typename Predicate>
    std::vector<Target> targets(Predicate wanted) const {
        std::lock_guard lock(_mutex);
        std::vector<Target> found;
        for (const auto &[id, registration] : _registrations) {
            if (wanted(registration.entry)) {
                found.push_back({id, registration.queue});
            }
        }
        return found;
    }

    /** Finds a registration; null when it has been dropped. Called on its queue. */
    const Registration *find(std::uint64_t id) const {
        std::lock_guard lock(_mutex);
        const auto found = _registrations.find(id);
        return found == _registrations.end() ? nullptr : &found->second;
    }

    std::size_t size() const {
        std::lock_guard lock(_mutex);
        return _registrations.size();
    }

private:
    std::uint64_t insert(Registration registration) {
        std::lock_guard lock(_mutex);
        const std::uint64_t id = _last_id + 1;
        _registrations.emplace(id, std::move(registration));
        return _last_id = id;
    }

    void drop(std::uint64_t id) {
        // Destroyed after the lock is released: a release function may call the service again.
        typename decltype(_registrations)::node_type dropped;
        std::lock_guard lock(_mutex);
        dropped = _registrations.extract(id);
    }

    mutable std::mutex _mutex;
    std::map<std::uint64_t, Registration> _registrations;
    std::uint64_t _last_id = 0;
};

} // namespace host
