/** HID sessions, services and device objects. */
#ifndef PLATFORM_RV_HID_H
#define PLATFORM_RV_HID_H

#include <stdbool.h>
#include <stdint.h>

#include "platform/RvRegistry.h"
#include "platform/TvValues.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The session that opens a plug-in. This plug-in does not use it. */
typedef struct RvHIDSession *RvHIDSessionRef;

/** A HID service. Borrowed from the host for the duration of the call that it is passed to. */
typedef const struct RvHIDService *RvHIDServiceRef;

/** A HID device object. Owned by its creator. */
typedef struct RvHIDDevice *RvHIDDeviceRef;

/** A property of the service. Owned; null if there is none. */
TvRef RvHIDServiceCopyProperty(RvHIDServiceRef service, const char *key);

/** A property of the service. Borrowed from the service; null if there is none. */
TvRef RvHIDServiceGetProperty(RvHIDServiceRef service, const char *key);

/** Whether this pair of usage page and usage is one of the service's. */
bool RvHIDServiceConformsTo(RvHIDServiceRef service, uint32_t usage_page, uint32_t usage);

/** The service's registry ID. Borrowed from the service; null if it has none. It need not be a number. */
TvRef RvHIDServiceGetRegistryID(RvHIDServiceRef service);

/**
 * Creates a HID device object for a registry service, in the default allocator's memory.
 * @return owned; null if the service cannot have one, for a null handle, or if memory is exhausted.
 */
RvHIDDeviceRef RvHIDDeviceCreate(RvRegistryEntry service);

/** Releases a device object. */
void RvHIDDeviceRelease(RvHIDDeviceRef device);

#ifdef __cplusplus
}
#endif

#endif
