// Creates a state-capture record from a typed value.

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "platform/Owned.h"
#include "plugin/OndreQORHIDStatistics.h"

// The record's integers are little-endian, and are stored here in the machine's byte order.
static_assert(std::endian::native == std::endian::little);
static_assert(offsetof(RvStateCaptureRecord, title) == 136);
static_assert(offsetof(RvStateCaptureRecord, payload) == 200);

RvStateCaptureRecord *OndreQORHIDStatistics::copyStateData(TvRef value, const char *title) {
    platform::OwnedValue encoding(TvCreateBinaryEncoding(value));
    if (!encoding) {
        return nullptr;
    }
    const size_t length = TvDataGetLength(encoding.get());
    auto *record = static_cast<RvStateCaptureRecord *>(std::calloc(1, sizeof(RvStateCaptureRecord) + length));
    if (record == nullptr) {
        return nullptr;
    }
    std::memcpy(record->title, title, std::min(std::strlen(title), sizeof record->title - 1));
    record->type_code = kRvStateCaptureTypeSerializedValue;
    record->payload_size = static_cast<uint32_t>(length);
    std::memcpy(record->payload, TvDataGetBytes(encoding.get()), length);
    return record;
}
