/**
 * The notation in which every record of the QOR is described: a layout is a table of fields in the order in which they
 * are shown, each with its name, its place and how it is read. Everything is little-endian and packed, so a field may
 * lie at any address. Nothing here knows how a line, an object or a column is written.
 */
#ifndef QOR_FIELD_H
#define QOR_FIELD_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

namespace qor {

/** The integer of type `Integer` at `bytes`, of which sizeof(Integer) are read. `Byte` has the size of one. */
template <typename Integer, typename Byte>
constexpr Integer load_little_endian(const Byte *bytes) {
    static_assert(sizeof(Byte) == 1);
    // Compilers make one load of this, but not of a loop.
    return [bytes]<std::size_t... I>(std::index_sequence<I...>) {
        return static_cast<Integer>(((static_cast<std::uint64_t>(bytes[I]) << (8 * I)) | ...));
    }
    (std::make_index_sequence<sizeof(Integer)>{});
}

/** Writes the low `size` bytes of `value`, at most 8. */
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
    Signed,       ///< signed, in two's complement, 1, 4 or 8 bytes
    Constant,     ///< a fixed number, whatever the record holds
    Hexadecimal,  ///< a 32-bit number that is shown in hexadecimal
    Text,         ///< characters up to the first zero byte, or all of them
    Bytes,        ///< raw bytes
    CountedBytes, ///< raw bytes, as many as a 16-bit count in the record says, but never more than `size`
    FixedPoint,   ///< a signed 32-bit number with `parameter` fraction bits
    Subject       ///< the 32-bit id of an SSHB trace's subject
};

/** The width that a field's text has unless its row says otherwise: that of its layout. */
inline constexpr std::uint8_t kWidthOfLayout = 0xFF;

/** One row of a layout. Offsets are from the start of the record. */
struct Field {
    std::string_view name;
    std::uint16_t offset;
    std::uint16_t size; ///< bytes; for `CountedBytes` the most of them; 0 for `Constant`
    How how;
    std::uint8_t parameter = 0; ///< Constant: its value; CountedBytes: the count's offset; FixedPoint: fraction bits
    std::uint8_t width = kWidthOfLayout; ///< characters that its text is right-aligned in; 0 for none

    /** The name as a C string: names are literals. */
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

/** The same field with a width of its own. */
constexpr Field wide(Field field, std::uint8_t width) {
    field.width = width;
    return field;
}

/** Whether no field of a record of `size` bytes leaves it. */
constexpr bool stay_inside(std::span<const Field> fields, std::size_t size) {
    for (const Field &field : fields) {
        if (field.offset + field.size > size ||
            (field.how == How::CountedBytes && field.parameter + sizeof(std::uint16_t) > size)) {
            return false;
        }
    }
    return true;
}

/** The number of a field of 1, 2, 4 or 8 bytes in the record at `record`, as its bits stand there. */
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

/** The same of a signed field, with its sign. */
template <typename Byte>
constexpr std::int64_t load_signed(const Byte *record, const Field &field) {
    const unsigned unused_bits = 64 - 8u * field.size;
    return static_cast<std::int64_t>(load_number(record, field) << unused_bits) >> unused_bits;
}

/** A fixed-point number; exact, since a double holds all 32 bits. */
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
