/** UUIDs, the plug-in registry, and the user-space plug-ins of registry services. */
#ifndef PLATFORM_RV_PLUG_IN_H
#define PLATFORM_RV_PLUG_IN_H

#include <stdint.h>

#include "platform/RvRegistry.h"
#include "platform/RvStatus.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- UUIDs ------------------------------------------------------------------------------------------ */

/** The 16 bytes of a UUID. Byte 0 is the first pair of hexadecimal digits of the 8-4-4-4-12 form. */
typedef struct RvUUIDBytes {
    uint8_t bytes[16];
} RvUUIDBytes;

/** A UUID object. */
typedef const struct RvUUID *RvUUIDRef;

/** Creates a UUID object, to be released with `RvUUIDRelease`. Null if memory is exhausted. Any thread. */
RvUUIDRef RvUUIDCreateWithBytes(RvUUIDBytes bytes);

/**
 * The process's one constant UUID object with these bytes, valid as long as the process. Borrowed; null if memory is
 * exhausted. Any thread.
 */
RvUUIDRef RvUUIDGetConstantWithBytes(RvUUIDBytes bytes);

/** Compares by value; false if either is null. Any thread. */
bool RvUUIDEqual(RvUUIDRef a, RvUUIDRef b);

/** Releases a UUID object from `RvUUIDCreateWithBytes`. Any thread. */
void RvUUIDRelease(RvUUIDRef uuid);

/* ---- factory instances ------------------------------------------------------------------------------ */

/** Adds one to the count of a factory's live objects. */
void RvPlugInAddInstanceForFactory(RvUUIDRef factory);

/** Subtracts one from the count of a factory's live objects. Does nothing if the count is 0. */
void RvPlugInRemoveInstanceForFactory(RvUUIDRef factory);

/* ---- COM-style interfaces --------------------------------------------------------------------------- */

/** A COM-style result: negative (highest bit set) on failure. */
typedef int32_t HRESULT;

#define kRvResultOK ((HRESULT)0)
#define kRvResultNoInterface ((HRESULT)UINT32_C(0x80000004))

/** The first four slots of every interface table. An interface is a pointer to a pointer to its table. */
typedef struct RvInterfaceTable {
    void *reserved;
    /** On success stores an interface, with a new reference, in `interface` and returns 0 or more. */
    HRESULT (*QueryInterface)(void *self, RvUUIDBytes type, void **interface);
    uint32_t (*AddRef)(void *self);
    uint32_t (*Release)(void *self);
} RvInterfaceTable;

typedef const RvInterfaceTable **RvInterfaceRef;

/**
 * Creates the user-space plug-in that serves a registry service.
 * @param service    a registry entry; remains the caller's.
 * @param plug_in    the type of plug-in to create.
 * @param interface  the interface to return, usually `kRvPlugInInterfaceBytes`.
 * @param out        set on success to the plug-in object. The caller owns it and releases it through its `Release`.
 * @return 0 on success; `kRvStatusNotFound` if the service has no such plug-in, or the plug-in no such interface;
 *         `kRvStatusBadArgument` for a null handle; otherwise a status that the plug-in defines.
 */
RvStatus RvPlugInCreateForService(RvRegistryEntry service, RvUUIDRef plug_in, RvUUIDRef interface, RvInterfaceRef *out);

/** The platform's generic plug-in interface: C244E858-109C-11D4-91D4-0050E4C6426F. */
#define kRvPlugInInterfaceBytes                                                                                        \
    {                                                                                                                  \
        { 0xC2, 0x44, 0xE8, 0x58, 0x10, 0x9C, 0x11, 0xD4, 0x91, 0xD4, 0x00, 0x50, 0xE4, 0xC6, 0x42, 0x6F }             \
    }

/** The standard IUnknown identifier: 00000000-0000-0000-C000-000000000046. */
#define kRvUnknownInterfaceBytes                                                                                       \
    {                                                                                                                  \
        { 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46 }             \
    }

#ifdef __cplusplus
}
#endif

#endif
