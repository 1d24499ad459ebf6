/** The fields of a record's payload as typed values, for renderings other than the line. */
#ifndef DECODER_PAYLOAD_VALUES_H
#define DECODER_PAYLOAD_VALUES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "decoder/payload_choice.h"

namespace decoder {

/** The unsigned number of `size` bytes (1, 2, 4 or 8) at `offset`. */
template <std::size_t size>
constexpr std::uint64_t number_at(const _QorProfileReport &report, std::size_t offset) {
    return qor::load_number(report.bytes,
                            {.name = {}, .offset = static_cast<std::uint16_t>(offset), .size = size, .how = {}});
}

/** The bytes of a field of kind `How::Bytes` or `How::CountedBytes`. The view points into the report. */
constexpr std::span<const std::uint8_t> bytes_in(const _QorProfileReport &report, const qor::Field &row) {
    std::size_t length = row.size;
    if (row.how == qor::How::CountedBytes) {
        length = std::min<std::size_t>(length, report.at<std::uint16_t>(row.parameter));
    }
    return {report.bytes + row.offset, length};
}

/** A text's characters, which need not be valid in any encoding. The view points into the report. */
inline std::string_view text_in(const _QorProfileReport &report, const qor::Field &row) {
    const auto *characters = static_cast<const char *>(static_cast<const void *>(report.bytes + row.offset));
    std::string_view all(characters, row.size);
    return all.substr(0, all.find('\0'));
}

/** One field of the line with its value. Views are valid as long as the record, names as long as the process. */
struct payload_value {
    enum class kind {
        number,      ///< `number`
        hexadecimal, ///< `number`, to be shown in hexadecimal
        real,        ///< `real`
        text,        ///< `text`: raw characters, not necessarily valid UTF-8
        name,        ///< `text`, for the id in `number`; empty if the id has no name: then the number is shown
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
 * Calls `visit` with every field that the line of `report` shows between the sequence number and the ids, in the order
 * of the line. Keys that appear twice are visited twice. Any thread.
 */
template <typename Visitor>
void for_each_payload_value(const _QorProfileReport &report, Visitor &&visit) {
    for (const qor::Layout *layout : kPayloads[payload_index(report)]) {
        for (const qor::Field &row : layout->fields) {
            visit(value_in(report, row));
        }
    }
}

} // namespace decoder

#endif
