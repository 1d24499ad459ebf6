/** Rows in the engine's format RowBinary: exact, also for doubles. */
#pragma once

#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "cli/questions/varint.h"

namespace cli {

/** The cells of rows, one after another. Numbers are as they are in memory: little-endian. */
class RowBinary {
public:
    void add(std::string_view text) {
        append_varint(_bytes, text.size());
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
        append_varint(_bytes, numbers.size());
        for (const std::uint64_t number : numbers) {
            add(number);
        }
    }

    const std::string &bytes() const { return _bytes; }

private:
    std::string _bytes;
};

} // namespace cli
