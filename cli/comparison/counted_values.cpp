#include "cli/comparison/counted_values.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <utility>

namespace cli {
namespace {

constexpr std::uint64_t kMostExact = std::uint64_t{1} << 53;
constexpr std::uint64_t kSign = std::uint64_t{1} << 63;
constexpr std::uint64_t kMostCount = std::numeric_limits<std::int64_t>::max();
const std::uint64_t kBitsOfMostExact = std::bit_cast<std::uint64_t>(static_cast<double>(kMostExact));
/** The key of 2^64, to which the greatest numbers are rounded. */
const std::uint64_t kMostWholeKey =
    kMostExact + (std::bit_cast<std::uint64_t>(18446744073709551616.0) - kBitsOfMostExact);

/** Of the first byte of a value: its count follows, further bytes of the difference follow. */
constexpr unsigned kHasCount = 0x01;
constexpr unsigned kGoesOn = 0x80;

void append_number(std::string &bytes, std::uint64_t number) {
    while (number >= kGoesOn) {
        bytes += static_cast<char>(number % kGoesOn | kGoesOn);
        number /= kGoesOn;
    }
    bytes += static_cast<char>(number);
}

/** The next byte; 0 at the end, which only hostile bytes have too early. */
unsigned take_byte(std::string_view &bytes) {
    if (bytes.empty()) {
        return 0;
    }
    const auto byte = static_cast<unsigned char>(bytes.front());
    bytes.remove_prefix(1);
    return byte;
}

/** @param shift  of the first byte's bits. */
std::uint64_t take_number(std::string_view &bytes, unsigned shift) {
    std::uint64_t number = 0;
    unsigned byte = kGoesOn;
    for (; (byte & kGoesOn) != 0 && shift < 64; shift += 7) {
        byte = take_byte(bytes);
        number |= std::uint64_t{byte % kGoesOn} << shift;
    }
    return number;
}

bool is_key_of(std::uint64_t key, ValueForm form) {
    switch (form) {
    case ValueForm::Whole:
        return key <= kMostWholeKey;
    case ValueForm::Real:
        return key_of_real(value_of_key(key, form, 0)) == key && !std::isnan(value_of_key(key, form, 0));
    case ValueForm::Fixed:
        break;
    }
    return key <= std::numeric_limits<std::uint32_t>::max();
}

} // namespace

std::uint64_t key_of_whole(std::uint64_t number) {
    return number <= kMostExact
               ? number
               : kMostExact + (std::bit_cast<std::uint64_t>(static_cast<double>(number)) - kBitsOfMostExact);
}

std::uint64_t key_of_real(double number) {
    const auto bits = std::bit_cast<std::uint64_t>(number == 0 ? 0.0 : number);
    return (bits & kSign) != 0 ? ~bits : bits | kSign;
}

double value_of_key(std::uint64_t key, ValueForm form, unsigned fraction_bits) {
    switch (form) {
    case ValueForm::Whole:
        return key <= kMostExact ? static_cast<double>(key)
                                 : std::bit_cast<double>(kBitsOfMostExact + (key - kMostExact));
    case ValueForm::Real:
        return std::bit_cast<double>((key & kSign) != 0 ? key & ~kSign : ~key);
    case ValueForm::Fixed:
        break;
    }
    const auto number = static_cast<std::int32_t>(static_cast<std::uint32_t>(key) ^ 0x8000'0000U);
    return std::ldexp(number, -static_cast<int>(fraction_bits));
}

std::uint64_t sum_of_counts(std::uint64_t a, std::uint64_t b) { return b > kMostCount - a ? kMostCount : a + b; }

CountedValues::CountedValues(std::span<const CountedValue> values) {
    std::uint64_t before = 0;
    for (const auto &[key, count] : values) {
        const std::uint64_t step = key - before;
        before = key;
        const std::uint64_t rest = step >> 6;
        _bytes += static_cast<char>((count > 1 ? kHasCount : 0) | (step & 0x3F) << 1 | (rest != 0 ? kGoesOn : 0));
        if (rest != 0) {
            append_number(_bytes, rest);
        }
        if (count > 1) {
            append_number(_bytes, count - 1);
        }
    }
    _bytes.shrink_to_fit();
}

CountedValue CountedValues::take_next(std::string_view &bytes, std::uint64_t before) {
    const unsigned first = take_byte(bytes);
    std::uint64_t step = (first & ~kGoesOn) >> 1;
    if ((first & kGoesOn) != 0) {
        step |= take_number(bytes, 6);
    }
    return {before + step, (first & kHasCount) != 0 ? take_number(bytes, 0) + 1 : 1};
}

std::optional<CountedValues> CountedValues::from_bytes(std::string_view bytes, ValueForm form) {
    std::vector<CountedValue> values;
    std::string_view left = bytes;
    while (!left.empty()) {
        const CountedValue value = take_next(left, values.empty() ? 0 : values.back().key);
        const bool is_in_order = values.empty() || value.key > values.back().key;
        if (!is_in_order || value.count == 0 || value.count > kMostCount || !is_key_of(value.key, form)) {
            return std::nullopt;
        }
        values.push_back(value);
    }
    CountedValues result(values);
    // What is written in another way than it would be here was not written here.
    return result._bytes == bytes && !values.empty() ? std::optional(std::move(result)) : std::nullopt;
}

std::vector<CountedValue> CountedValues::decoded() const {
    std::vector<CountedValue> values;
    for_each([&values](const CountedValue &value) { values.push_back(value); });
    return values;
}

std::vector<CountedValue> merge_counts(std::span<const CountedValue> a, std::span<const CountedValue> b) {
    std::vector<CountedValue> merged;
    merged.reserve(a.size() + b.size());
    while (!a.empty() && !b.empty()) {
        const bool takes_a = a.front().key <= b.front().key;
        const bool takes_b = b.front().key <= a.front().key;
        const std::uint64_t key = takes_a ? a.front().key : b.front().key;
        merged.push_back({key, sum_of_counts(takes_a ? a.front().count : 0, takes_b ? b.front().count : 0)});
        a = a.subspan(takes_a ? 1 : 0);
        b = b.subspan(takes_b ? 1 : 0);
    }
    merged.insert(merged.end(), a.begin(), a.end());
    merged.insert(merged.end(), b.begin(), b.end());
    return merged;
}

void ValueGatherer::settle() {
    std::sort(_pending.begin(), _pending.end());
    std::vector<CountedValue> counted;
    for (const std::uint64_t key : _pending) {
        if (counted.empty() || counted.back().key != key) {
            counted.push_back({key, 0});
        }
        ++counted.back().count;
    }
    _pending.clear();
    _settled = _settled.empty() ? std::move(counted) : merge_counts(_settled, counted);
    // Waiting for as many as there are makes the merging take as long as the sorting, however many there are.
    _limit = std::max(kLeastPending, 2 * _settled.size());
}

std::vector<CountedValue> ValueGatherer::take() {
    settle();
    _limit = kLeastPending;
    return std::exchange(_settled, {});
}

} // namespace cli
