#include "cli/recordings/distribution_statistics.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "cli/terminal/histogram.h"

namespace cli {
namespace {

std::uint64_t total_count(const host::Distribution &distribution) {
    std::uint64_t count = 0;
    for (const auto &[value, times] : distribution) {
        count = saturating_sum(count, times);
    }
    return count;
}

long double exact_sum(const host::Distribution &distribution) {
    long double sum = 0;
    for (const auto &[value, times] : distribution) {
        sum += static_cast<long double>(value) * static_cast<long double>(times);
    }
    return sum;
}

} // namespace

std::uint64_t nearest_rank(std::uint64_t count, unsigned percent) {
    return count / 100 * percent + (count % 100 * percent + 99) / 100;
}

double percentile(const host::Distribution &distribution, unsigned percent) {
    const std::uint64_t rank = nearest_rank(total_count(distribution), percent);
    std::uint64_t passed = 0;
    for (const auto &[value, times] : distribution) {
        passed = saturating_sum(passed, times);
        if (passed >= rank) {
            return value;
        }
    }
    return distribution.rbegin()->first;
}

DistributionStatistics statistics_of(const host::Distribution &distribution) {
    const std::uint64_t count = total_count(distribution);
    const long double sum = exact_sum(distribution);
    return {count,
            static_cast<double>(sum),
            static_cast<double>(sum / static_cast<long double>(count)),
            distribution.begin()->first,
            percentile(distribution, 50),
            percentile(distribution, 90),
            percentile(distribution, 99),
            distribution.rbegin()->first};
}

std::vector<std::uint64_t> histogram(const host::Distribution &distribution, std::size_t bins) {
    host::Distribution finite;
    std::copy_if(distribution.begin(), distribution.end(), std::inserter(finite, finite.end()),
                 [](const auto &entry) { return std::isfinite(entry.first); });
    if (finite.empty()) {
        return {};
    }
    HistogramCounts parts(finite.begin()->first, finite.rbegin()->first, bins);
    for (const auto &[value, times] : finite) {
        parts.add(value, times);
    }
    return parts.counts();
}

} // namespace cli
