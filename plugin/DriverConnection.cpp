// The two roads to the QOR driver: through a context's driver interface, and by name over a user-client
// connection made for one call. And the event-queue counters that the driver publishes in the registry.

#include <cstdio>

#include "platform/Owned.h"
#include "platform/RvConnection.h"
#include "plugin/OndreQORHIDStatistics.h"
#include "state/DecimalText.h"
#include "state/DictionarySetters.h"

using platform::OwnedEntry;
using platform::OwnedValue;

namespace {

/** The driver interface's command that reads a property. */
constexpr uint32_t kGetPropertyCommand = 10;

/** The user-client method that reads a property, and the connection type that it is called on. */
constexpr uint32_t kGetPropertyMethod = 2;
constexpr uint32_t kConnectionType = 0;

void logStatus(RvStatus kr, int line) { logAssertion("kr == 0 ", line, kr, RvStatusGetText(kr)); }

/** One call of a user-client method, outputs in and out as `RvConnectionCallMethod` has them. */
struct NamedServiceCall {
    uint32_t method;
    const uint64_t *scalar; ///< one number or null
    const void *input;
    size_t inputSize;
    void *output;
    size_t *outputSize;
};

/**
 * Finds the service, connects, calls, and closes again.
 * @return 0xE00002BC when there is no such service; else the status of the step that failed, or 0.
 */
RvStatus callNamedService(const char *name, const NamedServiceCall &call) {
    OwnedEntry service(RvRegistryCopyServiceMatchingName(name));
    if (!ASSERTION_HOLDS(service)) {
        return kRvStatusError;
    }
    RvConnection connection = 0;
    RvStatus kr = RvConnectionOpen(service.get(), kConnectionType, &connection);
    if (kr != kRvStatusSuccess) {
        logStatus(kr, __LINE__);
        return kr;
    }
    kr = RvConnectionCallMethod(connection, call.method, call.scalar, call.scalar != nullptr ? 1 : 0, call.input,
                                call.inputSize, nullptr, nullptr, call.output, call.outputSize);
    if (kr != kRvStatusSuccess) {
        logStatus(kr, __LINE__);
    }
    RvConnectionClose(connection);
    return kr;
}

/** The first child in the service plane; null, whatever the look-up stored, when it failed. */
OwnedEntry copyFirstChild(RvRegistryEntry entry) {
    RvRegistryEntry child = 0;
    RvStatus kr = RvRegistryEntryCopyChild(entry, kRvServicePlane, &child);
    return OwnedEntry(kr == kRvStatusSuccess ? child : 0);
}

/** The event-queue counters, each at its default until a "DebugState" says otherwise. */
struct EventCounters {
    int32_t numEvents = -1;
    int64_t enqueued = -1;
    int32_t dropped = -1;
    int64_t lastEventTime = 0;
    int64_t lastDroppedEventTime = 0;
};

/** The entry's "DebugState"; one that is no dictionary answers every key with nothing. */
OwnedValue copyDebugState(const OwnedEntry &entry) {
    return OwnedValue(RvRegistryEntryCopyProperty(entry.get(), "DebugState"));
}

EventCounters readEventCounters(const OwnedEntry &driver, const OwnedEntry &userClient) {
    EventCounters counters;
    OwnedValue driverState = copyDebugState(driver);
    TvNumberGetSInt32(TvDictionaryGetValue(driverState.get(), "_num_events"), &counters.numEvents);

    OwnedValue clientState = copyDebugState(userClient);
    TvNumberGetSInt64(TvDictionaryGetValue(clientState.get(), "EnqueueEventCount"), &counters.enqueued);
    TvNumberGetSInt32(TvDictionaryGetValue(clientState.get(), "DroppedEventCount"), &counters.dropped);
    TvNumberGetSInt64(TvDictionaryGetValue(clientState.get(), "LastEventTime"), &counters.lastEventTime);
    TvNumberGetSInt64(TvDictionaryGetValue(clientState.get(), "LastDroppedEventTime"), &counters.lastDroppedEventTime);
    return counters;
}

/** Nanoseconds, taken as unsigned, in seconds. */
double seconds(int64_t nanoseconds) { return static_cast<double>(static_cast<uint64_t>(nanoseconds)) / 1e9; }

} // namespace

