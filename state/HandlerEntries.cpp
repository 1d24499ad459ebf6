// Registers the state-capture handlers of a service: closures that filter requests by kind.

#include <new>

#include "plugin/OndreQORHIDStatistics.h"
#include "qor/driver.h"

namespace {

/** The data that a handler captures. The plug-in object and the context outlive every call of the handler. */
struct HandlerEntry {
    OndreQORHIDStatistics *plugIn;
    Context *context;
    uint32_t index = 0;
    uint32_t source = 0;
};

void releaseEntry(void *entry) { delete static_cast<HandlerEntry *>(entry); }

/** Registers a handler with an entry, which the service owns. If memory is exhausted, registers nothing. */
void addHandler(RvQueueRef queue, RvStateCaptureHandler handler, const HandlerEntry &entry) {
    if (auto *captured = new (std::nothrow) HandlerEntry(entry)) {
        RvStateCaptureAddHandler(queue, handler, captured, releaseEntry);
    }
}

using SnapshotHandler = RvStateCaptureRecord *(OndreQORHIDStatistics::*)(const RvStateCaptureHints *, Context *);

/** The handler of a snapshot that is taken only on an explicit request. */
template <SnapshotHandler handler>
RvStateCaptureRecord *answerRequest(const RvStateCaptureHints *hints, void *captured) {
    if (hints->kind != kRvStateCaptureRequest) {
        return nullptr;
    }
    const auto *entry = static_cast<const HandlerEntry *>(captured);
    return (entry->plugIn->*handler)(hints, entry->context);
}

/** Raw debug data is also captured after faults. The context is captured but not passed on. Intended. */
RvStateCaptureRecord *answerRawDebug(const RvStateCaptureHints *hints, void *captured) {
    if (hints->kind < kRvStateCaptureFault) {
        return nullptr;
    }
    const auto *entry = static_cast<const HandlerEntry *>(captured);
    return entry->plugIn->stateHandler_RawDebugData(hints, nullptr, entry->index, qor::driver::kReportsPerEntry,
                                                    entry->source);
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
