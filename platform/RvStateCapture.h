/** The state-capture service: handlers, request hints, the record. */
#ifndef PLATFORM_RV_STATE_CAPTURE_H
#define PLATFORM_RV_STATE_CAPTURE_H

#include <stddef.h>
#include <stdint.h>

#include "platform/RvQueue.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Why state is captured. Handlers compare these as unsigned numbers. */
enum {
    kRvStateCaptureError = 1,  /* an error was recorded */
    kRvStateCaptureFault = 2,  /* a fault was recorded */
    kRvStateCaptureRequest = 3 /* somebody asked */
};

/** What the service tells a handler about the request. Read-only and the service's, for the call's time. */
typedef struct RvStateCaptureHints {
    uint32_t version;
    const char *requester; /* name of the requesting party */
    uint32_t kind;         /* one of the three above */
    uint32_t reserved;
} RvStateCaptureHints;

/** The type code of a record whose payload is a typed value in its binary encoding. */
enum { kRvStateCaptureTypeSerializedValue = 1 };

/**
 * A state-capture record: this header of 200 bytes, then `payload_size` bytes. Integers are little-endian.
 * Records are made with the C allocator (`calloc`) and freed with `free`.
 */
typedef struct RvStateCaptureRecord {
    uint32_t type_code;
    uint32_t payload_size; /* the platform also reads this word as a bit-field; a plug-in writes only the size */
    char decoder_plug_in[64];
    char decoder_type[64];
    char title[64]; /* NUL-terminated */
    uint8_t payload[];
} RvStateCaptureRecord;

/**
 * Answers a request, on the queue of the registration.
 * @return a record, from then on the service's, who frees it; or null for no answer.
 */
typedef RvStateCaptureRecord *(*RvStateCaptureHandler)(const RvStateCaptureHints *hints, void *context);

/**
 * Registers a handler. Handlers are asked in the order of registration.
 * @param queue            where `handler` is called. Null: nothing is registered, failure.
 * @param context          passed to `handler`, owned by the service from this call on, failure included.
 * @param release_context  called once with `context`; may be null when there is nothing to release.
 * @return a number that names the registration; 0 on failure.
 */
uint64_t RvStateCaptureAddHandler(RvQueueRef queue, RvStateCaptureHandler handler, void *context,
                                  void (*release_context)(void *context));

#ifdef __cplusplus
}
#endif

#endif
