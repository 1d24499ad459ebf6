/** What an analytics store holds, as monitoring systems take it: names, types, help and series, for every format. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "cli/metrics/keys.h"
#include "host/store/analytics_store.h"

namespace cli {

/** A distribution's statistics. */
struct Summary {
    std::uint64_t count;
    double sum;
    std::vector<std::pair<double, double>> quantiles; ///< the quantile from 0 to 1, and its value
};

/** Whether the OpenMetrics standard lets a summary carry `value` as its sum or as a quantile's value. */
bool may_stand_in_summary(double value);

struct MetricSeries {
    std::vector<std::pair<std::string, std::string>> labels; ///< names and values, both UTF-8
    std::variant<std::int64_t, double, Summary> value;
};

/** Series under one name. No two have the same labels. */
struct MetricFamily {
    enum class Type { Gauge, Summary };
    std::string name; ///< of a-z, 0-9 and "_", and with no ending that the standard keeps for itself
    Type type;
    std::string unit; ///< what the name ends in; may be empty
    std::string help;
    std::vector<MetricSeries> series;
};

/**
 * All of the store: a family for each key that the plug-in publishes under and each kind of value, and collective ones
 * for what other keys hold. The names follow the rules of docs/metrics.md, and depend on nothing that a store says.
 * Families without series are left out.
 */
std::vector<MetricFamily> families_of(const host::StoreContents &contents);

/** The name of a known key's own family. @param kind "scalar" or "distribution". */
std::string family_name(std::string_view kind, const KnownKey &key);

} // namespace cli
