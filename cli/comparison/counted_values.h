/** A counted distribution in few bytes: what a comparison keeps of each device and measure. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

/** A value as a number that orders like it, and how often it is there. */
struct CountedValue {
    std::uint64_t key;
    std::uint64_t count; ///< above 0
};

/** How keys stand for values. Keys order as the values do, and distinct values have distinct keys. */
enum class ValueForm : std::uint8_t {
    Whole, ///< 0 to 2^64; above 2^53 as the nearest double
    Real,  ///< any but NaN; -0 is 0
    Fixed  ///< signed 32 bits with fraction bits
};

std::uint64_t key_of_whole(std::uint64_t number);
std::uint64_t key_of_real(double number);

/** The value of a key. @param fraction_bits  of the form Fixed. */
double value_of_key(std::uint64_t key, ValueForm form, unsigned fraction_bits);

/** Adds counts; stops at 2^63 - 1, as the counts of a store do. */
std::uint64_t sum_of_counts(std::uint64_t a, std::uint64_t b);

/**
 * Distinct values in ascending order with their counts, as differences of variable length: about four bytes for each
 * value that is there once.
 */
class CountedValues {
public:
    CountedValues() = default;

    /** @param values  in strictly ascending order of keys. */
    explicit CountedValues(std::span<const CountedValue> values);

    /** From bytes that may be hostile. @return nothing unless they are such values, all of `form`. */
    static std::optional<CountedValues> from_bytes(std::string_view bytes, ValueForm form);

    const std::string &bytes() const { return _bytes; }
    std::vector<CountedValue> decoded() const;

    /** Calls `visit` with each value, in ascending order. */
    template <typename Visit>
    void for_each(const Visit &visit) const {
        std::uint64_t key = 0;
        std::string_view left = _bytes;
        while (!left.empty()) {
            const CountedValue value = take_next(left, key);
            key = value.key;
            visit(value);
        }
    }

private:
    static CountedValue take_next(std::string_view &bytes, std::uint64_t before);

    std::string _bytes;
};

/** The counts of both, in ascending order. @param a, b  in strictly ascending order. */
std::vector<CountedValue> merge_counts(std::span<const CountedValue> a, std::span<const CountedValue> b);

/** Gathers values in any order. Memory: 16 bytes for each distinct value, and as much while they are merged. */
class ValueGatherer {
public:
    void add(std::uint64_t key) {
        _pending.push_back(key);
        if (_pending.size() >= _limit) {
            settle();
        }
    }

    bool empty() const { return _pending.empty() && _settled.empty(); }

    /** The values so far, and begins anew. */
    std::vector<CountedValue> take();

private:
    static constexpr std::size_t kLeastPending = 4096;

    void settle();

    std::vector<std::uint64_t> _pending;
    std::vector<CountedValue> _settled;
    std::size_t _limit = kLeastPending;
};

} // namespace cli
