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

/** What is alive at one moment and was not when the subject was made. */
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
 * The device and the object. Every step can be made to fail by what is armed, none by anything else. The device's
 * streams of reports are blocks here, so that what one read got does not depend on reads that failed.
 */
class Subject {
public:
    Subject(const host::Module &module, const std::string &description);
    ~Subject();
    Subject(const Subject &) = delete;
    Subject &operator=(const Subject &) = delete;

    /** Factory, `QueryInterface`, `open`, `scheduleWithDispatchQueue`, `registerService` for each service. */
    void start();
    /** The same once more from where `start` was stopped; at its end every service is handed over again. */
    void start_again();

    /** The titles' records. */
    Records capture(std::uint32_t kind) const;

    /** Delivers every batch of the device once, in order. @return false when one found no callback. */
    bool deliver() const;
    /** The entries of those batches. */
    std::vector<std::byte> analytics_entries() const;

    /** `unscheduleFromDispatchQueue`, `close`, the last `Release`. */
    void shut_down();

    /** Ends the queue, and with it the registrations, and takes the device away. What is held now is held for good. */
    void end();

    /** What a host can see of the object: that it is there, its registrations, its analytics keys. */
    Facts facts();

    Holdings holdings() const;

    /** Everything that was logged since the last call, without the newline at its end. */
    std::vector<std::string> take_lines();

    /** How many contexts of services the object holds. Not during a run. */
    std::int64_t kept_services() const;

    std::uint32_t last_count() const { return _last_count; }

private:
    bool query_interface();
    void register_services();
    void note_keys(const std::string &device, Facts &facts) const;

    static Holdings process_holdings();

    const Holdings _before = process_holdings();
    const host::Module &_module;
    platform::OwnedUUID _type; ///< made beforehand: it is the host's own
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
