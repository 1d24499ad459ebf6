/** The serial queue, behind `platform/RvQueue.h`. The plug-in is called on its thread only. */
#pragma once

#include <functional>

#include "platform/RvQueue.h"

namespace host {

/**
 * A serial queue, usually with a thread of its own. All members may be called from any thread, unless stated otherwise.
 * The handle stays valid until the process ends, because plug-ins may keep it; a closed queue accepts no work.
 */
class SerialQueue {
public:
    enum class Thread {
        kOwn,
        /**
         * None: the thread that creates the queue is the queue, until it closes it. Its own work runs at once, and that
         * of others when it calls `run_posted`. One such queue for a thread at a time.
         */
        kOfCreator
    };

    explicit SerialQueue(Thread thread = Thread::kOwn);
    /** Closes the queue. Must not be called on the queue itself, unless the queue has no thread of its own. */
    ~SerialQueue(); // NOLINT(bugprone-exception-escape): work that throws ends the process
    SerialQueue(const SerialQueue &) = delete;
    SerialQueue &operator=(const SerialQueue &) = delete;

    RvQueueRef handle() const;

    /**
     * Runs `work` on the queue later, in the order of posting. Work that throws ends the process.
     * @return false, with the work dropped, after `close`.
     */
    bool post(std::function<void()> work);

    /**
     * Runs `work` on the queue and waits for it. On the queue itself it runs at once, even after `close`. Exceptions
     * propagate to the caller.
     * @throws Error after `close`.
     */
    void run(const std::function<void()> &work);

    /** Like `run`, but returns false without running anything after `close`. */
    bool run_if_open(const std::function<void()> &work);

    /** Runs the work posted so far, on a queue without a thread of its own. Only its creator calls it. */
    void run_posted();

    /** Whether the calling thread is that of this queue. */
    bool is_current() const;

    /**
     * Runs the work posted so far, then drops every registration bound to this queue (state capture, notifications,
     * analytics callbacks), releasing their contexts, and ends the thread. Work posted from now on is dropped. Returns
     * when all of this is done. May be called more than once, and from several threads.
     *
     * On the queue itself, it drops the registrations at once and returns; the work posted so far runs afterwards,
     * finds nothing registered, and then the thread ends. A host calls it there so that nothing is delivered between
     * its last call of a plug-in and the end of the queue. Must not be called from a registered handler, whose context
     * it would release.
     */
    void close();

    /**
     * Drops every registration bound to this queue, as `close` does, but the queue stays open: for a process that hosts
     * one plug-in after another, each with nothing left of the one before. Called on the queue, and not from a
     * registered handler. What was posted before runs afterwards and finds nothing registered.
     */
    void drop_registrations();

    /**
     * Adds work that runs once, when the registrations are dropped, on the queue's thread, in the order added. Services
     * drop their registrations in it.
     * @return false, with the work dropped, when `close` has already dropped the registrations.
     */
    bool at_close(std::function<void()> work);

    /**
     * The queue of a handle; null for a null handle. This is not the object that created the handle, but one for the
     * same queue that lives as long as the process.
     */
    static SerialQueue *from_handle(RvQueueRef handle);

private:
    friend struct ::RvQueue;
    /** An object for `core` that does not close it. */
    explicit SerialQueue(RvQueueRef core);

    RvQueueRef _core;
    bool _closes_core;
};

/**
 * A check in debug builds: the plug-in is called, and calls the described device, only on the queue. Aborts the process
 * with a message naming `operation` when `queue` is not null and not the current one.
 */
void check_on_queue(const SerialQueue *queue, const char *operation);

} // namespace host
