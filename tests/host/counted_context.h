/** A registration's context that counts its releases and records the arguments of its handler. */
#pragma once

#include <cstdint>
#include <vector>

#include "host/RvQueue.h"
#include "platform/RvStateCapture.h"

struct CountedContext {
    int releases = 0;
    int calls = 0;
    bool released_on_queue = false;
    const host::SerialQueue *queue = nullptr; ///< the queue that `released_on_queue` refers to; may be null
    std::vector<std::int32_t> tokens;
    std::vector<std::uint32_t> kinds;

    static void release(void *context) {
        auto *self = static_cast<CountedContext *>(context);
        ++self->releases;
        self->released_on_queue = self->queue != nullptr && self->queue->is_current();
    }

    static void on_notification(std::int32_t token, void *context) {
        auto *self = static_cast<CountedContext *>(context);
        ++self->calls;
        self->tokens.push_back(token);
    }

    static RvStateCaptureRecord *capture_nothing(const RvStateCaptureHints *hints, void *context) {
        auto *self = static_cast<CountedContext *>(context);
        ++self->calls;
        self->kinds.push_back(hints->kind);
        return nullptr;
    }
};
