#include "cli/metrics/json.h"

#include <cmath>
#include <string_view>
#include <utility>

#include "cli/metrics/keys.h"
#include "cli/recordings/distribution_statistics.h"
#include "cli/terminal/json_text.h"

namespace cli {
namespace {

Json number_json(double number) {
    if (std::isfinite(number)) {
        return number;
    }
    return std::isnan(number) ? "NaN" : number > 0 ? "Infinity" : "-Infinity";
}

Json entry_json(std::string_view key) {
    Json json;
    put_text(json, "key", key);
    json["subsystem"] = kSubsystems[short_key(key).subsystem];
    return json;
}

Json distribution_json(std::string_view key, const host::Distribution &distribution) {
    const DistributionStatistics all = statistics_of(distribution);
    Json json = entry_json(key);
    json["count"] = all.count;
    json["sum"] = number_json(all.sum);
    json["mean"] = number_json(all.mean);
    json["minimum"] = number_json(all.minimum);
    json["p50"] = number_json(all.p50);
    json["p90"] = number_json(all.p90);
    json["p99"] = number_json(all.p99);
    json["maximum"] = number_json(all.maximum);
    json["values"] = Json::array();
    for (const auto &[value, count] : distribution) {
        json["values"].push_back(Json::object({{"value", number_json(value)}, {"count", count}}));
    }
    return json;
}

} // namespace

std::string metrics_json(const host::StoreContents &contents) {
    Json json;
    put_metrics(json, contents);
    return json_lines(json);
}

void put_metrics(Json &json, const host::StoreContents &contents) {
    json["scalars"] = Json::array();
    for (const auto &[key, value] : contents.scalars) {
        Json entry = entry_json(key);
        entry["value"] = value;
        json["scalars"].push_back(std::move(entry));
    }
    json["distributions"] = Json::array();
    for (const auto &[key, distribution] : contents.distributions) {
        json["distributions"].push_back(distribution_json(key, distribution));
    }
}

} // namespace cli
