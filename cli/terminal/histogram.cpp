#include "cli/terminal/histogram.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string_view>

namespace cli {
namespace {

/** From the lowest bar to the highest. */
constexpr std::array<std::string_view, 8> kBlocks{"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr std::array<std::string_view, 8> kAsciiBars{".", ":", "-", "=", "+", "*", "#", "@"};

} // namespace

std::uint64_t saturating_sum(std::uint64_t a, std::uint64_t b) {
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
    return b > kMost - a ? kMost : a + b;
}

HistogramCounts::HistogramCounts(double least, double greatest, std::size_t parts)
    : _least(least), _range(static_cast<long double>(greatest) - _least), _counts(parts, 0) {}

void HistogramCounts::add(double value, std::uint64_t times) {
    const long double share = _range > 0 ? (static_cast<long double>(value) - _least) / _range : 0;
    const auto part = static_cast<std::size_t>(share * static_cast<long double>(_counts.size()));
    std::uint64_t &count = _counts[std::min(part, _counts.size() - 1)];
    count = saturating_sum(count, times);
}

std::string bars_text(const std::vector<std::uint64_t> &counts, bool shows_blocks) {
    const std::uint64_t most = counts.empty() ? 0 : *std::max_element(counts.begin(), counts.end());
    const auto &signs = shows_blocks ? kBlocks : kAsciiBars;
    std::string bars;
    for (const std::uint64_t count : counts) {
        if (count == 0) { // so may be all of them
            bars += " ";
            continue;
        }
        const long double share = static_cast<long double>(count) / static_cast<long double>(most);
        const auto below = static_cast<std::size_t>(share * static_cast<long double>(signs.size()));
        bars += signs[std::min(below, signs.size() - 1)];
    }
    return bars;
}

} // namespace cli
