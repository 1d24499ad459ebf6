#include "platform/RvStateCapture.h"

#include <cstdlib>
#include <exception>
#include <memory>
#include <utility>

#include "host/RvStateCapture.h"
#include "host/fault_points.h"
#include "host/queue_registrations.h"

namespace host {

namespace {

struct CaptureEntry {
    RvStateCaptureHandler handler;
};

using CaptureRegistrations = QueueRegistrations<CaptureEntry>;

FaultPoint add_handler_fault("RvStateCaptureAddHandler");

constexpr std::uint32_t kHintsVersion = 1;

struct FreeRecord {
    void operator()(RvStateCaptureRecord *record) const { std::free(record); }
};

using OwnedRecord = std::unique_ptr<RvStateCaptureRecord, FreeRecord>;

OwnedRecord ask_handler(std::uint64_t id, const RvStateCaptureHints &hints) {
    const auto *registration = CaptureRegistrations::of_process().find(id);
    return OwnedRecord(registration == nullptr ? nullptr
                                               : registration->entry.handler(&hints, registration->context.get()));
}

RecordBytes bytes_of(const RvStateCaptureRecord &record) {
    const auto *begin = reinterpret_cast<const std::byte *>(&record);
    return {begin, begin + sizeof record + record.payload_size};
}

} // namespace

std::vector<RecordBytes> capture_state(std::uint32_t kind, const std::string &requester) {
    const RvStateCaptureHints hints{kHintsVersion, requester.c_str(), kind, 0};
    std::vector<RecordBytes> records;
    for (const auto &target : CaptureRegistrations::of_process().targets([](const CaptureEntry &) { return true; })) {
        OwnedRecord record;
        target.queue->run_if_open([&record, &hints, id = target.id] { record = ask_handler(id, hints); });
        if (record) {
            records.push_back(bytes_of(*record));
        }
    }
    return records;
}

std::size_t state_capture_handler_count() { return CaptureRegistrations::of_process().size(); }

} // namespace host

uint64_t RvStateCaptureAddHandler(RvQueueRef queue, RvStateCaptureHandler handler, void *context,
                                  void (*release_context)(void *context)) {
    host::OwnedContext owned(context, release_context);
    if (queue == nullptr || handler == nullptr || host::add_handler_fault.strikes()) {
        return 0;
    }
    try {
        return host::CaptureRegistrations::of_process().add(queue, {handler}, std::move(owned));
    } catch (const std::exception &) {
        return 0;
    }
}
