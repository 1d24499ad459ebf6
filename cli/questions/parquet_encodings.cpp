#include "cli/questions/parquet_encodings.h"

#include <algorithm>
#include <array>
#include <bit>
#include <type_traits>

#include "cli/questions/varint.h"

namespace cli {
namespace {

/** Bits that are written one after another, the lowest of a byte first. */
class BitWriter {
public:
    explicit BitWriter(std::string &out) : _out(out) {}

    void add(std::uint64_t number, unsigned width) {
        _bits |= number << _used;
        if (_used + width < 64) {
            _used += width;
            return;
        }
        append_bytes(8);
        const unsigned done = 64 - _used;
        _bits = done < 64 ? number >> done : 0;
        _used = width - done;
    }

    /** Writes what is left, up to a whole byte. */
    void end() {
        append_bytes((_used + 7) / 8);
        _bits = 0;
        _used = 0;
    }

private:
    void append_bytes(unsigned count) {
        std::array<char, 8> bytes;
        for (unsigned i = 0; i < 8; ++i) {
            bytes[i] = static_cast<char>(_bits >> (8 * i));
        }
        _out.append(bytes.data(), count);
    }

    std::string &_out;
    std::uint64_t _bits = 0;
    unsigned _used = 0; ///< of `_bits`, 0 to 63
};

constexpr std::size_t kGroup = 8; ///< numbers of `width` bits come in groups of so many

void append_packed_groups(std::string &out, std::span<const std::uint32_t> numbers, unsigned width) {
    if (numbers.empty()) {
        return;
    }
    const std::size_t groups = (numbers.size() + kGroup - 1) / kGroup;
    append_varint(out, groups << 1 | 1);
    BitWriter bits(out);
    for (const std::uint32_t number : numbers) {
        bits.add(number, width);
    }
    for (std::size_t i = numbers.size(); i < groups * kGroup; ++i) {
        bits.add(0, width);
    }
    bits.end();
}

void append_run(std::string &out, std::uint32_t number, std::size_t count, unsigned width) {
    append_varint(out, count << 1);
    for (unsigned byte = 0; byte < (width + 7) / 8; ++byte) {
        out.push_back(static_cast<char>(number >> (8 * byte)));
    }
}

// As nearly every writer has them, so that every reader is used to them.
constexpr std::size_t kDeltaBlock = 128;
constexpr std::size_t kMiniblocks = 4;
constexpr std::size_t kMiniblock = kDeltaBlock / kMiniblocks;

/** The differences of at most a block, less the least of them. @param deltas  not empty. */
template <typename Number>
void append_delta_block(std::string &out, std::span<Number> deltas) {
    using Signed = std::make_signed_t<Number>;
    const auto is_less = [](Number a, Number b) { return static_cast<Signed>(a) < static_cast<Signed>(b); };
    const Number least = *std::min_element(deltas.begin(), deltas.end(), is_less);
    append_zigzag(out, static_cast<Signed>(least));
    std::array<unsigned, kMiniblocks> widths{};
    for (std::size_t i = 0; i < deltas.size(); ++i) {
        deltas[i] = static_cast<Number>(deltas[i] - least);
        widths[i / kMiniblock] = std::max(widths[i / kMiniblock], bit_width_of(deltas[i]));
    }
    for (const unsigned width : widths) {
        out.push_back(static_cast<char>(width));
    }
    for (std::size_t start = 0; start < deltas.size(); start += kMiniblock) {
        BitWriter bits(out);
        for (std::size_t i = start; i < start + kMiniblock; ++i) {
            bits.add(i < deltas.size() ? deltas[i] : 0, widths[start / kMiniblock]);
        }
        bits.end();
    }
}

template <typename Number>
void append_deltas_of(std::string &out, std::span<const Number> numbers) {
    append_varint(out, kDeltaBlock);
    append_varint(out, kMiniblocks);
    append_varint(out, numbers.size());
    append_zigzag(out, numbers.empty() ? 0 : static_cast<std::make_signed_t<Number>>(numbers.front()));
    std::array<Number, kDeltaBlock> deltas;
    for (std::size_t next = 1; next < numbers.size();) {
        const std::size_t count = std::min(kDeltaBlock, numbers.size() - next);
        for (std::size_t i = 0; i < count; ++i, ++next) {
            deltas[i] = static_cast<Number>(numbers[next] - numbers[next - 1]);
        }
        append_delta_block(out, std::span(deltas).first(count));
    }
}

} // namespace

void append_zigzag(std::string &out, std::int64_t value) {
    append_varint(out, static_cast<std::uint64_t>(value) << 1 ^ static_cast<std::uint64_t>(value >> 63));
}

unsigned bit_width_of(std::uint64_t largest) { return static_cast<unsigned>(std::bit_width(largest)); }

void append_hybrid(std::string &out, std::span<const std::uint32_t> numbers, unsigned width) {
    std::size_t packed_from = 0; // what is before it is written
    for (std::size_t i = 0; i < numbers.size();) {
        const auto end = std::find_if(numbers.begin() + static_cast<std::ptrdiff_t>(i), numbers.end(),
                                      [number = numbers[i]](std::uint32_t other) { return other != number; });
        const auto next = static_cast<std::size_t>(end - numbers.begin());
        // Only the last group may have less than eight, so the first of a run complete the group before it.
        const std::size_t missing = (kGroup - (i - packed_from) % kGroup) % kGroup;
        if (next - i >= missing + kGroup) {
            append_packed_groups(out, numbers.subspan(packed_from, i + missing - packed_from), width);
            append_run(out, numbers[i], next - i - missing, width);
            packed_from = next;
        }
        i = next;
    }
    append_packed_groups(out, numbers.subspan(packed_from), width);
}

void append_deltas(std::string &out, std::span<const std::uint32_t> numbers) { append_deltas_of(out, numbers); }

void append_deltas(std::string &out, std::span<const std::uint64_t> numbers) { append_deltas_of(out, numbers); }

template <typename Number>
bool NumberDictionary::fill_with(std::span<const Number> numbers) {
    // At most half of the slots are taken.
    const unsigned bits = bit_width_of(2 * std::min(_most, numbers.size()));
    _slots.assign(std::size_t{1} << bits, 0);
    _distinct.clear();
    _indexes.resize(numbers.size());
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const std::uint64_t number = numbers[i];
        // Neighbouring numbers, which are usual, get places far from each other (Fibonacci hashing).
        std::size_t slot = number * 0x9E37'79B9'7F4A'7C15 >> (64 - bits);
        while (_slots[slot] != 0 && _distinct[_slots[slot] - 1] != number) {
            slot = (slot + 1) & (_slots.size() - 1);
        }
        if (_slots[slot] == 0) {
            if (_distinct.size() == _most) {
                return false;
            }
            _distinct.push_back(number);
            _slots[slot] = static_cast<std::uint32_t>(_distinct.size());
        }
        _indexes[i] = _slots[slot] - 1;
    }
    return true;
}

bool NumberDictionary::fill(std::span<const std::uint32_t> numbers) { return fill_with(numbers); }

bool NumberDictionary::fill(std::span<const std::uint64_t> numbers) { return fill_with(numbers); }

} // namespace cli
