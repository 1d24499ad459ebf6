/** One life of one plug-in object of the built module on a described device. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/RvLog.h"
#include "host/counting_allocator.h"
#include "host/device/described_device.h"
#include "host/module/module.h"
#include "platform/Owned.h"
#include "tests/sweep/difference.h"

namespace sweep {

/** Objects and references that are alive now and were not when the subject was created. */
struct Holdings {
    std::int64_t values;
    std::int64_t connections;
    std::int64_t plug_in_references;
    std::int64_t hid_devices;
    std::int64_t module_blocks;
    std::size_t allocator_blocks;
    std::vector<std::size_t> entry_references; ///< of each entry of the device, in the order of its file

    friend bool operator==(const Holdings &, const Holdings &) = default;
};

std::string to_string(const Holdings &holdings);

/**
 * The device and the object. Only armed faults make a step fail. The device's streams of reports are fixed blocks here,
 * so that the result of a read does not depend on earlier reads that failed.
 */
class Subject {
public:
    Subject(const host::Module &module, const std::string &description);
    ~Subject();
    Subject(const Subject &) = delete;
    Subject &operator=(const Subject &) = delete;

    /** Factory, `QueryInterface`, `open`, `scheduleWithDispatchQueue`, `registerService` for each service. */
    void start();
    /** Repeats the steps that `start` did not complete, then registers every service again. */
    void start_again();

    /** The records by title. */
    Records capture(std::uint32_t kind) const;

    /** Delivers every batch of the device once, in order. @return false if a batch found no callback. */
    bool deliver() const;
    /** The entries of the device's batches. */
    std::vector<std::byte> analytics_entries() const;

    /** `unscheduleFromDispatchQueue`, `close`, the last `Release`. */
    void shut_down();

    /** Closes the queue, which ends the registrations, and removes the device. Whatever is still held then has leaked.
     */
    void end();

    /** The object as seen by a host: its existence, its registrations, its analytics keys. */
    Facts facts();

    Holdings holdings() const;

    /** The lines logged since the last call, without their newlines. */
    std::vector<std::string> take_lines();

    /** The number of service contexts that the object holds. Not to be called during a run. */
    std::int64_t kept_services() const;

    std::uint32_t last_count() const { return _last_count; }

private:
    bool query_interface();
    void register_services();
    void note_keys(const std::string &device, Facts &facts) const;

    static Holdings process_holdings();

    const Holdings _before = process_holdings();
    const host::Module &_module;
    platform::OwnedUUID _type; ///< created before any run, by the host
    host::LogRecorder _log;
    host::CountingAllocator _allocator; ///< of the plug-in object and its array
    host::SerialQueue _queue;
    std::unique_ptr<host::DescribedDevice> _device;
    std::vector<RvRegistryEntry> _entries;
    std::size_t _handlers_before;
    OndreQORHIDStatisticsRef _object = nullptr;
    bool _has_interface = false;
    std::uint32_t _last_count = UINT32_MAX;
};

} // namespace sweep
