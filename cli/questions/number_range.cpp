#include "cli/questions/number_range.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <utility>

namespace cli {
namespace {

constexpr auto kLargestNumber = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
constexpr NumberRange kNone{1, 0};

NumberRange from(std::uint64_t number) { return {number, std::numeric_limits<std::uint64_t>::max()}; }

NumberRange below(std::uint64_t number) { return number == 0 ? kNone : NumberRange{0, number - 1}; }

/** The least numbers that are not less than what is compared with, and that are greater. */
struct Bounds {
    std::uint64_t not_less;
    std::uint64_t greater;
};

Bounds bounds_of(std::int64_t operand) {
    const auto number = static_cast<std::uint64_t>(operand);
    return operand < 0 ? Bounds{0, 0} : Bounds{number, number + 1};
}

Bounds bounds_of(double operand) {
    constexpr double kTwoTo63 = 9223372036854775808.0;
    if (operand < 0) {
        return {0, 0};
    }
    if (operand >= kTwoTo63) {
        return {kLargestNumber + 1, kLargestNumber + 1}; // texts, which are greater
    }
    const auto number = static_cast<std::uint64_t>(operand);
    return operand == std::floor(operand) ? Bounds{number, number + 1} : Bounds{number + 1, number + 1};
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
    return bounds.not_less == bounds.greater ? kNone : NumberRange{bounds.not_less, bounds.not_less};
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
