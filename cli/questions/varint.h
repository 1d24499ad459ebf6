/** Lengths and counts as many formats have them: 7 bits a byte, the lowest first. */
#pragma once

#include <cstdint>
#include <string>

namespace cli {

/** Appends a number; each byte but the last has its highest bit set. */
inline void append_varint(std::string &out, std::uint64_t value) {
    for (; value >= 0x80; value >>= 7) {
        out.push_back(static_cast<char>(value | 0x80));
    }
    out.push_back(static_cast<char>(value));
}

} // namespace cli
