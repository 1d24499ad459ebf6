/** The serial queue: one thread that everything the plug-in sees runs on. */
#pragma once

#include <functional>
#include <memory>

#include "platform/RvQueue.h"

namespace host {

/**
 * A serial queue with a thread of its own. All members may be called from any thread, except where said.
 * The handle given to plug-ins stays valid, and harmless, as long as the process.
 */
class SerialQueue {
public:
    SerialQueue();
    /** Closes. Never called on the queue itself. */
    ~SerialQueue();
    SerialQueue(const SerialQueue &) = delete;
    SerialQueue &operator=(const SerialQueue &) = delete;

    RvQueueRef handle() const;

    /** Runs `work` on the queue later; after `close` it is dropped. */
    void post(std::function<void()> work);

    /** Runs `work` on the queue and waits for it; at once when already there. Exceptions come back out. */
    void run(const std::function<void()> &work);

    /** Whether the caller runs on this queue. */
    bool is_current() const;

    /**
     * Runs what was posted, then drops every registration bound to this queue (state capture, notifications,
     * analytics callbacks), releasing their contexts, and ends the thread. Safe to call twice.
     */
    void close();

    /** Called once by `close`, on the queue's thread, after the last work: how services drop registrations. */
    void at_close(std::function<void()> work);

    /** The queue behind a handle; null for a null handle. */
    static SerialQueue *from_handle(RvQueueRef handle);

private:
    struct State;
    std::unique_ptr<State> _state;
};

/**
 * A debug check (nothing in release builds): the plug-in is entered, and enters the described device, only on
 * the queue. Ends the process with a message naming `operation` when a queue is given and is not the current
 * one.
 */
void check_on_queue(const SerialQueue *queue, const char *operation);

} // namespace host
