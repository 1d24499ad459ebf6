/** The state-capture service: handlers, request hints, the record. */
#ifndef PLATFORM_RV_STATE_CAPTURE_H
#define PLATFORM_RV_STATE_CAPTURE_H

#include <stddef.h>
#include <stdint.h>

#include "platform/RvQueue.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The kinds of request. Handlers compare them as unsigned numbers. */
enum {
    kRvStateCaptureError = 1,  /* an error was recorded */
    kRvStateCaptureFault = 2,  /* a fault was recorded */
    kRvStateCaptureRequest = 3 /* a capture was requested explicitly */
};

/** The service's description of a request to a handler. Read-only; owned by the service and valid during the call. */
typedef struct RvStateCaptureHints {
    uint32_t version;
    const char *requester; /* name of the requesting party */
    uint32_t kind;         /* one of the three kinds above */
    uint32_t reserved;
} RvStateCaptureHints;

/** The type code of a record whose payload is a typed value in its binary encoding. */
enum { kRvStateCaptureTypeSerializedValue = 1 };

/**
 * A state-capture record: this header of 200 bytes, followed by `payload_size` bytes. Integers are little-endian.
 * Records are allocated with the C allocator (`calloc`) and freed with `free`.
 */
typedef struct RvStateCaptureRecord {
    uint32_t type_code;
    uint32_t payload_size; /* the platform also reads this word as a bit-field; a plug-in only stores the size */
    char decoder_plug_in[64];
    char decoder_type[64];
    char title[64]; /* NUL-terminated */
    uint8_t payload[];
} RvStateCaptureRecord;

/**
 * Answers a request. Called on the queue of the registration.
 * @return a record, which the service owns and frees; null for no answer.
 */
typedef RvStateCaptureRecord *(*RvStateCaptureHandler)(const RvStateCaptureHints *hints, void *context);

/**
 * Registers a handler. Handlers are called in the order of registration.
 * @param queue            the queue on which `handler` is called. If null, the call fails and registers nothing.
 * @param context          passed to `handler`. Owned by the service from this call on, even if the call fails.
 * @param release_context  called once with `context`; may be null if there is nothing to release.
 * @return a number that identifies the registration; 0 on failure.
 */
uint64_t RvStateCaptureAddHandler(RvQueueRef queue, RvStateCaptureHandler handler, void *context,
                                  void (*release_context)(void *context));

#ifdef __cplusplus
}
#endif

#endif
