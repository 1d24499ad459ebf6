/** The environment in which contract checks run: an object at work, captures read back, and the memory in use. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/contract/check.h"
#include "host/RvHID.h"
#include "host/RvQueue.h"
#include "host/RvStateCapture.h"
#include "host/device/qor_plug_ins.h"
#include "host/state_records.h"
#include "qor/driver.h"

namespace cli {

/** The number of handlers that answer with profile reports. */
constexpr std::size_t kRawDebugHandlers = [] {
    std::size_t handlers = 0;
    for (const qor::driver::ReportSource *source : qor::driver::kReportSources) {
        handlers += source->entries;
    }
    return handlers;
}();

/** One object taken through its life on a queue of its own, each step in the promised order. */
class ScheduledObject {
public:
    /** Factory, `open`, `scheduleWithDispatchQueue`. @throws SkippedCheck as `CheckedModule::create` does. */
    explicit ScheduledObject(CheckedModule &module, RvAllocatorRef allocator = RvAllocatorGetDefault());
    /** Stops, unless stopped before. */
    ~ScheduledObject() { stop(); }
    ScheduledObject(const ScheduledObject &) = delete;
    ScheduledObject &operator=(const ScheduledObject &) = delete;

    OndreQORHIDStatisticsRef get() const { return _object; }
    host::SerialQueue &queue() { return _queue; }

    void hand_over(const RvHIDService &service);
    /** `unscheduleFromDispatchQueue`, `close`, one `Release` and the end of the queue, all in one job of the queue. */
    void stop();

private:
    OndreQORHIDStatisticsRef _object;
    host::SerialQueue _queue;
    bool _is_stopped = false;
};

/** Captures once and parses the records. @throws host::Error for a malformed record. */
std::vector<host::StateRecord> capture(std::uint32_t kind);

/** Captures once. @return the titles of the records, in their order. */
std::vector<std::string> capture_titles(std::uint32_t kind);

/** The titles "ZEL Profile …" of the raw-debug records, in their order, when each source has `reports` reports. */
std::vector<std::string> raw_debug_titles(std::size_t reports);

/**
 * The bytes that this process has allocated and not freed; none when the allocator does not report them. Exact only in
 * a process started with `exact_memory_environment`.
 */
std::optional<std::size_t> held_bytes();

/** Environment variables that make `held_bytes` exact: they turn off each thread's cache of freed memory. */
std::vector<std::pair<std::string, std::string>> exact_memory_environment();

} // namespace cli
