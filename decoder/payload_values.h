/** The values in a record's payload, and the fields that a record prints as typed values. */
#ifndef DECODER_PAYLOAD_VALUES_H
#define DECODER_PAYLOAD_VALUES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "decoder/payload_layouts.h"
#include "decoder/profile_report.h"

namespace decoder {

/** An unsigned number of 1, 2, 4 or 8 bytes. */
template <std::size_t size>
constexpr std::uint64_t number_at(const _QorProfileReport &report, std::size_t offset) {
    if constexpr (size == 1) {
        return report.bytes[offset];
    } else if constexpr (size == 2) {
        return report.at<std::uint16_t>(offset);
    } else if constexpr (size == 4) {
        return report.at<std::uint32_t>(offset);
    } else {
        static_assert(size == 8);
        return report.at<std::uint64_t>(offset);
    }
}

constexpr std::uint64_t number_in(const _QorProfileReport &report, const field &row) {
    switch (row.size) {
    case 1:
        return number_at<1>(report, row.offset);
    case 2:
        return number_at<2>(report, row.offset);
    case 4:
        return number_at<4>(report, row.offset);
    default:
        return number_at<8>(report, row.offset);
    }
}

/** Computed in double; exact. */
constexpr double real_in(const _QorProfileReport &report, const field &row) {
    return static_cast<double>(static_cast<std::int32_t>(report.at<std::uint32_t>(row.offset))) /
           static_cast<double>(1u << row.parameter);
}

/** The bytes of `bytes` and `counted_bytes`; they lie in the record. */
constexpr std::span<const std::uint8_t> bytes_in(const _QorProfileReport &report, const field &row) {
    std::size_t length = row.size;
    if (row.kind == field_kind::counted_bytes) {
        length = std::min<std::size_t>(length, report.at<std::uint16_t>(row.parameter));
    }
    return {report.bytes + row.offset, length};
}

/** A text's characters, which need not be valid in any encoding; they lie in the record. */
inline std::string_view text_in(const _QorProfileReport &report, const field &row) {
    const auto *characters = static_cast<const char *>(static_cast<const void *>(report.bytes + row.offset));
    std::string_view all(characters, row.size);
    return all.substr(0, all.find('\0'));
}

/** One printed field with its value. Views live as long as the record, names as long as the process. */
struct payload_value {
    enum class kind {
        number,      ///< `number`
        hexadecimal, ///< `number`, shown in hexadecimal
        real,        ///< `real`
        text,        ///< `text`: raw characters, perhaps not valid UTF-8
        name,        ///< `text`; empty when the id, which is in `number` and shown instead, has no name
        bytes        ///< `bytes`
    };

    std::string_view key;
    kind type = kind::number;
    std::uint64_t number = 0;
    double real = 0;
    std::string_view text = {};
    std::span<const std::uint8_t> bytes = {};
};

/** The value of one field of `report`. */
payload_value value_in(const _QorProfileReport &report, const field &row);

/**
 * Calls `visit` with every field that the line of `report` shows between the sequence number and the ids, in the
 * line's order, keys that appear twice included. Any thread.
 */
template <typename Visitor>
void for_each_payload_value(const _QorProfileReport &report, Visitor &&visit) {
    for (payload_layout layout : payload_of(report)) {
        for (const field &row : fields_of(layout)) {
            visit(value_in(report, row));
        }
    }
}

} // namespace decoder

#endif
