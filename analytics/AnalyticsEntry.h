/** One operation entry of a firmware analytics batch, read in place. */
#pragma once

#include <cstddef>
#include <cstdint>

/**
 * An entry as the firmware delivers it: 7 bytes, packed, little-endian. A batch is entries laid end to end, so
 * an entry may lie at any address.
 */
struct Tbk {
    uint8_t bytes[7];

    uint8_t version() const { return bytes[0]; }
    uint8_t operation() const { return bytes[1]; }
    uint8_t key() const { return bytes[2]; }
    int32_t value() const {
        uint32_t value = 0;
        for (size_t i = 0; i < sizeof value; ++i) {
            value |= static_cast<uint32_t>(bytes[3 + i]) << (8 * i);
        }
        return static_cast<int32_t>(value);
    }
};

static_assert(sizeof(Tbk) == 7 && alignof(Tbk) == 1);
