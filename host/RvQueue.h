/** The serial queue: one thread that everything the plug-in sees runs on. */
#pragma once

#include <functional>

#include "platform/RvQueue.h"

namespace host {

/**
 * A serial queue with a thread of its own. All members may be called from any thread, except where said.
 * The handle given to plug-ins, and the queue behind it, stay valid and harmless as long as the process: a
 * closed queue takes no more work.
 */
class SerialQueue {
public:
    SerialQueue();
    /** Closes. Never called on the queue itself. */
    ~SerialQueue();
    SerialQueue(const SerialQueue &) = delete;
    SerialQueue &operator=(const SerialQueue &) = delete;

    RvQueueRef handle() const;

    /**
     * Runs `work` on the queue later, in the order of posting. Work that throws ends the process.
     * @return false, with the work dropped, after `close`.
     */
    bool post(std::function<void()> work);

    /**
     * Runs `work` on the queue and waits for it; at once when already there, closed or not. Exceptions come
     * back out. @throws Error after `close`.
     */
    void run(const std::function<void()> &work);

    /** Like `run`, but answers false, with nothing run, after `close`. */
    bool run_if_open(const std::function<void()> &work);

    /** Whether the caller runs on this queue. */
    bool is_current() const;

    /**
     * Runs what was posted, then drops every registration bound to this queue (state capture, notifications,
     * analytics callbacks), releasing their contexts, and ends the thread. Work posted from now on is dropped.
     * Returns when all that has happened. Safe to call twice, and from several threads.
     *
     * Called on the queue itself, it drops the registrations at once, before it returns; what was posted is
     * still run afterwards, finds nothing registered, and then the thread ends. That is how a host makes sure
     * that nothing is delivered between its last call of a plug-in and the end of the queue. Not to be called
     * from inside a registered handler, whose context it would release.
     */
    void close();

    /**
     * Called once by `close`, on the queue's thread, in the order given: how services drop registrations.
     * @return false, with the work dropped, when the registrations have been dropped already.
     */
    bool at_close(std::function<void()> work);

    /**
     * The queue behind a handle; null for a null handle. Not the object that made the handle, but one that
     * stands for the same queue and lives as long as the process.
     */
    static SerialQueue *from_handle(RvQueueRef handle);

private:
    friend struct ::RvQueue;
    /** Stands for `core` without ever closing it. */
    explicit SerialQueue(RvQueueRef core);

    RvQueueRef _core;
    bool _closes_core;
};

/**
 * A debug check (nothing in release builds): the plug-in is entered, and enters the described device, only on
 * the queue. Ends the process with a message naming `operation` when a queue is given and is not the current
 * one.
 */
void check_on_queue(const SerialQueue *queue, const char *operation);

} // namespace host
