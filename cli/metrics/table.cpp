#include "cli/metrics/table.h"

#include <algorithm>
#include <limits>
#include <string_view>
#include <vector>

#include "cli/metrics/figures.h"
#include "cli/metrics/keys.h"
#include "cli/terminal/columns.h"
#include "cli/terminal/histogram.h"
#include "host/utf8.h"

namespace cli {
namespace {

constexpr std::size_t kIndent = 2;
constexpr std::size_t kGap = 2;
/** The column of numbers printed below their key. */
constexpr std::size_t kNumbersBelowKey = 4;

/** One key with its numbers and bars. */
struct Line {
    std::size_t subsystem;
    std::string key;
    std::string numbers; ///< as wide as on the other lines of its kind
    std::string bars;
};

Line line_for(std::string_view key) {
    const ShortKey name = short_key(key);
    return {name.subsystem, escape_controls(name.name), {}, {}};
}

std::vector<Line> scalar_lines(const host::StoreContents &contents) {
    std::vector<Line> lines;
    std::vector<std::vector<std::string>> cells;
    for (const auto &[key, value] : contents.scalars) {
        lines.push_back(line_for(key));
        cells.push_back({std::to_string(value)});
    }
    const std::vector<std::string> rows = align_rows(cells, {Align::Right});
    for (std::size_t i = 0; i < lines.size(); ++i) {
        lines[i].numbers = rows[i];
    }
    return lines;
}

/** The lines of distributions, and the titles above their numbers. */
struct DistributionLines {
    std::string titles;
    std::vector<Line> lines;
};

DistributionLines distribution_lines(const host::StoreContents &contents, const TextStyle &style) {
    DistributionLines result;
    std::vector<std::vector<std::string>> cells = {figure_titles()};
    for (const auto &[key, distribution] : contents.distributions) {
        result.lines.push_back(line_for(key));
        result.lines.back().bars = bars_of(distribution, style);
        cells.push_back(figures_of(distribution));
    }
    const std::vector<std::string> rows = align_rows(cells, std::vector(figure_titles().size(), Align::Right));
    result.titles = rows.front();
    for (std::size_t i = 0; i < result.lines.size(); ++i) {
        result.lines[i].numbers = rows[i + 1];
    }
    return result;
}

/** Prints keys on the left, and their numbers to the right of the longest key that leaves room for them. */
class KeyColumn {
public:
    KeyColumn(const std::vector<Line> &lines, std::size_t bars, std::size_t columns) {
        for (const Line &line : lines) {
            const std::size_t key = kIndent + host::character_count(line.key);
            if (key + kGap + line.numbers.size() + bars <= columns) {
                _width = std::max(_width, key + kGap);
            }
        }
    }

    std::string text(const Line &line, const TextStyle &style) const {
        const std::size_t used = kIndent + host::character_count(line.key);
        const bool stands_above = used + kGap > _width;
        std::string text = std::string(kIndent, ' ') + style.key(line.key);
        text += stands_above ? "\n" + std::string(_width, ' ') : std::string(_width - used, ' ');
        text += line.numbers;
        if (const std::size_t end = line.bars.find_last_not_of(' '); end != std::string::npos) {
            text += std::string(kGap, ' ') + line.bars.substr(0, end + 1);
        }
        return text + "\n";
    }

    std::string titles(const std::string &titles, const TextStyle &style) const {
        return std::string(_width, ' ') + style.dim(titles) + "\n";
    }

private:
    std::size_t _width = kNumbersBelowKey;
};

std::string lines_of(const std::vector<Line> &lines, std::size_t subsystem, const KeyColumn &column,
                     const TextStyle &style) {
    std::string text;
    for (const Line &line : lines) {
        text += line.subsystem == subsystem ? column.text(line, style) : "";
    }
    return text;
}

} // namespace

std::string metrics_table(const host::StoreContents &contents, const TextStyle &style) {
    const std::vector<Line> scalars = scalar_lines(contents);
    const DistributionLines distributions = distribution_lines(contents, style);
    const std::size_t columns = style.folds_tables ? style.columns : std::numeric_limits<std::size_t>::max();
    const KeyColumn scalar_column(scalars, 0, columns);
    const KeyColumn distribution_column(distributions.lines, kGap + kBars, columns);
    std::string text;
    for (std::size_t i = 0; i < kSubsystems.size(); ++i) {
        const std::string first = lines_of(scalars, i, scalar_column, style);
        const std::string second = lines_of(distributions.lines, i, distribution_column, style);
        if (!first.empty() || !second.empty()) {
            text += (text.empty() ? "" : "\n") + style.heading(kSubsystems[i]) + "\n" + first;
            text += second.empty() ? "" : distribution_column.titles(distributions.titles, style) + second;
        }
    }
    return text.empty() ? "the store is empty\n" : text;
}

} // namespace cli
