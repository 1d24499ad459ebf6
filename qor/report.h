/** The 48-byte profile report and its header. */
#ifndef QOR_REPORT_H
#define QOR_REPORT_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "qor/field.h"

namespace qor {

inline constexpr std::size_t kReportSize = 48;

/** The fields of the header. The payload is the rest of the report. */
namespace header {

inline constexpr Field kTypeId = u8("type-id", 0);
inline constexpr Field kEventId = u8("event-id", 1);
inline constexpr Field kComponentId = u8("component-id", 2);
inline constexpr Field kCategoryId = u8("category-id", 3);
inline constexpr Field kSequenceNum = u32("sequence_num", 4);
inline constexpr Field kTimestamp = u64("timestamp", 8); ///< microseconds of the coprocessor's clock

} // namespace header

inline constexpr std::size_t kPayloadOffset = 16;

} // namespace qor

/**
 * One report: a header of 16 bytes and a payload of 32 bytes, whose layout depends on the four ids. It consists of
 * bytes only, so it may have any address. Reports in a buffer have a stride of 48 bytes.
 */
struct _QorProfileReport {
    static constexpr std::size_t kSize = qor::kReportSize;

    std::uint8_t bytes[kSize];

    /** Copies the 48 bytes at `report`, which may have any alignment. */
    static _QorProfileReport copied_from(const void *report) {
        _QorProfileReport copy;
        std::memcpy(copy.bytes, report, kSize);
        return copy;
    }

    template <typename Integer>
    constexpr Integer at(std::size_t offset) const {
        return qor::load_little_endian<Integer>(bytes + offset);
    }

    /** The four ids as one word: the type in the lowest byte, then the event, the component and the category. */
    constexpr std::uint32_t header() const { return at<std::uint32_t>(0); }
    constexpr std::uint8_t type_id() const { return bytes[qor::header::kTypeId.offset]; }
    constexpr std::uint8_t event_id() const { return bytes[qor::header::kEventId.offset]; }
    constexpr std::uint8_t component_id() const { return bytes[qor::header::kComponentId.offset]; }
    constexpr std::uint8_t category_id() const { return bytes[qor::header::kCategoryId.offset]; }
    constexpr std::uint32_t sequence_num() const { return at<std::uint32_t>(qor::header::kSequenceNum.offset); }
    /** In microseconds of the coprocessor's clock. */
    constexpr std::uint64_t timestamp() const { return at<std::uint64_t>(qor::header::kTimestamp.offset); }
};

static_assert(sizeof(_QorProfileReport) == _QorProfileReport::kSize && alignof(_QorProfileReport) == 1);

#endif
