/** Rows in the engine's format RowBinary: exact, also for doubles. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace cli {

/** The cells of rows, one after another. Numbers are as they are in memory: little-endian. */
class RowBinary {
public:
    void add(std::string_view text) {
        add_length(text.size());
        _bytes.append(text);
    }

    template <typename Number>
    requires std::is_arithmetic_v<Number>
    void add(Number number) {
        char bytes[sizeof number];
        std::memcpy(bytes, &number, sizeof number);
        _bytes.append(bytes, sizeof bytes);
    }

    template <typename Value>
    void add(const std::optional<Value> &value) {
        add(static_cast<std::uint8_t>(!value));
        if (value) {
            add(*value);
        }
    }

    void add(std::span<const std::uint64_t> numbers) {
        add_length(numbers.size());
        for (const std::uint64_t number : numbers) {
            add(number);
        }
    }

    std::size_t size() const { return _bytes.size(); }
    const std::string &bytes() const { return _bytes; }

    /** Replaces the number of 8 bytes at `place`. */
    void set(std::size_t place, std::uint64_t number) { std::memcpy(&_bytes.at(place), &number, sizeof number); }

private:
    void add_length(std::size_t length) {
        for (; length >= 0x80; length >>= 7) {
            _bytes += static_cast<char>(length | 0x80);
        }
        _bytes += static_cast<char>(length);
    }

    std::string _bytes;
};

} // namespace cli
