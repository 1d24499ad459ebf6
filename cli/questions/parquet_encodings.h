/** How a Parquet file holds the values of a column: https://parquet.apache.org/docs/file-format/data-pages/encodings/.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace cli {

/** Appends a signed value as `append_varint` does: small ones of both signs are short. */
void append_zigzag(std::string &out, std::int64_t value);

/** The bits that numbers up to `largest` need; 0 for 0. */
unsigned bit_width_of(std::uint64_t largest);

/** Appends numbers in runs of equal ones and of `width` bits each (RLE). @param width  1 to 32. */
void append_hybrid(std::string &out, std::span<const std::uint32_t> numbers, unsigned width);

/** Appends the differences of numbers, modulo 2^32 or 2^64 (DELTA_BINARY_PACKED). */
void append_deltas(std::string &out, std::span<const std::uint32_t> numbers);
void append_deltas(std::string &out, std::span<const std::uint64_t> numbers);

/** Distinct numbers, by their place. One thread at a time. */
class NumberDictionary {
public:
    /** So many distinct numbers at most, 1 to 2^20. */
    explicit NumberDictionary(std::size_t most) : _most(most) {}

    /**
     * Starts anew with these numbers.
     * @return false when there are more distinct ones than the dictionary may have.
     */
    bool fill(std::span<const std::uint32_t> numbers);
    bool fill(std::span<const std::uint64_t> numbers);

    const std::vector<std::uint64_t> &distinct() const { return _distinct; }
    /** The index in `distinct` of each number. */
    const std::vector<std::uint32_t> &indexes() const { return _indexes; }

private:
    template <typename Number>
    bool fill_with(std::span<const Number> numbers);

    std::size_t _most;
    std::vector<std::uint32_t> _slots; ///< an index in `_distinct` and 1; 0 for a free slot
    std::vector<std::uint64_t> _distinct;
    std::vector<std::uint32_t> _indexes;
};

} // namespace cli
