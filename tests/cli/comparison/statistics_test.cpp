#include "cli/comparison/statistics.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <numeric>
#include <optional>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace {

using cli::ShareMatrix;
using cli::Sides;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/** Devices of which each has the shares of one row; the other places stay 0. */
ShareMatrix matrix(const std::vector<std::vector<double>> &rows) {
    ShareMatrix shares(rows.size());
    for (std::size_t row = 0; row < rows.size(); ++row) {
        std::ranges::copy(rows[row], shares.row(row).begin());
    }
    return shares;
}

std::vector<std::vector<double>> random_rows(std::size_t count, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    std::vector<std::vector<double>> rows(count, std::vector<double>(5));
    for (std::vector<double> &row : rows) {
        for (double &share : row) {
            share = static_cast<double>(random() % 8) / 7;
        }
        std::ranges::sort(row);
    }
    return rows;
}

/** The greatest difference of the means of those that are on a and of the others. */
double greatest_difference(const std::vector<std::vector<double>> &rows, const std::vector<bool> &is_a) {
    double greatest = 0;
    for (std::size_t cut = 0; cut < rows.front().size(); ++cut) {
        double sums[2] = {};
        double counts[2] = {};
        for (std::size_t row = 0; row < rows.size(); ++row) {
            sums[is_a[row]] += rows[row][cut];
            ++counts[is_a[row]];
        }
        greatest = std::max(greatest, std::abs(sums[0] / counts[0] - sums[1] / counts[1]));
    }
    return greatest;
}

/** The share of all sets of rows that may be a, and are as far from the others as the first ones. */
double plain_p(const std::vector<std::vector<double>> &rows, std::size_t a, bool is_paired) {
    std::vector<bool> first(rows.size());
    std::fill_n(first.begin(), a, true);
    const double observed = greatest_difference(rows, first) - 1e-9;
    double all = 0;
    double found = 0;
    for (std::uint64_t set = 0; set < std::uint64_t{1} << rows.size(); ++set) {
        std::vector<bool> is_a(rows.size());
        for (std::size_t row = 0; row < rows.size(); ++row) {
            is_a[row] = (set >> row & 1) != 0;
        }
        bool may_be = static_cast<std::size_t>(std::ranges::count(is_a, true)) == a;
        for (std::size_t row = 0; is_paired && row < a; ++row) {
            may_be = may_be && is_a[row] != is_a[a + row];
        }
        if (may_be) {
            ++all;
            found += greatest_difference(rows, is_a) >= observed;
        }
    }
    return found / all;
}

TEST(Permutation, ExactTestsSeeEveryAssignmentOnce) {
    const Sides kSides[] = {{1, 1, false}, {1, 5, false}, {4, 3, false}, {4, 4, false}, {2, 9, false}};
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
        for (const Sides &sides : kSides) {
            const auto rows = random_rows(sides.a + sides.b, seed);
            EXPECT_NEAR(cli::permutation_p(matrix(rows), sides, {1, 1}), plain_p(rows, sides.a, false), 1e-12);
        }
    }
}

TEST(Permutation, PairedDevicesAreSwappedWithinThemselves) {
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
        for (const std::size_t devices : {1U, 2U, 5U}) {
            const auto rows = random_rows(2 * devices, seed);
            EXPECT_NEAR(cli::permutation_p(matrix(rows), {devices, devices, true}, {1, 1}),
                        plain_p(rows, devices, true), 1e-12);
        }
    }
}

/** Twenty devices a side; those of b are `shift` farther, and every device is different. */
std::vector<std::vector<double>> shifted_rows(double shift) {
    std::mt19937_64 random(11);
    std::vector<std::vector<double>> rows;
    for (std::size_t row = 0; row < 40; ++row) {
        rows.push_back({static_cast<double>(random() % 1000) / 2000 + (row < 20 ? 0 : shift)});
    }
    return rows;
}

