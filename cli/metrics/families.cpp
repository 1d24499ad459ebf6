#include "cli/metrics/families.h"

#include <algorithm>
#include <set>
#include <string_view>

#include "cli/recordings/distribution_statistics.h"
#include "qor/analytics.h"

namespace cli {
namespace {

using Labels = std::vector<std::pair<std::string, std::string>>;

bool take_ending(std::string &text, std::string_view ending) {
    if (text.size() < ending.size() || text.compare(text.size() - ending.size(), ending.size(), ending) != 0) {
        return false;
    }
    text.resize(text.size() - ending.size());
    return true;
}

/** The exact key. Keys of a store are valid labels: UTF-8 without NUL. */
Labels key_label(const std::string &key) { return {{"key", key}}; }

Labels with_label(Labels labels, std::string name, std::string value) {
    labels.emplace_back(std::move(name), std::move(value));
    return labels;
}

Summary summary_of(const DistributionStatistics &all) {
    return {all.count, all.sum, {{0.5, all.p50}, {0.9, all.p90}, {0.99, all.p99}}};
}

MetricSeries scalar_series(const std::string &key, std::int64_t value) { return {key_label(key), value}; }

MetricSeries distribution_series(const std::string &key, const host::Distribution &distribution) {
    return {key_label(key), summary_of(statistics_of(distribution))};
}

/** The families of one kind of value: one for each known key, in the plug-in's order, then one for all other keys. */
template <typename Values, typename MakeSeries>
void add_families(std::vector<MetricFamily> &families, std::string_view kind, MetricFamily::Type type,
                  const Values &values, MakeSeries make_series) {
    std::set<std::string_view> known;
    for (std::size_t i = 0; i < qor::analytics::kKeyCount; ++i) {
        const KnownKey row = known_key(i);
        known.insert(row.key);
        if (const auto found = values.find(std::string(row.key)); found != values.end()) {
            families.push_back({family_name(kind, row),
                                type,
                                std::string(row.unit),
                                std::string(row.help),
                                {make_series(found->first, found->second)}});
        }
    }
    MetricFamily other{"qor_" + std::string(kind) + "_other", type, "", "Keys that the plug-in does not publish", {}};
    for (const auto &[key, value] : values) {
        if (known.count(key) == 0) {
            other.series.push_back(make_series(key, value));
        }
    }
    families.push_back(std::move(other));
}

/** The statistics that a summary may not carry. */
void add_signed_series(std::vector<MetricSeries> &series, const Labels &labels, const DistributionStatistics &all) {
    const std::pair<const char *, double> statistics[] = {
        {"sum", all.sum}, {"p50", all.p50}, {"p90", all.p90}, {"p99", all.p99}};
    for (const auto &[name, value] : statistics) {
        if (!may_stand_in_summary(value)) {
            series.push_back({with_label(labels, "statistic", name), value});
        }
    }
}

/** Everything that a summary has no place for: minimum, maximum, and values below zero. */
void add_gauges_of_distributions(std::vector<MetricFamily> &families, const host::StoreContents &contents) {
    constexpr MetricFamily::Type kGauge = MetricFamily::Type::Gauge;
    MetricFamily least{"qor_distribution_minimum", kGauge, "", "Least value of the distribution", {}};
    MetricFamily greatest{"qor_distribution_maximum", kGauge, "", "Greatest value of the distribution", {}};
    MetricFamily rest{
        "qor_distribution_signed", kGauge, "", "Statistics that a summary may not carry, such as negative ones", {}};
    for (const auto &[key, distribution] : contents.distributions) {
        const DistributionStatistics all = statistics_of(distribution);
        const Labels labels = key_label(key);
        least.series.push_back({labels, all.minimum});
        greatest.series.push_back({labels, all.maximum});
        add_signed_series(rest.series, labels, all);
    }
    families.push_back(std::move(least));
    families.push_back(std::move(greatest));
    families.push_back(std::move(rest));
}

} // namespace

bool may_stand_in_summary(double value) { return value >= 0; }

std::string family_name(std::string_view kind, const KnownKey &key) {
    const ShortKey name = short_key(key.key);
    std::string words(name.name);
    if (name.subsystem + 1 == kSubsystems.size()) {
        words.erase(0, words.rfind('.') + 1);
    } else {
        words = std::string(kSubsystems[name.subsystem]) + "." + words;
    }
    std::replace(words.begin(), words.end(), '.', '_');
    take_ending(words, "_dist");
    if (take_ending(words, "_count")) {
        words += "_counted";
    }
    return "qor_" + std::string(kind) + "_" + words;
}

std::vector<MetricFamily> families_of(const host::StoreContents &contents) {
    std::vector<MetricFamily> families;
    add_families(families, "scalar", MetricFamily::Type::Gauge, contents.scalars, scalar_series);
    add_families(families, "distribution", MetricFamily::Type::Summary, contents.distributions, distribution_series);
    add_gauges_of_distributions(families, contents);
    families.erase(std::remove_if(families.begin(), families.end(),
                                  [](const MetricFamily &family) { return family.series.empty(); }),
                   families.end());
    return families;
}

} // namespace cli
