/** What surrounds the module in the checks of its contract: memory, a QOR that plays along, and an object at work. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "cli/contract/check.h"
#include "host/RvAllocator.h"
#include "host/RvHID.h"
#include "host/RvQueue.h"
#include "host/RvStateCapture.h"
#include "host/device/qor_plug_ins.h"
#include "host/state_records.h"

namespace cli {

/** An allocator that knows what it has given out, and can take all of it back. */
class CountingArena final : public RvAllocator {
public:
    ~CountingArena() override { take_back(); }

    void *allocate(std::size_t size) const override;
    void deallocate(void *storage) const override;

    bool owns(const void *storage) const { return _blocks.count(storage) != 0; }
    std::size_t live() const { return _blocks.size(); }
    std::size_t allocations() const { return _allocations; }
    /** How often storage was given back that did not come from here. */
    std::size_t strangers() const { return _strangers; }
    /** From now on there is no memory. */
    void run_dry() { _is_dry = true; }
    /** Frees what is still out. @return how many blocks that were. */
    std::size_t take_back();

private:
    mutable std::set<const void *> _blocks;
    mutable std::size_t _allocations = 0;
    mutable std::size_t _strangers = 0;
    bool _is_dry = false;
};

/** Pairs of usage page and usage. */
using Usages = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

inline const Usages kConsumerControl{{0x000C, 0x0001}};
inline const Usages kTelephony{{0x000B, 0x0001}};
inline const Usages kSensor{{0xFF00, 0x0003}};
inline const Usages kVendor{{0xFF00, 0x0029}};

/** How many handlers answer with profile reports. */
constexpr std::size_t kRawDebugHandlers = 104;

/**
 * A QOR in the registry as long as it lives: device, interface and driver, each the next one's parent, and the two
 * driver services that hand out profile reports. The driver answers every command and property with as many zeros as
 * there is room for, and counts them.
 */
class PlayedQor {
public:
    PlayedQor();
    ~PlayedQor();
    PlayedQor(const PlayedQor &) = delete;
    PlayedQor &operator=(const PlayedQor &) = delete;

    /** A HID service of this driver. */
    RvHIDService service(const Usages &usages) const;
    /** The same, announcing that it delivers analytics. */
    RvHIDService tallybook_service(const Usages &usages) const;

    /** Selectors of the driver's commands, in the order of the calls. */
    std::vector<std::uint32_t> commands;
    /** What the sources of reports have: `reports` whole ones unless `bytes` says how many bytes. */
    std::size_t reports = 1;
    std::optional<std::size_t> bytes;
    /** What the driver says it wrote, instead of what it wrote. */
    std::optional<std::size_t> claimed_size;
    RvStatus status = kRvStatusSuccess;
    /** How often the sources of reports were asked. */
    std::size_t report_calls = 0;

    std::shared_ptr<host::DriverBehaviour> driver = std::make_shared<host::DriverBehaviour>();
    std::shared_ptr<host::DeviceBehaviour> device = std::make_shared<host::DeviceBehaviour>();
    RvRegistryEntry device_entry = 0;
    RvRegistryEntry interface_entry = 0;
    RvRegistryEntry driver_entry = 0;

private:
    RvRegistryEntry add(host::RegistryEntryDescription entry, RvRegistryEntry parent);
    host::UserClient report_source();

    std::uint64_t _driver_id = 0;
    std::vector<RvRegistryEntry> _entries;
};

/** An entry of a batch of analytics, in its fields. */
struct AnalyticsEntry {
    std::uint8_t version;
    std::uint8_t operation;
    std::uint8_t key;
    std::int32_t value;
};

/** Entries as the firmware sends them. */
std::vector<std::byte> batch_of(const std::vector<AnalyticsEntry> &entries);

/** One object taken through its life on a queue of its own, each step in the order that it relies on. */
class ScheduledObject {
public:
    /** Factory, `open`, `scheduleWithDispatchQueue`. @throws SkippedCheck as `CheckedModule::create` does. */
    explicit ScheduledObject(CheckedModule &module, RvAllocatorRef allocator = RvAllocatorGetDefault());
    /** Stops, if that has not happened. */
    ~ScheduledObject() { stop(); }
    ScheduledObject(const ScheduledObject &) = delete;
    ScheduledObject &operator=(const ScheduledObject &) = delete;

    OndreQORHIDStatisticsRef get() const { return _object; }
    host::SerialQueue &queue() { return _queue; }

    void hand_over(const RvHIDService &service);
    /** `unscheduleFromDispatchQueue`, `close`, one `Release`, and the end of the queue in the same breath. */
    void stop();

private:
    OndreQORHIDStatisticsRef _object;
    host::SerialQueue _queue;
    bool _is_stopped = false;
};

/** One capture, its records read back. @throws host::Error for a record that cannot be. */
std::vector<host::StateRecord> capture(std::uint32_t kind);

/** The titles of one capture, in the order of the records. */
std::vector<std::string> captured_titles(std::uint32_t kind);

/** "ZEL Profile …": the titles of the raw-debug records, in their order, when each source has so many reports. */
std::vector<std::string> raw_debug_titles(std::size_t reports);

/**
 * How many bytes this process has allocated and not freed; nothing where the allocator does not say. Exact only in a
 * process that was started with `exact_memory_environment`.
 */
std::optional<std::size_t> held_bytes();

/** What makes `held_bytes` exact: no caches of freed memory for each thread. */
std::vector<std::pair<std::string, std::string>> exact_memory_environment();

} // namespace cli
