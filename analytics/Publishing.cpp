#include "plugin/OndreQORHIDStatistics.h"

void OndreQORHIDStatistics::publishTBData(const Tbk * /*entries*/, uint64_t /*count*/) {}

void OndreQORHIDStatistics::publishTBData(void *target, const void *entries, uint64_t count) {
    static_cast<OndreQORHIDStatistics *>(target)->publishTBData(static_cast<const Tbk *>(entries), count);
}
