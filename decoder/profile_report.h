/** The 48-byte profile report as the firmware lays it out, and how its fields are read. */
#ifndef DECODER_PROFILE_REPORT_H
#define DECODER_PROFILE_REPORT_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace decoder {

/** An unsigned little-endian integer of `Integer`'s width at any address. */
template <typename Integer>
constexpr Integer load_little_endian(const std::uint8_t *bytes) {
    return [bytes]<std::size_t... I>(std::index_sequence<I...>) {
        return static_cast<Integer>(((static_cast<std::uint64_t>(bytes[I]) << (8 * I)) | ...));
    }
    (std::make_index_sequence<sizeof(Integer)>{});
}

} // namespace decoder

/**
 * One report: a header of 16 bytes and 32 bytes of payload, whose layout the type (and for some categories the
 * category) chooses. Bytes only, so it may lie at any address; buffers of reports are packed with a stride of
 * 48 bytes.
 */
struct _QorProfileReport {
    static constexpr std::size_t kSize = 48;

    std::uint8_t bytes[kSize];

    /** A copy of the 48 bytes at `report`, which may have any alignment. */
    static _QorProfileReport copied_from(const void *report) {
        _QorProfileReport copy;
        std::memcpy(copy.bytes, report, kSize);
        return copy;
    }

    template <typename Integer>
    constexpr Integer at(std::size_t offset) const {
        return decoder::load_little_endian<Integer>(bytes + offset);
    }

    /** The four ids as one word, as category decoders compare it. */
    constexpr std::uint32_t header() const { return at<std::uint32_t>(0); }
    constexpr std::uint8_t type_id() const { return bytes[0]; }
    constexpr std::uint8_t event_id() const { return bytes[1]; }
    constexpr std::uint8_t component_id() const { return bytes[2]; }
    constexpr std::uint8_t category_id() const { return bytes[3]; }
    constexpr std::uint32_t sequence_num() const { return at<std::uint32_t>(4); }
    /** Microseconds of the coprocessor's clock. */
    constexpr std::uint64_t timestamp() const { return at<std::uint64_t>(8); }
};

static_assert(sizeof(_QorProfileReport) == _QorProfileReport::kSize && alignof(_QorProfileReport) == 1);

#endif
