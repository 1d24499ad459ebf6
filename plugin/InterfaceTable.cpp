#include "plugin/InterfaceTable.h"

#include "plugin/OndreQORHIDStatistics.h"

static_assert(sizeof(OndreQORHIDStatisticsTable) == 18 * sizeof(void *));

namespace {

OndreQORHIDStatistics *object(void *self) { return static_cast<OndreQORHIDStatistics *>(self); }

} // namespace

const OndreQORHIDStatisticsTable kInterfaceTable = {
    /*  0 */ nullptr,
    /*  1 */
    [](void *self, RvUUIDBytes type, void **interface) { return object(self)->QueryInterface(type, interface); },
    /*  2 */ [](void *self) { return object(self)->AddRef(); },
    /*  3 */ [](void *self) { return object(self)->Release(); },
    /*  4 */ {nullptr, nullptr, nullptr},
    /*  7 */
    [](void *self, RvHIDSessionRef session, uint32_t options) {
        object(self)->open(session, options);
        return true; // regardless of the member's result
    },
    /*  8 */ [](void *self, RvHIDSessionRef session, uint32_t options) { object(self)->close(session, options); },
    /*  9 */ {nullptr, nullptr},
    /* 11 */ [](void *self, RvHIDServiceRef service) { object(self)->registerService(service); },
    /* 12 */ nullptr,
    /* 13 */ [](void *self, RvQueueRef queue) { object(self)->scheduleWithDispatchQueue(queue); },
    /* 14 */ [](void *self, RvQueueRef queue) { object(self)->unscheduleFromDispatchQueue(queue); },
    /* 15 */ {nullptr, nullptr, nullptr},
};
