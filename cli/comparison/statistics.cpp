#include "cli/comparison/statistics.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>

#include "cli/comparison/counted_values.h"

namespace cli {
namespace {

constexpr double kMostExactAssignments = 20'000;
constexpr std::uint64_t kEnough = 20;  ///< assignments not below the one there is
constexpr double kRounding = 1e-9;     ///< of sums of shares: what differs by less is equal
constexpr double kEqualShares = 1e-12; ///< the same of single shares
constexpr std::size_t kMostExactRanks = 50;
constexpr double kTwoSidedNormal = 1.959963984540054; ///< leaves 2.5 % of the normal distribution on either side
constexpr double kOneSide = 0.025;

using Row = std::array<double, kMostCuts>;

/** Vigna's SplitMix64: 64 random bits a step, the same everywhere. */
class RandomBits {
public:
    explicit RandomBits(std::uint64_t seed) : _state(seed) {}

    std::uint64_t next() {
        std::uint64_t bits = _state += 0x9E37'79B9'7F4A'7C15;
        bits = (bits ^ bits >> 30) * 0xBF58'476D'1CE4'E5B9;
        bits = (bits ^ bits >> 27) * 0x94D0'49BB'1331'11EB;
        return bits ^ bits >> 31;
    }

    std::size_t below(std::size_t bound) {
        __extension__ using Wide = unsigned __int128;
        return static_cast<std::size_t>(Wide{next()} * bound >> 64);
    }

private:
    std::uint64_t _state;
};

void add(Row &sum, std::span<const double, kMostCuts> row) {
    for (std::size_t cut = 0; cut < kMostCuts; ++cut) {
        sum[cut] += row[cut];
    }
}

void subtract(Row &sum, std::span<const double, kMostCuts> row) {
    for (std::size_t cut = 0; cut < kMostCuts; ++cut) {
        sum[cut] -= row[cut];
    }
}

Row sum_of(const ShareMatrix &shares, std::size_t begin, std::size_t end) {
    Row sum{};
    for (std::size_t row = begin; row < end; ++row) {
        add(sum, shares.row(row));
    }
    return sum;
}

/** The greatest difference of two sums, each multiplied by its own factor. */
template <typename One, typename Other>
double greatest_difference(const One &one, double factor, const Other &other, double other_factor) {
    double greatest = 0;
    for (std::size_t cut = 0; cut < kMostCuts; ++cut) {
        greatest = std::max(greatest, std::abs(one[cut] * factor - other[cut] * other_factor));
    }
    return greatest;
}

double reciprocal(std::size_t number) { return 1 / static_cast<double>(number); }

/** Counts assignments that are at least as far apart as the one there is. */
class Exceedances {
public:
    explicit Exceedances(double observed) : _observed(observed - kRounding) {}

    void see(double difference) {
        ++_seen;
        _found += difference >= _observed ? 1 : 0;
    }

    std::uint64_t found() const { return _found; }
    /** Of all assignments. */
    double share() const { return static_cast<double>(_found) / static_cast<double>(_seen); }
    /** Of a random part of them, which never shows that there is none. */
    double estimate() const {
        return _found >= kEnough ? share() : static_cast<double>(1 + _found) / static_cast<double>(1 + _seen);
    }

private:
    double _observed;
    std::uint64_t _seen = 0;
    std::uint64_t _found = 0;
};

/** Assignments of all devices to sides of the same sizes. */
class FreeAssignments {
public:
    FreeAssignments(const ShareMatrix &shares, const Sides &sides)
        : _shares(shares), _size(std::min(sides.a, sides.b)), _rows(sides.a + sides.b),
          _all(sum_of(shares, 0, sides.a + sides.b)) {}

    double observed(const Sides &sides) const {
        return sides.a <= sides.b ? difference(sum_of(_shares, 0, sides.a))
                                  : difference(sum_of(_shares, sides.a, _rows));
    }

