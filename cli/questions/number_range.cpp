#include "cli/questions/number_range.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

namespace cli {
namespace {

constexpr auto kLargestNumber = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
constexpr NumberRange kNone{1, 0};

/** The least numbers that are not less than what is compared with, and that are greater; nothing: there are none. */
struct Bounds {
    std::optional<std::uint64_t> not_less;
    std::optional<std::uint64_t> greater;
};

Bounds bounds_of(std::int64_t operand) {
    const auto number = static_cast<std::uint64_t>(operand);
    return operand < 0 ? Bounds{0, 0} : Bounds{number, number + 1};
}

/** The least number above 2^63 - 1 for which this holds; it holds for all behind it. */
template <typename Holds>
std::optional<std::uint64_t> least_large(const Holds &holds) {
    NumberRange range{kLargestNumber + 1};
    if (!holds(static_cast<double>(range.greatest))) {
        return std::nullopt;
    }
    while (range.least != range.greatest) {
        const std::uint64_t middle = range.least + (range.greatest - range.least) / 2;
        (holds(static_cast<double>(middle)) ? range.greatest : range.least) =
            holds(static_cast<double>(middle)) ? middle : middle + 1;
    }
    return range.least;
}

Bounds bounds_of(double operand) {
    constexpr double kTwoTo63 = 9223372036854775808.0;
    if (operand < 0) {
        return {0, 0};
    }
    if (operand >= kTwoTo63) {
        return {least_large([operand](double number) { return number >= operand; }),
                least_large([operand](double number) { return number > operand; })};
    }
    const auto number = static_cast<std::uint64_t>(operand);
    return operand == std::floor(operand) ? Bounds{number, number + 1} : Bounds{number + 1, number + 1};
}

NumberRange from(const std::optional<std::uint64_t> &number) { return number ? NumberRange{*number} : kNone; }

NumberRange below(const std::optional<std::uint64_t> &number) {
    if (!number) {
        return {};
    }
    return *number == 0 ? kNone : NumberRange{0, *number - 1};
}

NumberRange range_of(Comparison comparison, const Bounds &bounds) {
    switch (comparison) {
    case Comparison::Less:
        return below(bounds.not_less);
    case Comparison::LessOrEqual:
        return below(bounds.greater);
    case Comparison::Greater:
        return from(bounds.greater);
    case Comparison::GreaterOrEqual:
        return from(bounds.not_less);
    case Comparison::Equal:
        break;
    }
    return bounds.not_less == bounds.greater ? kNone : NumberRange{*bounds.not_less, below(bounds.greater).greatest};
}

} // namespace

NumberRange range_of(Comparison comparison, const Operand &operand) {
    switch (operand.type) {
    case Operand::Type::Null:
        return kNone;
    case Operand::Type::Integer:
        return range_of(comparison, bounds_of(operand.integer));
    case Operand::Type::Real:
        return range_of(comparison, bounds_of(operand.real));
    default:
        return {};
    }
}

void NumberSet::restrict_to(const ColumnCondition &condition) {
    _is_restricted = true;
    std::vector<NumberRange> ranges;
    for (const Operand &operand : condition.operands) {
        if (const NumberRange range = range_of(condition.comparison, operand); range.least <= range.greatest) {
            ranges.push_back(range);
        }
    }
    std::ranges::sort(ranges, {}, &NumberRange::least);
    // Those of a list are single numbers, or all of them.
    const bool has_all = std::ranges::any_of(ranges, [](const NumberRange &range) {
        return range.least == 0 && range.greatest == std::numeric_limits<std::uint64_t>::max();
    });
    if (ranges.empty()) {
        _range = kNone;
    } else if (!has_all) {
        _range.least = std::max(_range.least, ranges.front().least);
        _range.greatest = std::min(_range.greatest, ranges.back().greatest);
        if (ranges.size() > 1) {
            _lists.push_back(std::move(ranges));
        }
    }
}

bool NumberSet::is_in_lists(std::uint64_t number) const {
    return std::ranges::all_of(_lists, [number](const std::vector<NumberRange> &ranges) {
        const auto after = std::ranges::upper_bound(ranges, number, {}, &NumberRange::least);
        return after != ranges.begin() && std::prev(after)->includes(number);
    });
}

} // namespace cli
