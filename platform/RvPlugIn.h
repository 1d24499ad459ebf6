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

/** The 16 bytes of a UUID, byte 0 being the first pair of hex digits of the 8-4-4-4-12 form. */
typedef struct RvUUIDBytes {
    uint8_t bytes[16];
} RvUUIDBytes;

/** A UUID object. */
typedef const struct RvUUID *RvUUIDRef;

/** A new UUID object, given back with `RvUUIDRelease`. Null when there is no memory. Any thread. */
RvUUIDRef RvUUIDCreateWithBytes(RvUUIDBytes bytes);

/**
 * The one UUID object of these bytes that lives as long as the process. Borrowed; null when there is no
 * memory. Any thread.
 */
RvUUIDRef RvUUIDGetConstantWithBytes(RvUUIDBytes bytes);

/** Equality by value; false when either is null. Any thread. */
bool RvUUIDEqual(RvUUIDRef a, RvUUIDRef b);

/** Takes back what `RvUUIDCreateWithBytes` gave. Any thread. */
void RvUUIDRelease(RvUUIDRef uuid);

/* ---- factory instances ------------------------------------------------------------------------------ */

/** Counts one more live object of a factory. */
void RvPlugInAddInstanceForFactory(RvUUIDRef factory);

/** Counts one live object less; a factory without live objects is left alone. */
void RvPlugInRemoveInstanceForFactory(RvUUIDRef factory);

/* ---- COM-style interfaces --------------------------------------------------------------------------- */

/** A COM-style result: negative (highest bit set) is failure. */
typedef int32_t HRESULT;

#define kRvResultOK ((HRESULT)0)
#define kRvResultNoInterface ((HRESULT)UINT32_C(0x80000004))

/** The first four slots of every interface table. An interface is a pointer to a pointer to its table. */
typedef struct RvInterfaceTable {
    void *reserved;
    /** On success stores an interface with a reference of its own in `interface` and answers 0 or more. */
    HRESULT (*QueryInterface)(void *self, RvUUIDBytes type, void **interface);
    uint32_t (*AddRef)(void *self);
    uint32_t (*Release)(void *self);
} RvInterfaceTable;

typedef const RvInterfaceTable **RvInterfaceRef;

/**
 * Creates the user-space plug-in that serves a registry service.
 * @param service    a registry entry handle, still the caller's.
 * @param plug_in    the plug-in type wanted.
 * @param interface  the interface to hand out, usually `kRvPlugInInterface`.
 * @param out        set on success to the plug-in object, owned by the caller, who gives it back through its
 *                   own `Release`.
 * @return 0; `kRvStatusNotFound` when the service has no such plug-in or the plug-in no such interface;
 *         `kRvStatusBadArgument` for a null handle; another status of the plug-in's own.
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
