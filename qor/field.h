/**
 * The notation for all records of the QOR. A layout is a table of fields in the order in which they are shown; each
 * field has a name, a position and a kind. All numbers are little-endian, and records are packed, so a field may have
 * any address. Nothing here depends on how a line, an object or a column is written.
 */
#ifndef QOR_FIELD_H
#define QOR_FIELD_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

namespace qor {

/** Reads an integer of type `Integer` from the sizeof(Integer) bytes at `bytes`. `Byte` is any type of one byte. */
template <typename Integer, typename Byte>
constexpr Integer load_little_endian(const Byte *bytes) {
    static_assert(sizeof(Byte) == 1);
    // Compilers make one load of this, but not of a loop.
    return [bytes]<std::size_t... I>(std::index_sequence<I...>) {
        return static_cast<Integer>(((static_cast<std::uint64_t>(bytes[I]) << (8 * I)) | ...));
    }
    (std::make_index_sequence<sizeof(Integer)>{});
}

/** Writes the low `size` bytes of `value`, at most 8, lowest first. */
template <typename Byte>
constexpr void store_little_endian(Byte *bytes, std::uint64_t value, std::size_t size) {
    static_assert(sizeof(Byte) == 1);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<Byte>(static_cast<std::uint8_t>(value >> (8 * i)));
    }
}

/** How a field's bytes are read. */
enum class How : std::uint8_t {
    Number,       ///< unsigned, 1, 2, 4 or 8 bytes
    Signed,       ///< signed, two's complement, 1, 4 or 8 bytes
    Constant,     ///< a fixed number, whatever the record holds
    Hexadecimal,  ///< an unsigned 32-bit number, shown in hexadecimal
    Text,         ///< characters up to the first zero byte or the end of the field
    Bytes,        ///< raw bytes
    CountedBytes, ///< raw bytes: a 16-bit count in the record gives their number, limited to `size`
    FixedPoint,   ///< a signed 32-bit number with `parameter` fraction bits
    Subject       ///< the 32-bit id of an SSHB trace's subject
};

/** The default width of a field: the width of its layout. */
inline constexpr std::uint8_t kWidthOfLayout = 0xFF;

/** One row of a layout. Offsets are in bytes from the start of the record. */
struct Field {
    std::string_view name;
    std::uint16_t offset;
    std::uint16_t size; ///< in bytes; the maximum for `CountedBytes`; 0 for `Constant`
    How how;
    std::uint8_t parameter = 0; ///< Constant: its value; CountedBytes: the count's offset; FixedPoint: fraction bits
    std::uint8_t width = kWidthOfLayout; ///< right-aligned in this many characters; 0 for no alignment

    /** The name as a C string. Requires that names are string literals. */
    constexpr const char *key() const { return name.data(); }
};

constexpr Field u8(std::string_view name, std::uint16_t offset) { return {name, offset, 1, How::Number}; }
constexpr Field u16(std::string_view name, std::uint16_t offset) { return {name, offset, 2, How::Number}; }
constexpr Field u32(std::string_view name, std::uint16_t offset) { return {name, offset, 4, How::Number}; }
constexpr Field u64(std::string_view name, std::uint16_t offset) { return {name, offset, 8, How::Number}; }
constexpr Field s8(std::string_view name, std::uint16_t offset) { return {name, offset, 1, How::Signed}; }
constexpr Field s32(std::string_view name, std::uint16_t offset) { return {name, offset, 4, How::Signed}; }
constexpr Field s64(std::string_view name, std::uint16_t offset) { return {name, offset, 8, How::Signed}; }
constexpr Field constant(std::string_view name, std::uint8_t value) { return {name, 0, 0, How::Constant, value}; }
constexpr Field hex(std::string_view name, std::uint16_t offset) { return {name, offset, 4, How::Hexadecimal}; }
constexpr Field text(std::string_view name, std::uint16_t offset, std::uint16_t size) {
    return {name, offset, size, How::Text};
}
constexpr Field bytes(std::string_view name, std::uint16_t offset, std::uint16_t size) {
    return {name, offset, size, How::Bytes};
}
constexpr Field counted_bytes(std::string_view name, std::uint16_t offset, std::uint16_t most, std::uint8_t count_at) {
    return {name, offset, most, How::CountedBytes, count_at};
}
constexpr Field fixed_point(std::string_view name, std::uint16_t offset, std::uint8_t fraction_bits) {
    return {name, offset, 4, How::FixedPoint, fraction_bits};
}
constexpr Field subject(std::string_view name, std::uint16_t offset) { return {name, offset, 4, How::Subject}; }

/** The field with this width instead of its layout's. */
constexpr Field wide(Field field, std::uint8_t width) {
    field.width = width;
    return field;
}

/** Whether all fields lie within a record of `size` bytes. */
constexpr bool stay_inside(std::span<const Field> fields, std::size_t size) {
    for (const Field &field : fields) {
        if (field.offset + field.size > size ||
            (field.how == How::CountedBytes && field.parameter + sizeof(std::uint16_t) > size)) {
            return false;
        }
    }
    return true;
}

/** Reads a field of 1, 2, 4 or 8 bytes from a record, as an unsigned number. */
template <typename Byte>
constexpr std::uint64_t load_number(const Byte *record, const Field &field) {
    const Byte *const place = record + field.offset;
    switch (field.size) {
    case 1:
        return load_little_endian<std::uint8_t>(place);
    case 2:
        return load_little_endian<std::uint16_t>(place);
    case 4:
        return load_little_endian<std::uint32_t>(place);
    default:
        return load_little_endian<std::uint64_t>(place);
    }
}

/** Reads a signed field of 1, 2, 4 or 8 bytes. */
template <typename Byte>
constexpr std::int64_t load_signed(const Byte *record, const Field &field) {
    const unsigned unused_bits = 64 - 8u * field.size;
    return static_cast<std::int64_t>(load_number(record, field) << unused_bits) >> unused_bits;
}

/** Reads a fixed-point field. Exact, since a double holds all 32 bits. */
template <typename Byte>
constexpr double load_fixed_point(const Byte *record, const Field &field) {
    return static_cast<double>(load_signed(record, field)) / static_cast<double>(1u << field.parameter);
}

/** A row of a name table. */
struct NamedId {
    std::uint32_t id;
    const char *name;
};

} // namespace qor

#endif