TEST(Permutation, RandomTestsStopAfterTwentyOrAtTheirLimit) {
    const Sides sides{20, 20, false};
    const double none = cli::permutation_p(matrix(shifted_rows(0)), sides, {1, 100'000});
    EXPECT_NEAR(std::round(20 / none) * none, 20, 1e-9); // 20 of the draws until then
    EXPECT_GT(none, 0.01);

    EXPECT_DOUBLE_EQ(cli::permutation_p(matrix(shifted_rows(0.5)), sides, {1, 999}), 1.0 / 1000);
    EXPECT_DOUBLE_EQ(cli::permutation_p(matrix(shifted_rows(0.5)), sides, {1, 49'999}), 1.0 / 50'000);
}

TEST(Permutation, RandomTestsAreTheSameForASeedAndNearTheExactOnes) {
    const auto rows = shifted_rows(0.05);
    const Sides sides{20, 20, false};
    const double p = cli::permutation_p(matrix(rows), sides, {1, 100'000});
    EXPECT_EQ(cli::permutation_p(matrix(rows), sides, {1, 100'000}), p);
    EXPECT_NE(cli::permutation_p(matrix(rows), sides, {2, 100'000}), p);

    // The mean of 50 seeds is near what 200,000 draws of another generator say.
    double sum = 0;
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
        sum += cli::permutation_p(matrix(rows), sides, {seed, 100'000});
    }
    std::mt19937_64 random(3);
    std::vector<bool> is_a(40);
    std::fill_n(is_a.begin(), 20, true);
    const double observed = greatest_difference(rows, is_a) - 1e-9;
    int found = 0;
    constexpr int kDraws = 20'000;
    for (int draw = 0; draw < kDraws; ++draw) {
        std::shuffle(is_a.begin(), is_a.end(), random);
        found += greatest_difference(rows, is_a) >= observed;
    }
    EXPECT_NEAR(sum / 50 / (static_cast<double>(found) / kDraws), 1, 0.2);
}

TEST(Permutation, RandomSwapsOfPairsAreNearTheExactOnes) {
    // 14 pairs have 16,384 assignments, which are all seen; 15 have more.
    auto rows = random_rows(28, 5);
    const double exact = cli::permutation_p(matrix(rows), {14, 14, true}, {1, 1});
    rows.insert(rows.begin() + 14, rows[0]);
    rows.push_back(rows[0]); // the same on both sides: swapping it changes nothing
    double sum = 0;
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
        sum += cli::permutation_p(matrix(rows), {15, 15, true}, {seed, 100'000});
    }
    EXPECT_NEAR(sum / 50 / exact, 1, 0.2);
}

TEST(Permutation, KnowsTheLeastPThatIsPossible) {
    EXPECT_DOUBLE_EQ(cli::least_p({1, 3, false}), 1.0 / 4);
    EXPECT_DOUBLE_EQ(cli::least_p({4, 4, false}), 2.0 / 70);
    EXPECT_DOUBLE_EQ(cli::least_p({6, 6, true}), 2.0 / 64);
    EXPECT_DOUBLE_EQ(cli::least_p({1, 1, false}), 1);
    EXPECT_EQ(cli::least_p({5000, 5000, false}), 0);
    EXPECT_GE(cli::least_p({5000, 5000, true}), 0);
}

TEST(FalseDiscoveries, AreControlledAsBenjaminiAndHochbergSay) {
    const std::vector<double> p = {0.01, 0.5, 0.02, 0.02, 1, 0.001};
    std::vector<double> expected;
    for (const double own : p) {
        double least = 1;
        for (const double other : p) {
            const auto rank = std::ranges::count_if(p, [other](double one) { return one <= other; });
            if (other >= own) {
                least = std::min(least, other * 6 / static_cast<double>(rank));
            }
        }
        expected.push_back(least);
    }
    const std::vector<double> q = cli::control_false_discoveries(p);
    ASSERT_EQ(q.size(), expected.size());
    for (std::size_t i = 0; i < q.size(); ++i) {
        EXPECT_NEAR(q[i], expected[i], 1e-12);
    }
    EXPECT_TRUE(cli::control_false_discoveries({}).empty());
}

TEST(Distances, AreThoseFromTheMeanOfAllOthers) {
    const std::vector<double> distances = cli::distances_from_others(matrix({{0, 1}, {0.5, 1}, {1, 1}, {0, 0.4}}));
    const double expected[] = {0.5, 0.2, 1 - 0.5 / 3, 0.6};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_NEAR(distances[i], expected[i], 1e-12);
    }
}

TEST(Moved, AreDevicesFartherThanAnyOfTheOthers) {
    // Those of a are 0.15, 0.15 and 0.3 from their others, so 0.2 + 0.3 is the border.
    const ShareMatrix shares = matrix({{0.1}, {0.1}, {0.4}, {0.5}, {0.51}, {0.2}, {1}});
    std::vector<bool> has_moved;
    EXPECT_EQ(cli::count_moved(shares, {3, 4, false}, has_moved), 2U);
    EXPECT_EQ(has_moved, std::vector<bool>({false, false, false, false, true, false, true}));
}

TEST(Moved, DeviationsAreFromTheMedianOfTheOthers) {
    for (std::uint64_t seed = 0; seed < 50; ++seed) {
        std::mt19937_64 random(seed);
        std::vector<double> values(2 + seed % 9);
        for (double &value : values) {
            value = static_cast<double>(random() % 6);
        }
        std::vector<double> expected;
        for (std::size_t i = 0; i < values.size(); ++i) {
            std::vector<double> others = values;
            others.erase(others.begin() + static_cast<std::ptrdiff_t>(i));
            std::ranges::sort(others);
            expected.push_back(std::abs(values[i] - others[(others.size() - 1) / 2]));
        }
        EXPECT_EQ(cli::deviations_from_others(values), expected);
    }
}

std::vector<double> differences(const std::vector<double> &a, const std::vector<double> &b) {
    std::vector<double> all;
    for (const double one : a) {
        for (const double other : b) {
            all.push_back(other - one);
        }
    }
    std::ranges::sort(all);
    return all;
}

TEST(Shift, IsTheMedianOfAllDifferencesWithRanksOfMannAndWhitney) {
    // The rank of the lower end, as printed tables have it for 2.5 % on a side.
    const struct {
        std::size_t a, b, rank;
    } kRows[] = {{4, 4, 1}, {5, 5, 3}, {3, 5, 1}, {6, 6, 6}, {8, 8, 14}, {10, 10, 24}, {7, 9, 13}, {20, 20, 128}};
    for (const auto &[a, b, rank] : kRows) {
        std::mt19937_64 random(a * 100 + b);
        std::vector<double> of_a(a);
        std::vector<double> of_b(b);
        std::ranges::generate(of_a, [&] { return static_cast<double>(random() % 1000); });
        std::ranges::generate(of_b, [&] { return static_cast<double>(random() % 1000) / 8 - 300; });
        const std::vector<double> all = differences(of_a, of_b);
        const std::size_t half = all.size() / 2;
        const double median = all.size() % 2 == 1 ? all[half] : (all[half - 1] + all[half]) / 2;

        const std::optional<cli::Shift> shift = cli::shift_of(of_a, of_b);
        ASSERT_TRUE(shift) << a << " and " << b;
        EXPECT_DOUBLE_EQ(shift->estimate, median);
        EXPECT_DOUBLE_EQ(shift->low, all[rank - 1]) << a << " and " << b;
        EXPECT_DOUBLE_EQ(shift->high, all[all.size() - rank]) << a << " and " << b;
    }
}

TEST(Shift, IsNotThereForFewDevicesAndInfiniteValues) {
    EXPECT_FALSE(cli::shift_of({1}, {2}));
    EXPECT_FALSE(cli::shift_of({1, 2, 3}, {4, 5, 6}));
    EXPECT_TRUE(cli::shift_of({1, 2, 3, 4}, {5, 6, 7, 8}));
    EXPECT_FALSE(cli::shift_of({1, 2, 3, kInfinity}, {5, 6, 7, 8}));
    EXPECT_FALSE(cli::shift_of({1, 2, 3, -1e308}, {5, 6, 7, 1e308}));
}

TEST(Shift, IsThatOfOneStepForManyDevices) {
    std::vector<double> a(300);
    std::iota(a.begin(), a.end(), 0);
    std::vector<double> b = a;
    for (double &value : b) {
        value += 1000;
    }
    const std::optional<cli::Shift> shift = cli::shift_of(a, b);
    ASSERT_TRUE(shift);
    EXPECT_DOUBLE_EQ(shift->estimate, 1000);
    EXPECT_GT(shift->low, 980);
    EXPECT_LT(shift->low, 1000);
    EXPECT_DOUBLE_EQ(shift->high, 2000 - shift->low);
}

} // namespace
