/** Statistics of a distribution, from its exact counts. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/store/analytics_store.h"

namespace cli {

/** Of a distribution that is not empty. */
struct DistributionStatistics {
    std::uint64_t count; ///< at most 2^64 - 1
    double sum;          ///< computed in extended precision, which is exact for values from firmware
    double mean;
    double minimum;
    /** Percentiles by nearest rank: the smallest value that at least N percent of all values do not exceed. */
    double p50;
    double p90;
    double p99;
    double maximum;
};

/** The rank, from 1, of a percentile among `count` values: `count` * `percent` / 100, rounded up, without overflow. */
std::uint64_t nearest_rank(std::uint64_t count, unsigned percent);

/** @param distribution  not empty. */
DistributionStatistics statistics_of(const host::Distribution &distribution);

/**
 * The percentile by nearest rank.
 * @param distribution  not empty.
 * @param percent       from 1 to 100.
 */
double percentile(const host::Distribution &distribution, unsigned percent);

/**
 * Counts the values in each of `bins` equal parts of the range from the smallest to the greatest finite value. A border
 * belongs to the part above it. A single value lies in the first part. Infinite values are ignored.
 * @return `bins` counts; empty when no value is finite.
 */
std::vector<std::uint64_t> histogram(const host::Distribution &distribution, std::size_t bins);

} // namespace cli
