#include "host/state_records.h"

#include <algorithm>
#include <iterator>

#include "host/binary_encoding.h"
#include "host/error.h"
#include "platform/RvStateCapture.h"
#include "qor/field.h"

namespace host {
namespace {

constexpr std::size_t kHeaderSize = sizeof(RvStateCaptureRecord);
static_assert(kHeaderSize == 200);

/** The text of a 64-byte field, which ends at the first zero byte or with the field. */
std::string field_text(std::span<const std::byte> header, std::size_t offset) {
    const auto field = header.subspan(offset, sizeof RvStateCaptureRecord::title);
    const auto end = std::find(field.begin(), field.end(), std::byte{0});
    std::string text;
    std::transform(field.begin(), end, std::back_inserter(text), [](std::byte c) { return static_cast<char>(c); });
    return text;
}

StateRecord parse_record(std::span<const std::byte> bytes, std::size_t offset, const std::string &file) {
    const auto rest = bytes.subspan(offset);
    if (rest.size() < kHeaderSize) {
        throw Error(file, "byte " + std::to_string(offset),
                    "a record header takes " + std::to_string(kHeaderSize) + " bytes and only " +
                        std::to_string(rest.size()) + " are left");
    }
    const std::size_t payload_size =
        qor::load_little_endian<std::uint32_t>(&rest[offsetof(RvStateCaptureRecord, payload_size)]);
    const std::size_t left = rest.size() - kHeaderSize;
    if (payload_size > left) {
        throw Error(file, "byte " + std::to_string(offset + offsetof(RvStateCaptureRecord, payload_size)),
                    "the payload size is " + std::to_string(payload_size) + " and only " + std::to_string(left) +
                        " bytes are left");
    }

    StateRecord record{};
    record.type_code = qor::load_little_endian<std::uint32_t>(&rest[offsetof(RvStateCaptureRecord, type_code)]);
    record.decoder_plug_in = field_text(rest, offsetof(RvStateCaptureRecord, decoder_plug_in));
    record.decoder_type = field_text(rest, offsetof(RvStateCaptureRecord, decoder_type));
    record.title = field_text(rest, offsetof(RvStateCaptureRecord, title));
    record.offset = offset;
    record.size = kHeaderSize + payload_size;
    if (record.type_code == kRvStateCaptureTypeSerializedValue) {
        record.payload = decode_binary_encoding(rest.subspan(kHeaderSize, payload_size), file, offset + kHeaderSize);
    }
    return record;
}

} // namespace

std::vector<StateRecord> parse_records(std::span<const std::byte> bytes, const std::string &file) {
    std::vector<StateRecord> records;
    std::size_t offset = 0;
    while (offset < bytes.size()) {
        records.push_back(parse_record(bytes, offset, file));
        offset += records.back().size;
    }
    return records;
}

} // namespace host
