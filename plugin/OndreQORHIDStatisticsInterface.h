/**
 * The plug-in's public ABI, in C: how a host loads the plug-in and calls it. A host includes no other header of the
 * plug-in.
 *
 * The plug-in relies on this order of calls: the factory, `QueryInterface` for one of the accepted interfaces, `open`,
 * `scheduleWithDispatchQueue`, then `registerService` once for each HID service; at the end
 * `unscheduleFromDispatchQueue`, `close` and the last `Release`. The host makes all calls on one serial queue, the one
 * that it passes to `scheduleWithDispatchQueue`.
 */
#ifndef PLUGIN_ONDRE_QOR_HID_STATISTICS_INTERFACE_H
#define PLUGIN_ONDRE_QOR_HID_STATISTICS_INTERFACE_H

#include <stdbool.h>
#include <stdint.h>

#include "platform/RvAllocator.h"
#include "platform/RvHID.h"
#include "platform/RvPlugIn.h"
#include "platform/RvQueue.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The plug-in type that the factory accepts, a session filter: 7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB719. */
#define kOndreQORHIDStatisticsPlugInTypeBytes                                                                          \
    {                                                                                                                  \
        { 0x7F, 0x1A, 0x3A, 0xE6, 0x3E, 0x3D, 0x47, 0x0A, 0xBD, 0x15, 0xA2, 0xDD, 0x7E, 0x1B, 0xB7, 0x19 }             \
    }

/** The factory. Each live object is registered as an instance of it: 75F07127-BB06-490A-B1B9-81AE65DF0646. */
#define kOndreQORHIDStatisticsFactoryBytes                                                                             \
    {                                                                                                                  \
        { 0x75, 0xF0, 0x71, 0x27, 0xBB, 0x06, 0x49, 0x0A, 0xB1, 0xB9, 0x81, 0xAE, 0x65, 0xDF, 0x06, 0x46 }             \
    }

/** The first interface that `QueryInterface` accepts: 19D77441-BBC4-4511-9149-60572A0B015C. */
#define kOndreQORHIDStatisticsInterface1Bytes                                                                          \
    {                                                                                                                  \
        { 0x19, 0xD7, 0x74, 0x41, 0xBB, 0xC4, 0x45, 0x11, 0x91, 0x49, 0x60, 0x57, 0x2A, 0x0B, 0x01, 0x5C }             \
    }

/** The second: 3DC35AA6-D35C-445B-9A59-CA03DA408B97. The third is `kRvUnknownInterfaceBytes`. */
#define kOndreQORHIDStatisticsInterface2Bytes                                                                          \
    {                                                                                                                  \
        { 0x3D, 0xC3, 0x5A, 0xA6, 0xD3, 0x5C, 0x44, 0x5B, 0x9A, 0x59, 0xCA, 0x03, 0xDA, 0x40, 0x8B, 0x97 }             \
    }

/**
 * The 18 slots of the interface table. A null slot is an operation that the plug-in does not provide: a host must not
 * call it. `self` is the object pointer, which is also the interface pointer.
 */
typedef struct OndreQORHIDStatisticsTable {
    void *slot_0_reserved; /* null */
    /** Slot 1: returns 0 and stores the interface, with a new reference; or returns 0x80000004 and stores null. */
    HRESULT (*QueryInterface)(void *self, RvUUIDBytes type, void **interface);
    /** Slots 2 and 3: return the new count. After `Release` returns 0, the object is destroyed. */
    uint32_t (*AddRef)(void *self);
    uint32_t (*Release)(void *self);
    void *slots_4_to_6[3]; /* null */
    /** Slot 7: returns true. The arguments are ignored. */
    bool (*open)(void *self, RvHIDSessionRef session, uint32_t options);
    /** Slot 8: does nothing. */
    void (*close)(void *self, RvHIDSessionRef session, uint32_t options);
    void *slots_9_and_10[2]; /* null */
    /** Slot 11: examines a HID service and keeps it if it is one of the QOR's. The service is borrowed. */
    void (*registerService)(void *self, RvHIDServiceRef service);
    void *slot_12; /* null */
    /** Slots 13 and 14: the queue is borrowed. It must outlive everything that is bound to it. */
    void (*scheduleWithDispatchQueue)(void *self, RvQueueRef queue);
    void (*unscheduleFromDispatchQueue)(void *self, RvQueueRef queue);
    void *slots_15_to_17[3]; /* null */
} OndreQORHIDStatisticsTable;

typedef const OndreQORHIDStatisticsTable **OndreQORHIDStatisticsRef;

/** The name under which a module exports its factory. */
#define kOndreQORHIDStatisticsFactoryName "OndreQORHIDStatisticsFactory"

/**
 * Creates a plug-in object.
 * @param allocator  provides the object's memory. The host keeps it alive until the object is destroyed.
 * @param type       the plug-in type to create.
 * @return an object with one reference, owned by the caller and usable as an `OndreQORHIDStatisticsRef`; null for any
 *         type but the session-filter plug-in type, or if memory is exhausted.
 */
typedef void *(*OndreQORHIDStatisticsFactoryFunction)(RvAllocatorRef allocator, RvUUIDRef type);

__attribute__((visibility("default"))) void *OndreQORHIDStatisticsFactory(RvAllocatorRef allocator, RvUUIDRef type);

#ifdef __cplusplus
}
#endif

#endif
