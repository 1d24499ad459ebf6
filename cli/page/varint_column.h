/** Columns of numbers, as the scripts of the page read them. */
#pragma once

#include <cstdint>
#include <string>

namespace cli {

/** Numbers of 7 bits a byte, the lowest first; every byte but a number's last has its highest bit set. */
class VarintColumn {
public:
    void put(std::uint64_t number) {
        for (; number >= 0x80; number >>= 7) {
            _bytes += static_cast<char>(static_cast<unsigned char>(number | 0x80));
        }
        _bytes += static_cast<char>(static_cast<unsigned char>(number));
    }

    /** A number that may be negative: 0, -1, 1, -2 and so on are 0, 1, 2, 3. */
    void put_signed(std::int64_t number) {
        put((static_cast<std::uint64_t>(number) << 1) ^ static_cast<std::uint64_t>(number >> 63));
    }

    const std::string &bytes() const { return _bytes; }

private:
    std::string _bytes;
};

} // namespace cli
