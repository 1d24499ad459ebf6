/**
 * The interface tables of the user-space plug-ins of the QOR driver and the QOR device, obtained with
 * `RvPlugInCreateForService` and `QueryInterface`. Only the slots that this plug-in calls have names. All of them are
 * called on its serial queue.
 */
#ifndef QOR_INTERFACES_H
#define QOR_INTERFACES_H

#include <cstddef>
#include <cstdint>

#include "platform/RvPlugIn.h"
#include "platform/RvQueue.h"
#include "platform/RvStatus.h"

/** The type of the driver's plug-in: 3BC5CC87-845E-48AB-A9C2-9436001BA68A */
#define kQorDriverPlugInTypeBytes                                                                                      \
    {                                                                                                                  \
        { 0x3B, 0xC5, 0xCC, 0x87, 0x84, 0x5E, 0x48, 0xAB, 0xA9, 0xC2, 0x94, 0x36, 0x00, 0x1B, 0xA6, 0x8A }             \
    }

/** The driver interface: 5979993C-85F5-4D59-8593-FF9215DA47AD */
#define kQorDriverInterfaceBytes                                                                                       \
    {                                                                                                                  \
        { 0x59, 0x79, 0x99, 0x3C, 0x85, 0xF5, 0x4D, 0x59, 0x85, 0x93, 0xFF, 0x92, 0x15, 0xDA, 0x47, 0xAD }             \
    }

/** The type of the device's plug-in: 7ACF5332-1A35-4893-87CB-BA64E1887FAE */
#define kQorDevicePlugInTypeBytes                                                                                      \
    {                                                                                                                  \
        { 0x7A, 0xCF, 0x53, 0x32, 0x1A, 0x35, 0x48, 0x93, 0x87, 0xCB, 0xBA, 0x64, 0xE1, 0x88, 0x7F, 0xAE }             \
    }

/** The device interface: 016469D8-773B-46AC-909E-F90C4A6E7577 */
#define kQorDeviceInterfaceBytes                                                                                       \
    {                                                                                                                  \
        { 0x01, 0x64, 0x69, 0xD8, 0x77, 0x3B, 0x46, 0xAC, 0x90, 0x9E, 0xF9, 0x0C, 0x4A, 0x6E, 0x75, 0x77 }             \
    }

/** The slots of the driver interface. */
typedef struct QorDriverInterfaceTable {
    RvInterfaceTable com; /* slots 0 to 3 */
    void *slots_4_to_7[4];
    /** Slot 8: starts the interface; `options` is 0. */
    RvStatus (*start)(void *self, uint32_t options);
    void *slot_9;
    /**
     * Slot 10: performs a command. Properties are read with a command, too.
     * @param out_size  in: the capacity of `out`; out: the byte count that the driver reports. The driver never writes
     *                  past the capacity, but the count may be larger, so it is not a bound for reading.
     */
    RvStatus (*command)(void *self, uint32_t selector, const void *in, size_t in_size, void *out, size_t *out_size);
} QorDriverInterfaceTable;

typedef const QorDriverInterfaceTable **QorDriverInterfaceRef;

/**
 * Receives one batch of analytics entries, on the queue set with slot 18.
 * @param target   the reference that was installed with the callback.
 * @param entries  `count` entries of 7 bytes without gaps, valid during the call.
 */
typedef void (*QorAnalyticsCallback)(void *target, const void *entries, uint64_t count);

/** The slots of the device interface. */
typedef struct QorDeviceInterfaceTable {
    RvInterfaceTable com; /* slots 0 to 3 */
    void *slots_4_to_7[4];
    /** Slot 8: starts the interface; `options` is 0. */
    RvStatus (*start)(void *self, uint32_t options);
    void *slots_9_to_16[8];
    /** Slot 17: installs the analytics callback and the reference that it receives. A null callback removes it. */
    void (*set_analytics_callback)(void *self, QorAnalyticsCallback callback, void *target);
    /** Slot 18: sets the queue on which the analytics callback is called. */
    void (*set_dispatch_queue)(void *self, RvQueueRef queue);
} QorDeviceInterfaceTable;

typedef const QorDeviceInterfaceTable **QorDeviceInterfaceRef;

#endif
