/** The plug-in class: one object per factory call, used only on the host's serial queue. */
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
 * The plug-in object. The host uses it only through the static interface table that its first field points to, and
 * makes all calls on one serial queue. So there are no locks, and the reference count is not atomic. No member throws.
 */
class OndreQORHIDStatistics {
public:
    /** Creates an object with one reference in storage from `allocator`; null if memory is exhausted. */
    static OndreQORHIDStatistics *alloc(RvAllocatorRef allocator);

    explicit OndreQORHIDStatistics(RvAllocatorRef allocator) noexcept;
    ~OndreQORHIDStatistics();
    OndreQORHIDStatistics(const OndreQORHIDStatistics &) = delete;
    OndreQORHIDStatistics &operator=(const OndreQORHIDStatistics &) = delete;

    static void *operator new(std::size_t size, RvAllocatorRef allocator) noexcept;
    /** Runs the destructor and frees the storage with the allocator that the object was created with. */
    static void operator delete(OndreQORHIDStatistics *object, std::destroying_delete_t);

    // ---- interface table

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
     * @param capacity       the size of `output` in bytes.
     * @param returnedSize   null, or set on success to the byte count that the driver reports. It may be larger than
     * the capacity, so it is not a bound for reading.
     * @return 0xE00002D8 if there is no driver interface, with both outputs unchanged; otherwise the driver's status.
     */
    RvStatus getProperty(Context *context, uint32_t property, void *output, uint64_t capacity, uint64_t *returnedSize);

    /**
     * Reads a property of 4 bytes. On return `result` always holds either the property or `defaultValue`. A reply of
     * any other size is a success with the default value: intended, callers rely on it.
     */
    RvStatus getPropertyU32(Context *context, uint32_t property, uint32_t *result, uint32_t defaultValue);

    /**
     * Performs a driver command. The context must have a driver interface.
     * @param outputSize  in: the capacity; out: the byte count that the driver reports.
     */
    RvStatus performCommand(Context *context, uint32_t selector, const void *input, size_t inputSize, void *output,
                            size_t *outputSize);

    /**
     * Reads a property of the driver service with this name, over a connection opened for this call.
     * @param returnedSize  set on success to the byte count that the driver reports; not null.
     * @return 0 on success; 0xE00002BC for every kind of failure.
     */
    RvStatus getNamedServiceProperty(const char *name, uint32_t property, void *output, uint64_t capacity,
                                     uint64_t *returnedSize);

    /**
     * Performs a command of the driver service with this name, over a connection opened for this call.
     * @param outputSize  in: the capacity; out: the byte count that the driver reports.
     * @return 0 on success; 0xE00002BC if there is no such service; otherwise, unlike `getNamedServiceProperty`, the
     *         status of the step that failed.
     */
    RvStatus performNamedServiceCommand(const char *name, uint32_t selector, const void *input, size_t inputSize,
                                        void *output, size_t *outputSize);

    /**
     * Adds the driver's event-queue counters as one line of text under "APEvents".
     * @param deviceService  the device's entry. The chain of its first children leads to the driver and the driver's
     *                       user client. If the chain is broken, nothing is added.
     */
    void addAPEvents(TvMutableDictionaryRef dictionary, RvRegistryEntry deviceService);

    // ---- analytics

    /**
     * The key string of an index; "com.ondre.zel.unknown" for an index outside the table. Borrowed. Null before `open`,
     * or if memory was exhausted when the string was created.
     */
    TvStringRef keyForIndex(TallybookKey key);

    /** Applies `count` entries laid end to end, in order. */
    void publishTBData(const Tbk *entries, uint64_t count);

    /** The device's analytics callback. `target` is the plug-in object. */
    static void publishTBData(void *target, const void *entries, uint64_t count);

    // ---- state capture

    /**
     * Creates a record: a header with this title (truncated to 63 bytes), then the value in its binary encoding.
     * @param value  remains the caller's.
     * @return a record from `calloc`, which the caller passes on or frees; null if the value cannot be encoded or
     * memory is exhausted.
     */
    RvStateCaptureRecord *copyStateData(TvRef value, const char *title);

    /** The statistics as a dictionary. Owned by the caller; null if memory is exhausted. */
    TvMutableDictionaryRef copySSHBStatistics(const _SSHBLatencyStatsV2 &stats);

    /**
     * The asset table as a dictionary of lines.
     * @param table           1479 readable bytes, if `propertyLength` is at least that; further bytes are ignored.
     * @return owned by the caller; null if the table is too short or memory is exhausted.
     */
    TvMutableDictionaryRef copySSHBAssets(const uint8_t *table, uint64_t propertyLength);

    // The snapshots. Each returns a record, owned by the caller. On failure it returns null; a failed check or status
    // also writes an assertion line.

    RvStateCaptureRecord *stateHandler_SSHBStats(const RvStateCaptureHints *hints, Context *context);
    RvStateCaptureRecord *stateHandler_SSHBAssets(const RvStateCaptureHints *hints, Context *context);
    RvStateCaptureRecord *stateHandler_SensorInfo(const RvStateCaptureHints *hints, Context *context);

    /**
     * Reads reports from one source of profile reports and returns a record with their descriptions.
     * @param context  not used.
     * @param index    the number of the handler entry; used only in the title.
     * @param count    the maximum number of reports to read.
     * @param source   1 firmware, 2 driver, 3 errors. The result is null for any other source.
     */
    RvStateCaptureRecord *stateHandler_RawDebugData(const RvStateCaptureHints *hints, Context *context, uint32_t index,
                                                    uint32_t count, uint32_t source);

private:
    friend class PlugInInspector; // gives tests access

    bool startDriverInterface(Context *context);
    void startDeviceInterface(Context *context, bool supportsTallybook);

    void keepContext(Context *context);

    bool putSensorType(Context *context, TvMutableDictionaryRef state);

    void registerSSHBHandlers(Context *context);
    void registerSensorHandler(Context *context);
    void registerRawDebugHandlers(Context *context);

    // The layout is part of the ABI: the host uses the object pointer as the interface pointer.
    const OndreQORHIDStatisticsTable *_interfaceTable;
    RvAllocatorRef _allocator;
    uint32_t _refCount = 1;
    bool _rawDebugRegistered = false;
    ContextArray *_services = nullptr;
    TvStringRef _keys[kQORTbkKey_Count] = {};
    RvQueueRef _queue = nullptr;
};
