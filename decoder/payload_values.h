/** The values in a record's payload, and the fields that a record prints as typed values. */
#ifndef DECODER_PAYLOAD_VALUES_H
#define DECODER_PAYLOAD_VALUES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "decoder/payload_choice.h"

namespace decoder {

/** An unsigned number of 1, 2, 4 or 8 bytes. */
template <std::size_t size>
constexpr std::uint64_t number_at(const _QorProfileReport &report, std::size_t offset) {
    return qor::load_number(report.bytes,
                            {.name = {}, .offset = static_cast<std::uint16_t>(offset), .size = size, .how = {}});
}

/** The bytes of `How::Bytes` and `How::CountedBytes`; they lie in the report. */
constexpr std::span<const std::uint8_t> bytes_in(const _QorProfileReport &report, const qor::Field &row) {
    std::size_t length = row.size;
    if (row.how == qor::How::CountedBytes) {
        length = std::min<std::size_t>(length, report.at<std::uint16_t>(row.parameter));
    }
    return {report.bytes + row.offset, length};
}

/** A text's characters, which need not be valid in any encoding; they lie in the record. */
inline std::string_view text_in(const _QorProfileReport &report, const qor::Field &row) {
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
payload_value value_in(const _QorProfileReport &report, const qor::Field &row);

/**
 * Calls `visit` with every field that the line of `report` shows between the sequence number and the ids, in the
 * line's order, keys that appear twice included. Any thread.
 */
template <typename Visitor>
void for_each_payload_value(const _QorProfileReport &report, Visitor &&visit) {
    for (const qor::Layout *layout : kPayloads[payload_index(report)]) {
        if (layout != nullptr) {
            for (const qor::Field &row : layout->fields) {
                visit(value_in(report, row));
            }
        }
    }
}

} // namespace decoder

#endif
