/** A registration's context that counts how often it was released, and what its handler was given. */
#pragma once

#include <cstdint>
#include <vector>

#include "host/RvQueue.h"
#include "platform/RvStateCapture.h"

struct CountedContext {
    int releases = 0;
    int calls = 0;
    bool released_on_queue = false;
    const host::SerialQueue *queue = nullptr; ///< when set, `released_on_queue` is about it
    std::vector<std::int32_t> tokens;
    std::vector<std::uint32_t> kinds;

    static void release(void *context) {
        auto *self = static_cast<CountedContext *>(context);
        ++self->releases;
        self->released_on_queue = self->queue != nullptr && self->queue->is_current();
    }

    static void notified(std::int32_t token, void *context) {
        auto *self = static_cast<CountedContext *>(context);
        ++self->calls;
        self->tokens.push_back(token);
    }

    static RvStateCaptureRecord *captured_nothing(const RvStateCaptureHints *hints, void *context) {
        auto *self = static_cast<CountedContext *>(context);
        ++self->calls;
        self->kinds.push_back(hints->kind);
        return nullptr;
    }
};
