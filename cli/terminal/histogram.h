/** Histograms in one line of text: how many values lie in each of equal parts of a range, as a row of bars. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace cli {

/** The most bars of a distribution. */
inline constexpr std::size_t kBars = 12;

/** `a` + `b`, or the greatest number where that is more. */
std::uint64_t saturating_sum(std::uint64_t a, std::uint64_t b);

/** Counts values in equal parts of a range. A border belongs to the part above it. */
class HistogramCounts {
public:
    /**
     * @param least  finite, as `greatest`, which is not below it; when they are equal, all values lie in the first
     * part.
     * @param parts  at least 1.
     */
    HistogramCounts(double least, double greatest, std::size_t parts);

    /** Counts a value `times` times. A part holds at most 2^64 - 1. @param value  in the range. */
    void add(double value, std::uint64_t times);

    /** One count for each part. */
    const std::vector<std::uint64_t> &counts() const { return _counts; }

private:
    long double _least;
    long double _range;
    std::vector<std::uint64_t> _counts;
};

/**
 * A bar for each count, one column wide each and the highest for the greatest count; 0 is a space.
 * @param shows_blocks  block characters can be drawn; else the bars are ASCII.
 */
std::string bars_text(const std::vector<std::uint64_t> &counts, bool shows_blocks);

} // namespace cli