    void see_all(Exceedances &exceedances) const {
        std::vector<std::size_t> chosen(_size);
        std::iota(chosen.begin(), chosen.end(), std::size_t{0});
        Row sum = sum_of(_shares, 0, _size);
        for (;;) {
            exceedances.see(difference(sum));
            std::size_t place = _size;
            while (place != 0 && chosen[place - 1] == _rows - _size + place - 1) {
                --place;
            }
            if (place == 0) {
                return;
            }
            ++chosen[place - 1];
            std::iota(chosen.begin() + static_cast<std::ptrdiff_t>(place), chosen.end(), chosen[place - 1] + 1);
            sum = {};
            for (const std::size_t row : chosen) {
                add(sum, _shares.row(row));
            }
        }
    }

    void see_some(Exceedances &exceedances, const PermutationOptions &options) const {
        RandomBits random(options.seed);
        std::vector<std::size_t> order(_rows);
        std::iota(order.begin(), order.end(), std::size_t{0});
        for (std::uint64_t draw = 0; draw < options.draws && exceedances.found() < kEnough; ++draw) {
            Row sum{};
            for (std::size_t place = 0; place < _size; ++place) {
                std::swap(order[place], order[place + random.below(_rows - place)]);
                add(sum, _shares.row(order[place]));
            }
            exceedances.see(difference(sum));
        }
    }

private:
    /** @param sum  of the smaller side. */
    double difference(const Row &sum) const {
        const double factor = reciprocal(_size);
        const double other_factor = reciprocal(_rows - _size);
        return greatest_difference(sum, factor + other_factor, _all, other_factor);
    }

    const ShareMatrix &_shares;
    std::size_t _size; ///< of the smaller side
    std::size_t _rows;
    Row _all;
};

/** Assignments that swap the two sides of some devices. */
class PairedAssignments {
public:
    PairedAssignments(const ShareMatrix &shares, std::size_t devices) : _differences(devices) {
        for (std::size_t device = 0; device < devices; ++device) {
            std::ranges::copy(shares.row(device), _differences[device].begin());
            subtract(_differences[device], shares.row(devices + device));
        }
    }

    double observed() const {
        return difference([](std::size_t) { return false; });
    }

    void see_all(Exceedances &exceedances) const {
        for (std::uint64_t swapped = 0; swapped < std::uint64_t{1} << _differences.size(); ++swapped) {
            exceedances.see(difference([swapped](std::size_t device) { return (swapped >> device & 1) != 0; }));
        }
    }

    void see_some(Exceedances &exceedances, const PermutationOptions &options) const {
        RandomBits random(options.seed);
        for (std::uint64_t draw = 0; draw < options.draws && exceedances.found() < kEnough; ++draw) {
            std::uint64_t bits = 0;
            exceedances.see(difference([&](std::size_t device) {
                bits = device % 64 == 0 ? random.next() : bits >> 1;
                return (bits & 1) != 0;
            }));
        }
    }

private:
    template <typename IsSwapped>
    double difference(const IsSwapped &is_swapped) const {
        Row sum{};
        for (std::size_t device = 0; device < _differences.size(); ++device) {
            if (is_swapped(device)) {
                subtract(sum, _differences[device]);
            } else {
                add(sum, _differences[device]);
            }
        }
        return greatest_difference(sum, reciprocal(_differences.size()), Row{}, 0);
    }

