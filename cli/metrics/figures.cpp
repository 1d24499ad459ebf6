#include "cli/metrics/figures.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <string_view>

#include "cli/metrics/statistics.h"

namespace cli {
namespace {

/** From the lowest bar to the highest. */
constexpr std::array<std::string_view, 8> kBlocks{"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr std::array<std::string_view, 8> kAsciiBars{".", ":", "-", "=", "+", "*", "#", "@"};

std::string number_text(double number) {
    if (std::isnan(number)) {
        return "nan"; // its sign is arbitrary
    }
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::general, 6);
    return std::string(text.data(), end.ptr);
}

} // namespace

const std::vector<std::string> &figure_titles() {
    static const std::vector<std::string> titles = {"count", "min", "mean", "p50", "p90", "p99", "max"};
    return titles;
}

std::string bars_of(const host::Distribution &distribution, const TextStyle &style) {
    const std::vector<std::uint64_t> counts = histogram(distribution, kBars);
    const std::uint64_t most = counts.empty() ? 0 : *std::max_element(counts.begin(), counts.end());
    const auto &signs = style.shows_blocks ? kBlocks : kAsciiBars;
    std::string bars;
    for (const std::uint64_t count : counts) {
        const long double share = static_cast<long double>(count) / static_cast<long double>(most);
        const auto below = static_cast<std::size_t>(share * static_cast<long double>(signs.size()));
        bars += count == 0 ? " " : signs[std::min(below, signs.size() - 1)];
    }
    return bars;
}

std::vector<std::string> figures_of(const host::Distribution &distribution) {
    const DistributionStatistics all = statistics_of(distribution);
    return {std::to_string(all.count), number_text(all.minimum), number_text(all.mean),   number_text(all.p50),
            number_text(all.p90),      number_text(all.p99),     number_text(all.maximum)};
}

} // namespace cli
