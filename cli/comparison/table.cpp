#include "cli/comparison/table.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string_view>
#include <vector>

#include "cli/terminal/category_colours.h"
#include "cli/terminal/columns.h"
#include "host/count_text.h"

namespace cli {
namespace {

constexpr std::size_t kRankWidth = 4;
const std::string kIndent(kRankWidth + 2, ' ');

/** Six significant digits, as other tables show. */
std::string number_text(double number) {
    std::array<char, 32> text;
    const int size = std::snprintf(text.data(), text.size(), "%.6g", number);
    return {text.data(), static_cast<std::size_t>(size)};
}

std::string share_text(double share) {
    std::array<char, 32> text;
    const int size = std::snprintf(text.data(), text.size(), "%.3f", share);
    return {text.data(), static_cast<std::size_t>(size)};
}

/** Two significant digits say enough of a probability. */
std::string probability_text(double probability) {
    std::array<char, 32> text;
    const int size = std::snprintf(text.data(), text.size(), "%.2g", probability);
    return {text.data(), static_cast<std::size_t>(size)};
}

std::string signed_text(double number) { return (number > 0 ? "+" : "") + number_text(number); }

std::string side_text(std::string_view name, const SideSummary &side) {
    return std::string(name) + ": " + host::count_text(side.devices, "device") + ", " +
           host::count_text(side.recordings, "recording") + ", " + host::count_text(side.reports, "report");
}

/** Phrases on lines of the terminal's width. */
std::string phrases_text(const std::vector<std::string> &phrases, const TextStyle &style) {
    const std::size_t width = std::max(style.columns, 2 * kIndent.size()) - kIndent.size();
    std::string text;
    for (const std::string &line : wrap_words(phrases, ";", width)) {
        text += kIndent + line + "\n";
    }
    return text;
}

std::string change_text(std::string_view name, const std::optional<double> &a, const std::optional<double> &b) {
    return std::string(name) + " " + (a ? number_text(*a) : "-") + " to " + (b ? number_text(*b) : "-");
}

std::string unit_text(const Finding &finding) { return finding.unit.empty() ? "" : " " + std::string(finding.unit); }

std::string coloured_label(const Finding &finding, const TextStyle &style) {
    const std::optional<int> colour =
        finding.measure.path ? colour_of_category(*finding.measure.path >> 24) : std::nullopt;
    return colour ? style.colour(finding.label, *colour) : style.show(finding.label);
}

std::string finding_text(const Finding &finding, std::size_t rank, const TextStyle &style) {
    std::string number = std::to_string(rank);
    number.insert(0, kRankWidth - std::min(kRankWidth, number.size()), ' ');
    std::string text = number + "  " + style.heading(name_of(finding.measure.kind));
    text += (finding.label.empty() ? "" : "  ") + coloured_label(finding, style) + "\n";
    std::vector<std::string> phrases;
    if (finding.kind == FindingKind::OneDevice) {
        phrases.push_back("one device: " + style.show(finding.device) + " of " + (finding.is_of_b ? "b" : "a"));
    }
    const std::string unit = unit_text(finding);
    phrases.push_back(change_text("median", finding.a.median, finding.b.median) + unit);
    phrases.push_back(change_text("99th percentile", finding.a.p99, finding.b.p99) + unit);
    if (finding.shift) {
        phrases.push_back("shift " + signed_text(finding.shift->estimate) + unit + " (" +
                          signed_text(finding.shift->low) + " to " + signed_text(finding.shift->high) + ")");
    }
    phrases.push_back("distance " + share_text(finding.distance));
    if (finding.q) {
        phrases.push_back("q " + probability_text(*finding.q));
    }
    if (finding.devices_moved) {
        phrases.push_back(std::to_string(*finding.devices_moved) + " of " +
                          host::count_text(finding.b.devices, "device") + " moved");
    }
    return text + phrases_text(phrases, style);
}

/** What the findings are, and what they cannot be. */
std::string summary_text(const ComparisonResult &result) {
    const auto count = [&result](FindingKind kind) {
        return static_cast<std::size_t>(std::ranges::count(result.findings, kind, &Finding::kind));
    };
    const std::string measures = host::count_text(result.compared, "measure");
    if (result.devices_needed) {
        return measures + " compared, none tested: too few devices to tell a change from chance;\n" +
               std::to_string(*result.devices_needed) + " a side are the least. " +
               host::count_text(count(FindingKind::Difference), "difference") + " between these recordings:\n";
    }
    std::string text = measures + " compared, " + std::to_string(result.tested) + " tested at level " +
                       number_text(result.level) + (result.is_paired ? ", device by device" : "") + ": " +
                       host::count_text(count(FindingKind::Group), "change") + ", " +
                       host::count_text(count(FindingKind::OneDevice), "single device", "single devices") + "\n";
    if (result.devices_for_one) {
        text += "With so few devices only what many measures share can show; one change alone needs\n" +
                std::to_string(*result.devices_for_one) + " devices a side.\n";
    }
    return text;
}

std::string setting_text(const ChangedSetting &setting, const TextStyle &style) {
    const auto side = [&style](const SettingText &most, std::size_t devices) {
        return style.show(most.text) + " (" + std::to_string(most.devices) + " of " +
               host::count_text(devices, "device") + ")";
    };
    return "  " + style.key(setting.name) + ": " + side(setting.a, setting.devices_a) + " to " +
           side(setting.b, setting.devices_b) + "\n";
}

} // namespace

std::string comparison_text(const ComparisonResult &result, bool shows_all, const TextStyle &style) {
    std::string text = side_text("a", result.a) + "\n" + side_text("b", result.b) + "\n" + summary_text(result);
    if (result.not_compared != 0) {
        text += host::count_text(result.not_compared, "report") + " of too many ids not compared\n";
    }
    const std::size_t shown = shows_all ? result.findings.size() : std::min(result.findings.size(), kFindingsShown);
    for (std::size_t place = 0; place < shown; ++place) {
        text += "\n" + finding_text(result.findings[place], place + 1, style);
    }
    if (shown != result.findings.size()) {
        text += "\nand " + std::to_string(result.findings.size() - shown) + " more (--all)\n";
    }
    if (!result.settings.empty()) {
        text += "\n" + style.heading("settings") + "\n";
        for (const ChangedSetting &setting : result.settings) {
            text += setting_text(setting, style);
        }
    }
    return text;
}

} // namespace cli
