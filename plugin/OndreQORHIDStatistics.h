/** The plug-in class: one object per factory call, all of it on the host's serial queue. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

#include "platform/RvAllocator.h"
#include "platform/RvHID.h"
#include "platform/RvQueue.h"
#include "platform/RvStateCapture.h"
#include "platform/RvStatus.h"
#include "platform/TvValues.h"
#include "plugin/AssertionLine.h"
#include "plugin/Context.h"
#include "plugin/ContextArray.h"
#include "plugin/OndreQORHIDStatisticsInterface.h"
#include "qor/analytics.h"

struct _SSHBLatencyStatsV2;

/**
 * The plug-in object. The host sees it only through the static interface table that its first field points
 * to, and calls everything on one serial queue; so there are no locks and the reference count is plain.
 * No member throws.
 */
class OndreQORHIDStatistics {
public:
    /** A new object with one reference, in storage of `allocator`; null without memory. */
    static OndreQORHIDStatistics *alloc(RvAllocatorRef allocator);

    explicit OndreQORHIDStatistics(RvAllocatorRef allocator) noexcept;
    ~OndreQORHIDStatistics();
    OndreQORHIDStatistics(const OndreQORHIDStatistics &) = delete;
    OndreQORHIDStatistics &operator=(const OndreQORHIDStatistics &) = delete;

    static void *operator new(std::size_t size, RvAllocatorRef allocator) noexcept;
    /** Runs the destructor and frees the storage through the object's own allocator. */
    static void operator delete(OndreQORHIDStatistics *object, std::destroying_delete_t);

    // ---- the interface table's members

    HRESULT QueryInterface(RvUUIDBytes type, void **interface);
    uint32_t AddRef();
    uint32_t Release();
    bool open(RvHIDSessionRef session, uint32_t options);
    void close(RvHIDSessionRef session, uint32_t options);
    void registerService(RvHIDServiceRef service);
    void scheduleWithDispatchQueue(RvQueueRef queue);
    void unscheduleFromDispatchQueue(RvQueueRef queue);

    // ---- driver connection

    /**
     * Reads a property of the driver.
     * @param capacity       room in `output`, in bytes.
     * @param returnedSize   null, or set on success to the byte count that the driver reports, which may be
     *                       larger than the capacity and is no bound for reading.
     * @return 0xE00002D8 without a driver interface, with both outputs untouched; else the driver's status.
     */
    RvStatus getProperty(Context *context, uint32_t property, void *output, uint64_t capacity, uint64_t *returnedSize);

    /**
     * Reads a property of 4 bytes. `result` always ends up holding the property or `defaultValue`. A reply of
     * any other size is reported as success with the default: callers rely on that.
     */
    RvStatus getPropertyU32(Context *context, uint32_t property, uint32_t *result, uint32_t defaultValue);

    /**
     * Performs a driver command. Only for a context that has a driver interface.
     * @param outputSize  in: the capacity; out: the byte count that the driver reports.
     */
    RvStatus performCommand(Context *context, uint32_t selector, const void *input, size_t inputSize, void *output,
                            size_t *outputSize);

    /**
     * Reads a property of the driver service of that name over a connection made for this one call.
     * @param returnedSize  set on success to the byte count that the driver reports; not null.
     * @return 0 or, for every kind of failure, 0xE00002BC.
     */
    RvStatus getNamedServiceProperty(const char *name, uint32_t property, void *output, uint64_t capacity,
                                     uint64_t *returnedSize);

    /**
     * Performs a command of the driver service of that name over a connection made for this one call.
     * @param outputSize  in: the capacity; out: the byte count that the driver reports.
     * @return 0xE00002BC when there is no such service; else, unlike `getNamedServiceProperty`, the status of
     *         the step that failed, as it is.
     */
    RvStatus performNamedServiceCommand(const char *name, uint32_t selector, const void *input, size_t inputSize,
                                        void *output, size_t *outputSize);

    /**
     * Adds the driver's event-queue counters as one line of text under "APEvents".
     * @param deviceService  the device's entry, from which the chain of first children leads to the driver and
     *                       its user client. Nothing is added when the chain is broken.
     */
    void addAPEvents(TvMutableDictionaryRef dictionary, RvRegistryEntry deviceService);

    // ---- analytics

    /**
     * The key string of an index; of one outside the table "com.ondre.zel.unknown". Borrowed; null before
     * `open` made it and without memory.
     */
    TvStringRef keyForIndex(TallybookKey key);

    /** Applies `count` entries laid end to end, in order. */
    void publishTBData(const Tbk *entries, uint64_t count);

    /** What is installed as the device's analytics callback; `target` is the plug-in object. */
    static void publishTBData(void *target, const void *entries, uint64_t count);

    // ---- state capture

    /**
     * The value in its binary encoding, behind a record header with this title (cut to 63 bytes).
     * @return a record of `calloc`'s that the caller passes on or frees; null when the value cannot be encoded
     *         and without memory. The value stays the caller's.
     */
    RvStateCaptureRecord *copyStateData(TvRef value, const char *title);

    /** The statistics as a dictionary, the caller's; null without memory for it. */
    TvMutableDictionaryRef copySSHBStatistics(const _SSHBLatencyStatsV2 &stats);

    /**
     * The asset table as a dictionary of lines, the caller's.
     * @param table           at least 1479 readable bytes when `propertyLength` says so; more are ignored.
     * @return null for a table that is too short and without memory.
     */
    TvMutableDictionaryRef copySSHBAssets(const uint8_t *table, uint64_t propertyLength);

    /** The snapshots: a record, the caller's; null, with an assertion line that says why, when it fails. */
    RvStateCaptureRecord *stateHandler_SSHBStats(const RvStateCaptureHints *hints, Context *context);
    RvStateCaptureRecord *stateHandler_SSHBAssets(const RvStateCaptureHints *hints, Context *context);
    RvStateCaptureRecord *stateHandler_SensorInfo(const RvStateCaptureHints *hints, Context *context);

    /**
     * Reads one source of profile reports and answers their descriptions.
     * @param context  not used.
     * @param index    of the handler entry; takes part only in the title.
     * @param count    the most reports to read.
     * @param source   1 firmware, 2 driver, 3 errors; anything else answers null.
     */
    RvStateCaptureRecord *stateHandler_RawDebugData(const RvStateCaptureHints *hints, Context *context, uint32_t index,
                                                    uint32_t count, uint32_t source);

private:
    friend class PlugInInspector; // tests look inside

    bool startDriverInterface(Context *context);
    void startDeviceInterface(Context *context, bool supportsTallybook);

    void keepContext(Context *context);

    bool putSensorType(Context *context, TvMutableDictionaryRef state);

    void registerSSHBHandlers(Context *context);
    void registerSensorHandler(Context *context);
    void registerRawDebugHandlers(Context *context);

    // The layout is part of the ABI: the host takes the object pointer as the interface pointer.
    const OndreQORHIDStatisticsTable *_interfaceTable;
    RvAllocatorRef _allocator;
    uint32_t _refCount = 1;
    bool _rawDebugRegistered = false;
    ContextArray *_services = nullptr;
    TvStringRef _keys[kQORTbkKey_Count] = {};
    RvQueueRef _queue = nullptr;
};