    std::vector<Row> _differences; ///< by device: a less b
};

/** The number of ways to choose `count` of `all`; infinite where that is beyond the range of double. */
double choices(std::size_t all, std::size_t count) {
    const std::size_t steps = std::min(count, all - count);
    double ways = 1;
    for (std::size_t step = 1; step <= steps && std::isfinite(ways); ++step) {
        ways = ways * static_cast<double>(all - steps + step) / static_cast<double>(step);
    }
    return std::round(ways);
}

/** How many differences b - a are at most `most`. @param a, b  in ascending order. */
std::uint64_t count_differences(std::span<const double> a, std::span<const double> b, double most) {
    std::uint64_t count = 0;
    std::size_t last = b.size(); // those before it are at most `most` from the current one of a
    for (std::size_t i = a.size(); i-- != 0;) {
        while (last != 0 && b[last - 1] - a[i] > most) {
            --last;
        }
        count += last;
    }
    return count;
}

/** The difference at `rank`, from 1, of all b - a in ascending order. @param a, b  finite, in ascending order. */
double difference_at(std::span<const double> a, std::span<const double> b, std::uint64_t rank) {
    std::uint64_t low = key_of_real(b.front() - a.back());
    std::uint64_t high = key_of_real(b.back() - a.front());
    while (low != high) {
        const std::uint64_t middle = low + (high - low) / 2;
        if (count_differences(a, b, value_of_key(middle, ValueForm::Real, 0)) >= rank) {
            high = middle;
        } else {
            low = middle + 1;
        }
    }
    return value_of_key(low, ValueForm::Real, 0);
}

/** The distribution of the Mann-Whitney statistic: how many of all orders of ranks give each value. */
std::vector<double> rank_orders(std::size_t a, std::size_t b) {
    // ways[u] of i ranks of one side among j of the other: the greatest rank is of one or of the other.
    std::vector<std::vector<double>> ways(b + 1, std::vector<double>(1, 1));
    for (std::size_t i = 1; i <= a; ++i) {
        std::vector<std::vector<double>> next(b + 1, std::vector<double>(1, 1));
        for (std::size_t j = 1; j <= b; ++j) {
            std::vector<double> &sum = next[j];
            sum.assign(i * j + 1, 0);
            for (std::size_t u = 0; u < ways[j].size(); ++u) {
                sum[u + j] += ways[j][u];
            }
            for (std::size_t u = 0; u < next[j - 1].size(); ++u) {
                sum[u] += next[j - 1][u];
            }
        }
        ways = std::move(next);
    }
    return ways[b];
}

/** The rank, from 1, of the interval's lower end among all differences; 0 where there is none. */
std::uint64_t rank_of_low_end(std::size_t a, std::size_t b) {
    const double pairs = static_cast<double>(a) * static_cast<double>(b);
    if (a + b > kMostExactRanks) {
        const double deviation = std::sqrt(pairs * static_cast<double>(a + b + 1) / 12);
        return static_cast<std::uint64_t>(std::max(0.0, std::floor(pairs / 2 - kTwoSidedNormal * deviation)));
    }
    const std::vector<double> ways = rank_orders(a, b);
    const double most = kOneSide * std::accumulate(ways.begin(), ways.end(), 0.0);
    double sum = 0;
    std::uint64_t rank = 0;
    for (const double way : ways) {
        sum += way;
        if (sum > most) {
            break;
        }
        ++rank;
    }
    return rank;
}

} // namespace

bool ShareMatrix::has_equal_rows() const {
    for (std::size_t index = 1; index < _rows; ++index) {
        if (greatest_difference(row(0), 1, row(index), 1) > kEqualShares) {
            return false;
        }
    }
    return true;
}

ShareMatrix ShareMatrix::without(std::size_t row) const {
    ShareMatrix rest(_rows - 1);
    rest._shares = _shares;
    const auto begin = rest._shares.begin() + static_cast<std::ptrdiff_t>(row * kMostCuts);
    rest._shares.erase(begin, begin + static_cast<std::ptrdiff_t>(kMostCuts));
    return rest;
}

double assignments_of(const Sides &sides) {
    return sides.is_paired ? std::ldexp(1.0, static_cast<int>(std::min<std::size_t>(sides.a, 1023)))
                           : choices(sides.a + sides.b, sides.a);
}

double least_p(const Sides &sides) {
    return std::min(1.0, (sides.is_paired || sides.a == sides.b ? 2 : 1) / assignments_of(sides));
}

double permutation_p(const ShareMatrix &shares, const Sides &sides, const PermutationOptions &options) {
    const bool is_exact = assignments_of(sides) <= kMostExactAssignments;
    const auto test = [&](const auto &assignments, double observed) {
        Exceedances exceedances(observed);
        if (is_exact) {
            assignments.see_all(exceedances);
            return exceedances.share();
        }
        assignments.see_some(exceedances, options);
        return exceedances.estimate();
    };
    if (sides.is_paired) {
        const PairedAssignments paired(shares, sides.a);
        return test(paired, paired.observed());
    }
    const FreeAssignments free(shares, sides);
    return test(free, free.observed(sides));
}

std::vector<double> control_false_discoveries(std::span<const double> p) {
    std::vector<std::size_t> order(p.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, {}, [&p](std::size_t index) { return p[index]; });
    std::vector<double> q(p.size());
    double least = 1;
    for (std::size_t rank = order.size(); rank != 0; --rank) {
        const std::size_t index = order[rank - 1];
        least = std::min(least, p[index] * static_cast<double>(p.size()) / static_cast<double>(rank));
        q[index] = least;
    }
    return q;
}

std::vector<double> distances_from_others(const ShareMatrix &shares) {
    const Row all = sum_of(shares, 0, shares.rows());
    const double factor = reciprocal(shares.rows() - 1);
    std::vector<double> distances;
    for (std::size_t row = 0; row < shares.rows(); ++row) {
        Row others = all;
        subtract(others, shares.row(row));
        distances.push_back(greatest_difference(shares.row(row), 1, others, factor));
    }
    return distances;
}

std::size_t count_moved(const ShareMatrix &shares, const Sides &sides, std::vector<bool> &has_moved) {
    const Row all = sum_of(shares, 0, sides.a);
    double usual = 0;
    for (std::size_t row = 0; row < sides.a; ++row) {
        Row others = all;
        subtract(others, shares.row(row));
        usual = std::max(usual, greatest_difference(shares.row(row), 1, others, reciprocal(sides.a - 1)));
    }
    std::size_t count = 0;
    has_moved.assign(sides.a + sides.b, false);
    for (std::size_t row = sides.a; row < sides.a + sides.b; ++row) {
        has_moved[row] = greatest_difference(shares.row(row), 1, all, reciprocal(sides.a)) > usual + kRounding;
        count += has_moved[row] ? 1 : 0;
    }
    return count;
}

double median_of(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>((values.size() - 1) / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

std::vector<double> deviations_from_others(std::span<const double> values) {
    std::vector<double> sorted(values.begin(), values.end());
    std::ranges::sort(sorted);
    const std::size_t middle = (values.size() - 2) / 2; // of the others, which are one less
    std::vector<double> deviations;
    for (const double value : values) {
        const auto place = static_cast<std::size_t>(std::ranges::lower_bound(sorted, value) - sorted.begin());
        deviations.push_back(std::abs(value - sorted[place <= middle ? middle + 1 : middle]));
    }
    return deviations;
}

std::optional<Shift> shift_of(std::vector<double> a, std::vector<double> b) {
    std::ranges::sort(a);
    std::ranges::sort(b);
    const std::uint64_t pairs = std::uint64_t{a.size()} * b.size();
    const std::uint64_t low = rank_of_low_end(a.size(), b.size());
    const bool is_finite = std::isfinite(a.front()) && std::isfinite(a.back()) && std::isfinite(b.front()) &&
                           std::isfinite(b.back()) && std::isfinite(b.front() - a.back()) &&
                           std::isfinite(b.back() - a.front());
    if (low == 0 || !is_finite) {
        return std::nullopt;
    }
    const double upper_middle = difference_at(a, b, pairs / 2 + 1);
    const double estimate = pairs % 2 == 1 ? upper_middle : std::midpoint(difference_at(a, b, pairs / 2), upper_middle);
    return Shift{estimate, difference_at(a, b, low), difference_at(a, b, pairs + 1 - low)};
}

} // namespace cli
