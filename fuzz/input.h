/** Shared by the fuzz targets: reading an input from its front, and checks that end the process when they fail. */
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>
#include <vector>

namespace fuzz {

/** Reads values from the front of an input. Missing bytes are zero. */
class Input {
public:
    Input(const std::uint8_t *data, std::size_t size) : _data(data), _size(size) {}

    bool is_empty() const { return _size == 0; }

    std::uint8_t byte() {
        if (_size == 0) {
            return 0;
        }
        --_size;
        return *_data++;
    }

    /** 64 bits, little-endian. */
    std::uint64_t number() {
        std::uint64_t value = 0;
        for (unsigned shift = 0; shift < 64; shift += 8) {
            value |= std::uint64_t{byte()} << shift;
        }
        return value;
    }

    /** Up to `count` bytes, fewer if the input ends. */
    std::vector<std::uint8_t> bytes(std::size_t count) {
        count = std::min(count, _size);
        std::vector<std::uint8_t> taken(_data, _data + count);
        _data += count;
        _size -= count;
        return taken;
    }

    /** The rest of the input. */
    std::span<const std::uint8_t> rest() const { return {_data, _size}; }

private:
    const std::uint8_t *_data;
    std::size_t _size;
};

/** Ends the process, which the fuzzer counts as a find, unless `holds`. @param where  names what was checked. */
inline void require(bool holds, const char *promise, std::string_view where = "") {
    if (!holds) {
        std::fprintf(stderr, "broken: %s (%.*s)\n", promise, static_cast<int>(where.size()), where.data());
        std::abort();
    }
}

} // namespace fuzz
