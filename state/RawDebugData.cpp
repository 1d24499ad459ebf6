// The raw debug data snapshot: the coprocessor's recent profile reports as lines of text.

#include <algorithm>
#include <cstdio>
#include <memory>
#include <new>

#include "decoder/ProfileDescription.h"
#include "platform/Owned.h"
#include "plugin/OndreQORHIDStatistics.h"

using platform::OwnedMutableValue;
using platform::OwnedValue;

namespace {

constexpr size_t kTitleSize = sizeof RvStateCaptureRecord::title;

constexpr char kFirmwareService[] = "ZEL_profile";
constexpr uint32_t kFirmwareReportsProperty = 209;

constexpr char kDriverService[] = "OndreQORProfileDriver";
constexpr uint32_t kDriverReportsCommand = 9;
constexpr uint32_t kErrorReportsCommand = 8;

enum : uint32_t { kSourceFirmware = 1, kSourceDriver = 2, kSourceErrors = 3 };

/** Indexed by source number; source 0 does not exist. */
constexpr const char *kSourceNames[] = {nullptr, "fw", "drvx", "err"};

/** The array of the descriptions that can be made, in report order; null when there is no array. */
OwnedMutableValue copyDescriptions(const uint8_t *reports, size_t reportCount) {
    OwnedMutableValue array(TvArrayCreateMutable());
    if (!ASSERTION_HOLDS_AT(array, 1093)) {
        return array;
    }
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
    if (source < kSourceFirmware || source > kSourceErrors) {
        return nullptr;
    }
    const uint64_t capacity = uint64_t{count} * kQorProfileReportSize;
    std::unique_ptr<uint8_t[]> reports(new (std::nothrow) uint8_t[capacity]());
    if (!reports) {
        return nullptr;
    }

    uint64_t length = source == kSourceFirmware ? 0 : capacity;
    RvStatus kr = kRvStatusSuccess;
    bool read = false;
    switch (source) {
    case kSourceFirmware:
        kr = getNamedServiceProperty(kFirmwareService, kFirmwareReportsProperty, reports.get(), capacity, &length);
        read = ASSERTION_HOLDS_AT(kr == 0, 1072);
        break;
    case kSourceDriver:
        kr = performNamedServiceCommand(kDriverService, kDriverReportsCommand, nullptr, 0, reports.get(), &length);
        read = ASSERTION_HOLDS_AT(kr == 0, 1077);
        break;
    default:
        kr = performNamedServiceCommand(kDriverService, kErrorReportsCommand, nullptr, 0, reports.get(), &length);
        read = ASSERTION_HOLDS_AT(kr == 0, 1082);
        break;
    }
    // What the driver reports is its own word: reading stops at the buffer's end.
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
                  static_cast<unsigned long>(reportCount), kSourceNames[source]);
    return copyStateData(array.get(), title);
}
