#include "cli/metrics/openmetrics.h"

#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

namespace cli {
namespace {

using Labels = std::vector<std::pair<std::string, std::string>>;

std::string escape(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if (c == '\n') {
            result += "\\n";
        } else {
            result += (c == '\\' || c == '"') ? "\\" : "";
            result += c;
        }
    }
    return result;
}

std::string number_text(double number) {
    if (std::isnan(number)) {
        return "NaN";
    }
    if (std::isinf(number)) {
        return number > 0 ? "+Inf" : "-Inf";
    }
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number);
    return std::string(text.data(), end.ptr);
}

std::string sample(const std::string &name, const Labels &labels, const std::string &value) {
    std::string text = name;
    for (std::size_t i = 0; i < labels.size(); ++i) {
        text += (i == 0 ? "{" : ",") + labels[i].first + "=\"" + escape(labels[i].second) + "\"";
    }
    return text + (labels.empty() ? " " : "} ") + value + "\n";
}

std::string summary_samples(const std::string &name, const Labels &labels, const Summary &summary) {
    std::string text;
    for (const auto &[quantile, value] : summary.quantiles) {
        if (may_stand_in_summary(value)) {
            Labels with_quantile = labels;
            with_quantile.emplace_back("quantile", number_text(quantile));
            text += sample(name, with_quantile, number_text(value));
        }
    }
    text += sample(name + "_count", labels, std::to_string(summary.count));
    return text + (may_stand_in_summary(summary.sum) ? sample(name + "_sum", labels, number_text(summary.sum)) : "");
}

struct SeriesText {
    const std::string &name;
    const Labels &labels;

    std::string operator()(std::int64_t value) const { return sample(name, labels, std::to_string(value)); }
    std::string operator()(double value) const { return sample(name, labels, number_text(value)); }
    std::string operator()(const Summary &summary) const { return summary_samples(name, labels, summary); }
};

std::string_view type_word(MetricFamily::Type type) { return type == MetricFamily::Type::Gauge ? "gauge" : "summary"; }

} // namespace

std::string openmetrics_text(const std::vector<MetricFamily> &families) {
    std::string text;
    for (const MetricFamily &family : families) {
        text += "# TYPE " + family.name + " " + std::string(type_word(family.type)) + "\n";
        text += family.unit.empty() ? "" : "# UNIT " + family.name + " " + family.unit + "\n";
        text += "# HELP " + family.name + " " + escape(family.help) + "\n";
        for (const MetricSeries &series : family.series) {
            text += std::visit(SeriesText{family.name, series.labels}, series.value);
        }
    }
    return text + "# EOF\n";
}

} // namespace cli
