// The handler entries that a service registers: thin closures that filter requests by kind.

#include <new>

#include "plugin/OndreQORHIDStatistics.h"
#include "qor/driver.h"

namespace {

/** What an entry captures. The plug-in object and the context outlive every call of the entry. */
struct HandlerEntry {
    OndreQORHIDStatistics *plugIn;
    Context *context;
    uint32_t index = 0;
    uint32_t source = 0;
};

void releaseEntry(void *entry) { delete static_cast<HandlerEntry *>(entry); }

/** Hands an entry to the service, which owns it from then on. Without memory nothing is registered. */
void addHandler(RvQueueRef queue, RvStateCaptureHandler handler, const HandlerEntry &entry) {
    if (auto *captured = new (std::nothrow) HandlerEntry(entry)) {
        RvStateCaptureAddHandler(queue, handler, captured, releaseEntry);
    }
}

using SnapshotHandler = RvStateCaptureRecord *(OndreQORHIDStatistics::*)(const RvStateCaptureHints *, Context *);

/** An entry of a snapshot that only an explicit request gets. */
template <SnapshotHandler handler>
RvStateCaptureRecord *answerRequest(const RvStateCaptureHints *hints, void *captured) {
    if (hints->kind != kRvStateCaptureRequest) {
        return nullptr;
    }
    const auto *entry = static_cast<const HandlerEntry *>(captured);
    return (entry->plugIn->*handler)(hints, entry->context);
}

/** How many reports one raw-debug entry reads at most. */
constexpr uint32_t kReportsPerEntry = 32;

/** Raw debug data goes out with faults too. The context is captured but not passed on: intended. */
RvStateCaptureRecord *answerRawDebug(const RvStateCaptureHints *hints, void *captured) {
    if (hints->kind < kRvStateCaptureFault) {
        return nullptr;
    }
    const auto *entry = static_cast<const HandlerEntry *>(captured);
    return entry->plugIn->stateHandler_RawDebugData(hints, nullptr, entry->index, kReportsPerEntry, entry->source);
}

} // namespace

void OndreQORHIDStatistics::registerSSHBHandlers(Context *context) {
    addHandler(_queue, answerRequest<&OndreQORHIDStatistics::stateHandler_SSHBStats>, {this, context});
    addHandler(_queue, answerRequest<&OndreQORHIDStatistics::stateHandler_SSHBAssets>, {this, context});
}

void OndreQORHIDStatistics::registerSensorHandler(Context *context) {
    addHandler(_queue, answerRequest<&OndreQORHIDStatistics::stateHandler_SensorInfo>, {this, context});
}

void OndreQORHIDStatistics::registerRawDebugHandlers(Context *context) {
    for (const qor::driver::ReportSource *source : qor::driver::kReportSources) {
        for (uint32_t index = 0; index < source->entries; ++index) {
            addHandler(_queue, answerRawDebug, {this, context, index, source->number});
        }
    }
}
