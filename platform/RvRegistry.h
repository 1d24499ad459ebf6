/**
 * The device registry: entries with a name, a class and properties, tied into planes as parents and children.
 *
 * An entry is used through a handle; 0 is no handle. Every handle that an operation gives is owned and is
 * given back with `RvRegistryEntryRelease`; asking twice gives two references, which may be the same number.
 * All operations may be called from any thread, with or without a running host.
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

/** The plane in which drivers, devices and their clients are parents and children of each other. */
#define kRvServicePlane "RvService"

/** The room that a name needs, terminating zero included. */
enum { kRvRegistryNameSize = 128 };

/** The first service with this registry ID; 0 when there is none. Owned. */
RvRegistryEntry RvRegistryCopyServiceMatchingID(uint64_t registry_id);

/** The first service whose class has this name; 0 when there is none. Owned. */
RvRegistryEntry RvRegistryCopyServiceMatchingClass(const char *class_name);

/** The first service of this name; 0 when there is none. Owned. */
RvRegistryEntry RvRegistryCopyServiceMatchingName(const char *name);

/**
 * The parent of `entry` in `plane`, owned, stored in `parent`. An entry without a parent there is a success
 * that stores 0. On failure whatever `parent` holds is not a handle to release.
 * @return 0; `kRvStatusBadArgument` for a null handle, plane or output; another status of the registry's own.
 */
RvStatus RvRegistryEntryCopyParent(RvRegistryEntry entry, const char *plane, RvRegistryEntry *parent);

/** The first child of `entry` in `plane`; otherwise like `RvRegistryEntryCopyParent`. */
RvStatus RvRegistryEntryCopyChild(RvRegistryEntry entry, const char *plane, RvRegistryEntry *child);

/**
 * Writes the entry's name into `name`, cut to 127 bytes and always terminated.
 * @return 0; otherwise a status, with `name` untouched.
 */
RvStatus RvRegistryEntryGetName(RvRegistryEntry entry, char name[kRvRegistryNameSize]);

/** A property of the entry. Owned; null when there is none, for a null handle and without memory. */
TvRef RvRegistryEntryCopyProperty(RvRegistryEntry entry, const char *key);

/** Gives one reference back. */
void RvRegistryEntryRelease(RvRegistryEntry entry);

#ifdef __cplusplus
}
#endif

#endif
