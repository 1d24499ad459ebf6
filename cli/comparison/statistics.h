/** The statistics of a comparison. docs/compare.md names each and says where it is described. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "cli/comparison/result.h"

namespace cli {

/** The most places at which distribution functions are compared while sides are permuted. */
inline constexpr std::size_t kMostCuts = 64;

/** The distribution functions of devices at the same places: a row of `kMostCuts` shares for each device. */
class ShareMatrix {
public:
    explicit ShareMatrix(std::size_t rows) : _rows(rows), _shares(rows * kMostCuts) {}

    std::size_t rows() const { return _rows; }
    std::span<double, kMostCuts> row(std::size_t index) {
        return std::span<double, kMostCuts>(_shares.data() + index * kMostCuts, kMostCuts);
    }
    std::span<const double, kMostCuts> row(std::size_t index) const {
        return std::span<const double, kMostCuts>(_shares.data() + index * kMostCuts, kMostCuts);
    }

    /** Whether all rows are the same. */
    bool has_equal_rows() const;
    /** The matrix without one row. */
    ShareMatrix without(std::size_t row) const;

private:
    std::size_t _rows;
    std::vector<double> _shares; ///< places that are not used are 0 in all rows
};

/** How the devices of a measure may be assigned to the sides. */
struct Sides {
    std::size_t a;  ///< the number of rows of a, which come first
    std::size_t b;  ///< of b
    bool is_paired; ///< row i of a and row i of b are the same device
};

/** The number of assignments of devices to sides; infinite beyond 2^1023. */
double assignments_of(const Sides &sides);

/** The least p that an exact test of these sides can give: an assignment and its mirror image are equally far apart. */
double least_p(const Sides &sides);

struct PermutationOptions {
    std::uint64_t seed;
    std::uint64_t draws; ///< of a test that is not exact, at most
};

/**
 * The share of assignments in which the greatest difference of the sides' means is not below the one there is. All
 * assignments where there are at most 20,000; otherwise random ones, until 20 are not below or `draws` are drawn.
 */
double permutation_p(const ShareMatrix &shares, const Sides &sides, const PermutationOptions &options);

/** p after control of the rate of false discoveries: in the order of `p`. */
std::vector<double> control_false_discoveries(std::span<const double> p);

/** The distance of each row from the mean of all other rows. There must be at least two. */
std::vector<double> distances_from_others(const ShareMatrix &shares);

/** How many rows of b are farther from the mean of a than any row of a from the mean of a's others. */
std::size_t count_moved(const ShareMatrix &shares, const Sides &sides, std::vector<bool> &has_moved);

/** |x - the nearest-rank median of the others|, of each. There must be at least two. */
std::vector<double> deviations_from_others(std::span<const double> values);

/** The nearest-rank median. */
double median_of(std::vector<double> values);

/** @param a, b  the devices' medians; neither is empty. @return nothing where an interval of 95 % does not exist. */
std::optional<Shift> shift_of(std::vector<double> a, std::vector<double> b);

} // namespace cli
