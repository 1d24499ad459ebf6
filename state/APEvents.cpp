// Adds the event-queue counters that the driver publishes in the registry to the sensor's snapshot, as one line.

#include <cstdio>

#include "platform/Owned.h"
#include "plugin/OndreQORHIDStatistics.h"
#include "qor/driver.h"
#include "qor/sensor.h"
#include "state/DecimalText.h"
#include "state/DictionarySetters.h"

using platform::OwnedEntry;
using platform::OwnedValue;

namespace {

/** The first child in the service plane. Null if the look-up failed, whatever it stored. */
OwnedEntry copyFirstChild(RvRegistryEntry entry) {
    RvRegistryEntry child = 0;
    RvStatus kr = RvRegistryEntryCopyChild(entry, kRvServicePlane, &child);
    return OwnedEntry(kr == kRvStatusSuccess ? child : 0);
}

/** The event-queue counters. Each keeps its default unless a "DebugState" contains it. */
struct EventCounters {
    int32_t numEvents = -1;
    int64_t enqueued = -1;
    int32_t dropped = -1;
    int64_t lastEventTime = 0;
    int64_t lastDroppedEventTime = 0;
};

/** The entry's "DebugState". If it is not a dictionary, look-ups in it find nothing. */
OwnedValue copyDebugState(const OwnedEntry &entry) {
    return OwnedValue(RvRegistryEntryCopyProperty(entry.get(), qor::driver::kDebugState));
}

EventCounters readEventCounters(const OwnedEntry &driver, const OwnedEntry &userClient) {
    EventCounters counters;
    OwnedValue driverState = copyDebugState(driver);
    TvNumberGetSInt32(TvDictionaryGetValue(driverState.get(), qor::driver::kNumEvents), &counters.numEvents);

    OwnedValue clientState = copyDebugState(userClient);
    TvNumberGetSInt64(TvDictionaryGetValue(clientState.get(), qor::driver::kEnqueuedEvents), &counters.enqueued);
    TvNumberGetSInt32(TvDictionaryGetValue(clientState.get(), qor::driver::kDroppedEvents), &counters.dropped);
    TvNumberGetSInt64(TvDictionaryGetValue(clientState.get(), qor::driver::kLastEventTime), &counters.lastEventTime);
    TvNumberGetSInt64(TvDictionaryGetValue(clientState.get(), qor::driver::kLastDroppedEventTime),
                      &counters.lastDroppedEventTime);
    return counters;
}

/** Converts nanoseconds, read as unsigned, to seconds. */
double seconds(int64_t nanoseconds) { return static_cast<double>(static_cast<uint64_t>(nanoseconds)) / 1e9; }

} // namespace

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
    // The two "delta" fields show the last times themselves, in seconds, not differences. Intended.
    char text[256];
    std::snprintf(text, sizeof text, "%d [enqueued=%d dropped=%d; event_delta=%s dropped_delta=%s]\n",
                  counters.numEvents, static_cast<int32_t>(counters.enqueued), counters.dropped,
                  DecimalText(seconds(counters.lastEventTime)).get(),
                  DecimalText(seconds(counters.lastDroppedEventTime)).get());
    setText(dictionary, qor::sensor::kEventsKey, text);
}
