/** System-wide named notifications. */
#ifndef PLATFORM_RV_NOTIFY_H
#define PLATFORM_RV_NOTIFY_H

#include <stdint.h>

#include "platform/RvQueue.h"
#include "platform/RvStatus.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Called on the registration's queue, once per posted notification, with the registration's token. */
typedef void (*RvNotifyHandler)(int32_t token, void *context);

/**
 * Registers for a notification by name. Registrations are independent: a handler that is registered twice is called
 * twice. A registration cannot be cancelled; the host drops it together with its queue.
 *
 * @param name             compared byte for byte; copied.
 * @param queue            the queue on which `handler` is called. If null, the call fails and registers nothing.
 * @param token            set on success to a number that identifies the registration; may be null.
 * @param context          passed to `handler`. Owned by the service from this call on, even if the call fails.
 * @param release_context  called once with `context`; may be null if there is nothing to release.
 */
RvStatus RvNotifyRegister(const char *name, RvQueueRef queue, int32_t *token, RvNotifyHandler handler, void *context,
                          void (*release_context)(void *context));

#ifdef __cplusplus
}
#endif

#endif
