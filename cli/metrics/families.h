/** The contents of an analytics store as metrics: names, types, help and series, for every format. */
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
    std::vector<std::pair<double, double>> quantiles; ///< the quantile, from 0 to 1, and its value
};

/** Whether OpenMetrics allows `value` as the sum or a quantile of a summary. */
bool may_stand_in_summary(double value);

struct MetricSeries {
    std::vector<std::pair<std::string, std::string>> labels; ///< names and values, both UTF-8
    std::variant<std::int64_t, double, Summary> value;
};

/** The series of one name. No two have the same labels. */
struct MetricFamily {
    enum class Type { Gauge, Summary };
    std::string name; ///< of a-z, 0-9 and "_", without the suffixes that OpenMetrics reserves
    Type type;
    std::string unit; ///< the suffix of the name; may be empty
    std::string help;
    std::vector<MetricSeries> series;
};

/**
 * The whole store: a family for each known key and kind of value, and collective families for all other keys. Names
 * follow the rules of docs/metrics.md and do not depend on the store's contents. Families without series are left out.
 */
std::vector<MetricFamily> families_of(const host::StoreContents &contents);

/** The name of a known key's own family. @param kind "scalar" or "distribution". */
std::string family_name(std::string_view kind, const KnownKey &key);

} // namespace cli
