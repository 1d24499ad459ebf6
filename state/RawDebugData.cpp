// The raw debug data snapshot: the coprocessor's recent profile reports as lines of text.

#include <algorithm>
#include <cstdio>
#include <memory>
#include <new>

#include "decoder/ProfileDescription.h"
#include "decoder/remembered_second.h"
#include "platform/Owned.h"
#include "plugin/OndreQORHIDStatistics.h"
#include "qor/driver.h"

namespace driver = qor::driver;

using platform::OwnedMutableValue;
using platform::OwnedValue;

namespace {

constexpr size_t kTitleSize = sizeof RvStateCaptureRecord::title;

/** The source with this number; null if there is none. */
const driver::ReportSource *sourceOf(uint32_t number) {
    for (const driver::ReportSource *source : driver::kReportSources) {
        if (source->number == number) {
            return source;
        }
    }
    return nullptr;
}

/** The descriptions that can be created, in the order of the reports; null if the array cannot be created. */
OwnedMutableValue copyDescriptions(const uint8_t *reports, size_t reportCount) {
    OwnedMutableValue array(TvArrayCreateMutable());
    if (!ASSERTION_HOLDS_AT(array, 1093)) {
        return array;
    }
    const decoder::unchanging_zone zone; // for the length of one record
    for (size_t i = 0; i < reportCount; ++i) {
        OwnedValue description(CopyProfileDescription(reports + i * kQorProfileReportSize));
        TvArrayAppend(array.get(), description.get());
    }
    return array;
}

} // namespace

RvStateCaptureRecord *OndreQORHIDStatistics::stateHandler_RawDebugData(const RvStateCaptureHints * /*hints*/,
                                                                       Context * /*context*/, uint32_t index,
                                                                       uint32_t count, uint32_t source) {
    const driver::ReportSource *from = sourceOf(source);
    if (from == nullptr) {
        return nullptr;
    }
    const uint64_t capacity = uint64_t{count} * kQorProfileReportSize;
    std::unique_ptr<uint8_t[]> reports(new (std::nothrow) uint8_t[capacity]());
    if (!reports) {
        return nullptr;
    }

    uint64_t length = from == &driver::kFirmwareReports ? 0 : capacity;
    RvStatus kr = kRvStatusSuccess;
    bool read = false;
    if (from == &driver::kFirmwareReports) {
        kr = getNamedServiceProperty(from->service, from->selector, reports.get(), capacity, &length);
        read = ASSERTION_HOLDS_AT(kr == 0, 1072);
    } else {
        kr = performNamedServiceCommand(from->service, from->selector, nullptr, 0, reports.get(), &length);
        read = ASSERTION_HOLDS_AT(kr == 0, from == &driver::kDriverReports ? 1077 : 1082);
    }
    // The length that the driver reports may exceed the capacity: reading stops at the end of the buffer.
    const size_t reportCount = std::min(length, capacity) / kQorProfileReportSize;
    if (!read || reportCount == 0) {
        return nullptr;
    }

    OwnedMutableValue array = copyDescriptions(reports.get(), reportCount);
    if (!array) {
        return nullptr;
    }
    char title[kTitleSize];
    std::snprintf(title, sizeof title, "ZEL Profile %u ;count=%lu ;type=%s", index,
                  static_cast<unsigned long>(reportCount), from->type);
    return copyStateData(array.get(), title);
}