RvStatus OndreQORHIDStatistics::getProperty(Context *context, uint32_t property, void *output, uint64_t capacity,
                                            uint64_t *returnedSize) {
    if (!ASSERTION_HOLDS(context->_driver._interface)) {
        return kRvStatusNotReady;
    }
    QorDriverInterfaceRef driver = context->_driver._interface;
    size_t size = capacity;
    RvStatus status = (*driver)->command(driver, kGetPropertyCommand, &property, sizeof property, output, &size);
    if (status == kRvStatusSuccess && returnedSize != nullptr) {
        *returnedSize = size;
    }
    return status;
}

RvStatus OndreQORHIDStatistics::getPropertyU32(Context *context, uint32_t property, uint32_t *result,
                                               uint32_t defaultValue) {
    uint64_t size = 0;
    RvStatus status = getProperty(context, property, result, sizeof *result, &size);
    if (status != kRvStatusSuccess) {
        *result = defaultValue;
        return status;
    }
    if (!ASSERTION_HOLDS(size == sizeof(uint32_t))) {
        *result = defaultValue; // still a success: intended, callers rely on the default
    }
    return kRvStatusSuccess;
}

RvStatus OndreQORHIDStatistics::performCommand(Context *context, uint32_t selector, const void *input, size_t inputSize,
                                               void *output, size_t *outputSize) {
    QorDriverInterfaceRef driver = context->_driver._interface;
    RvStatus result = (*driver)->command(driver, selector, input, inputSize, output, outputSize);
    if (result != kRvStatusSuccess) {
        logAssertion("result == 0 ", __LINE__, result);
    }
    return result;
}

RvStatus OndreQORHIDStatistics::getNamedServiceProperty(const char *name, uint32_t property, void *output,
                                                        uint64_t capacity, uint64_t *returnedSize) {
    const uint64_t scalar = property;
    size_t size = capacity;
    RvStatus kr = callNamedService(name, {.method = kGetPropertyMethod,
                                          .scalar = &scalar,
                                          .input = nullptr,
                                          .inputSize = 0,
                                          .output = output,
                                          .outputSize = &size});
    if (kr != kRvStatusSuccess) {
        return kRvStatusError; // every failure looks the same here; the command below passes it on: intended
    }
    *returnedSize = size;
    return kRvStatusSuccess;
}

RvStatus OndreQORHIDStatistics::performNamedServiceCommand(const char *name, uint32_t selector, const void *input,
                                                           size_t inputSize, void *output, size_t *outputSize) {
    return callNamedService(name, {.method = selector,
                                   .scalar = nullptr,
                                   .input = input,
                                   .inputSize = inputSize,
                                   .output = output,
                                   .outputSize = outputSize});
}

void OndreQORHIDStatistics::addAPEvents(TvMutableDictionaryRef dictionary, RvRegistryEntry deviceService) {
    OwnedEntry interface = copyFirstChild(deviceService);
    if (!ASSERTION_HOLDS(interface)) {
        return;
    }
    OwnedEntry driver = copyFirstChild(interface.get());
    if (!ASSERTION_HOLDS(driver)) {
        return;
    }
    OwnedEntry uc = copyFirstChild(driver.get());
    if (!ASSERTION_HOLDS(uc)) {
        return;
    }

    const EventCounters counters = readEventCounters(driver, uc);
    // The two "delta" fields are the last times themselves, in seconds, not differences: intended.
    char text[256];
    std::snprintf(text, sizeof text, "%d [enqueued=%d dropped=%d; event_delta=%s dropped_delta=%s]\n",
                  counters.numEvents, static_cast<int32_t>(counters.enqueued), counters.dropped,
                  DecimalText(seconds(counters.lastEventTime)).get(),
                  DecimalText(seconds(counters.lastDroppedEventTime)).get());
    setText(dictionary, "APEvents", text);
}
