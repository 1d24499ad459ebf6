/** What a service of the host was handed to call on a serial queue, owned until that queue is closed. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "host/RvQueue.h"

namespace host {

/** A context with its release function, called exactly once; null means that there is nothing to release. */
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
 * The registrations of one service. They are dropped, their contexts with them, by the closing of their queue
 * and on its thread; so work that runs on the queue may use what `find` gave it until it returns. All members
 * may be called from any thread, except where said.
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

    /** Those of the process. They outlive every queue, also those that are closed while the process ends. */
    static QueueRegistrations &of_process() {
        static auto &immortal = *new QueueRegistrations;
        return immortal;
    }

    /** @return the registration's number, ascending from 1; 0, with the context released, on a closed queue. */
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

    /** Those that `wanted` accepts, in the order of registration. */
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

    /** A registration, looked up on its queue; null when it has been dropped. */
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
        // Goes after the lock: a release function may call the service again.
        typename decltype(_registrations)::node_type dropped;
        std::lock_guard lock(_mutex);
        dropped = _registrations.extract(id);
    }

    mutable std::mutex _mutex;
    std::map<std::uint64_t, Registration> _registrations;
    std::uint64_t _last_id = 0;
};

} // namespace host
