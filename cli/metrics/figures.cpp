#include "cli/metrics/figures.h"

#include <array>
#include <charconv>
#include <cmath>

#include "cli/recordings/distribution_statistics.h"
#include "cli/terminal/histogram.h"

namespace cli {
namespace {

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
    return bars_text(histogram(distribution, kBars), style.shows_blocks);
}

std::vector<std::string> figures_of(const host::Distribution &distribution) {
    const DistributionStatistics all = statistics_of(distribution);
    return {std::to_string(all.count), number_text(all.minimum), number_text(all.mean),   number_text(all.p50),
            number_text(all.p90),      number_text(all.p99),     number_text(all.maximum)};
}

} // namespace cli
