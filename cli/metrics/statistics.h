/** What a distribution amounts to, from its exact counts. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/store/analytics_store.h"

namespace cli {

/** Of at least one value. */
struct DistributionStatistics {
    std::uint64_t count; ///< stops at 2^64 - 1
    double sum;          ///< added up in extended precision, which is exact for what a firmware publishes
    double mean;
    double minimum;
    /** Percentiles by nearest rank: the least value that at least so many percent of all values do not exceed. */
    double p50;
    double p90;
    double p99;
    double maximum;
};

/** @param distribution holds at least one value. */
DistributionStatistics statistics_of(const host::Distribution &distribution);

/**
 * The percentile by nearest rank.
 * @param distribution holds at least one value.
 * @param percent      from 1 to 100.
 */
double percentile(const host::Distribution &distribution, unsigned percent);

/**
 * How many values lie in each of `bins` equal parts of the range from the least to the greatest finite value; a border
 * belongs to the part above it. One value alone lies in the first part. Infinite values lie in none.
 * @return `bins` counts; empty when no value is finite.
 */
std::vector<std::uint64_t> histogram(const host::Distribution &distribution, std::size_t bins);

} // namespace cli
