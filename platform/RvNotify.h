/** System-wide named notifications. */
#ifndef PLATFORM_RV_NOTIFY_H
#define PLATFORM_RV_NOTIFY_H

#include <stdint.h>

#include "platform/RvQueue.h"
#include "platform/RvStatus.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Called on the queue of the registration, once per posted notification, with the registration's token. */
typedef void (*RvNotifyHandler)(int32_t token, void *context);

/**
 * Registers for a notification by name. Every registration is delivered to on its own: registering twice
 * means being called twice. There is no cancelling; the host drops what is bound to a queue together with
 * that queue.
 *
 * @param name             compared byte for byte; copied.
 * @param queue            where `handler` is called. Null: nothing is registered, failure.
 * @param token            set on success to a number that names the registration; may be null.
 * @param context          passed to `handler`, owned by the service from this call on, failure included.
 * @param release_context  called once with `context`; may be null when there is nothing to release.
 */
RvStatus RvNotifyRegister(const char *name, RvQueueRef queue, int32_t *token, RvNotifyHandler handler, void *context,
                          void (*release_context)(void *context));

#ifdef __cplusplus
}
#endif

#endif
