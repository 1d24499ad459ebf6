/**
 * The device registry: entries with a name, a class and properties, linked into planes as parents and children.
 *
 * An entry is used through a handle; 0 is the null handle. Every handle that an operation returns is owned by the
 * caller, who releases it with `RvRegistryEntryRelease`. Two look-ups of one entry return two references, which may be
 * the same number. All operations may be called from any thread, with or without a running host.
 */
#ifndef PLATFORM_RV_REGISTRY_H
#define PLATFORM_RV_REGISTRY_H

#include <stdbool.h>
#include <stdint.h>

#include "platform/RvStatus.h"
#include "platform/TvValues.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t RvRegistryEntry;

/** The plane that links drivers, devices and their clients. */
#define kRvServicePlane "RvService"

/** The size of a buffer for a name, in bytes, with the terminating zero. */
enum { kRvRegistryNameSize = 128 };

/** The first service with this registry ID. Owned; 0 if there is none. */
RvRegistryEntry RvRegistryCopyServiceMatchingID(uint64_t registry_id);

/** The first service whose class has this name. Owned; 0 if there is none. */
RvRegistryEntry RvRegistryCopyServiceMatchingClass(const char *class_name);

/** The first service with this name. Owned; 0 if there is none. */
RvRegistryEntry RvRegistryCopyServiceMatchingName(const char *name);

/**
 * Stores the parent of `entry` in `plane`, owned, in `parent`. If the entry has no parent in that plane, the call
 * succeeds and stores 0. After a failure `parent` may hold any number: do not release it.
 * @return 0 on success; `kRvStatusBadArgument` if the handle, the plane or the output is null; otherwise a status that
 *         the registry defines.
 */
RvStatus RvRegistryEntryCopyParent(RvRegistryEntry entry, const char *plane, RvRegistryEntry *parent);

/** Stores the first child of `entry` in `plane` in `child`; otherwise like `RvRegistryEntryCopyParent`. */
RvStatus RvRegistryEntryCopyChild(RvRegistryEntry entry, const char *plane, RvRegistryEntry *child);

/**
 * Writes the entry's name to `name`, truncated to 127 bytes and always NUL-terminated.
 * @return 0 on success; on failure another status, with `name` unchanged.
 */
RvStatus RvRegistryEntryGetName(RvRegistryEntry entry, char name[kRvRegistryNameSize]);

/** A property of the entry. Owned; null if there is none, for a null handle, or if memory is exhausted. */
TvRef RvRegistryEntryCopyProperty(RvRegistryEntry entry, const char *key);

/** Releases one reference. */
void RvRegistryEntryRelease(RvRegistryEntry entry);

#ifdef __cplusplus
}
#endif

#endif
