/** Little-endian integers in the bytes that drivers return, at any address. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

/** The integer of type `T` at `bytes`, of which sizeof(T) are read. */
template <typename T>
T loadLittleEndian(const uint8_t *bytes) {
    std::make_unsigned_t<T> value = 0;
    for (size_t i = 0; i < sizeof(T); ++i) {
        value = static_cast<std::make_unsigned_t<T>>(value | static_cast<std::make_unsigned_t<T>>(bytes[i]) << (8 * i));
    }
    return static_cast<T>(value);
}

/** A signed fixed-point number with 16 fraction bits. */
inline double fixedPoint16(int32_t raw) { return raw * 0x1p-16; }
