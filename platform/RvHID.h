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

/** The session that opens a plug-in; this plug-in only passes it by. */
typedef struct RvHIDSession *RvHIDSessionRef;

/** A HID service, borrowed from the host for the call that hands it over. */
typedef const struct RvHIDService *RvHIDServiceRef;

/** A HID device object, owned by whoever created it. */
typedef struct RvHIDDevice *RvHIDDeviceRef;

/** A property of the service. Owned; null when there is none. */
TvRef RvHIDServiceCopyProperty(RvHIDServiceRef service, const char *key);

/** A property of the service. Borrowed from the service; null when there is none. */
TvRef RvHIDServiceGetProperty(RvHIDServiceRef service, const char *key);

/** Whether the service carries this pair of usage page and usage. */
bool RvHIDServiceConformsTo(RvHIDServiceRef service, uint32_t usage_page, uint32_t usage);

/** The service's registry ID. Borrowed from the service; null when it has none; not always a number. */
TvRef RvHIDServiceGetRegistryID(RvHIDServiceRef service);

/**
 * A HID device object on a registry service, made in the default allocator's memory.
 * @return owned; null when the service cannot carry one, for a null handle and without memory.
 */
RvHIDDeviceRef RvHIDDeviceCreate(RvRegistryEntry service);

/** Gives a device object back. */
void RvHIDDeviceRelease(RvHIDDeviceRef device);

#ifdef __cplusplus
}
#endif

#endif
