#include "cli/comparison/json.h"

#include <array>
#include <cmath>
#include <optional>
#include <string_view>
#include <type_traits>

#include "cli/terminal/json_text.h"
#include "cli/terminal/json_value.h"

namespace cli {
namespace {

/** JSON has no infinite numbers. */
Json number_json(double number) {
    return std::isfinite(number) ? Json(number) : Json(number > 0 ? "Infinity" : "-Infinity");
}

template <typename Number>
Json optional_json(const std::optional<Number> &number) {
    if constexpr (std::is_same_v<Number, double>) {
        return number ? number_json(*number) : Json();
    } else {
        return number ? Json(*number) : Json();
    }
}

Json side_json(const SideSummary &side) {
    return Json::object({{"devices", side.devices}, {"recordings", side.recordings}, {"reports", side.reports}});
}

Json values_json(const SideValues &side) {
    return Json::object({{"devices", side.devices},
                         {"count", side.count},
                         {"median", optional_json(side.median)},
                         {"p99", optional_json(side.p99)}});
}

Json about_json(const std::vector<AboutEntry> &about) {
    Json json = Json::object();
    for (const AboutEntry &entry : about) {
        json[entry.key] = entry.number ? Json(*entry.number) : Json(entry.text);
    }
    return json;
}

Json finding_json(const Finding &finding) {
    static constexpr std::array<std::string_view, 4> kKinds = {"group", "one device", "difference", "none"};
    Json json;
    json["kind"] = kKinds.at(static_cast<std::size_t>(finding.kind));
    json["what"] = name_of(finding.measure.kind);
    json["about"] = about_json(finding.about);
    json["unit"] = finding.unit;
    if (finding.kind == FindingKind::OneDevice) {
        put_text(json, "device", finding.device);
        json["side"] = finding.is_of_b ? "b" : "a";
    }
    json["a"] = values_json(finding.a);
    json["b"] = values_json(finding.b);
    json["distance"] = finding.distance;
    json["p"] = optional_json(finding.p);
    json["q"] = optional_json(finding.q);
    json["devices"] = finding.b.devices;
    json["devices_moved"] = optional_json(finding.devices_moved);
    json["shift"] = Json();
    if (finding.shift) {
        json["shift"]["estimate"] = finding.shift->estimate;
        json["shift"]["low"] = finding.shift->low;
        json["shift"]["high"] = finding.shift->high;
    }
    return json;
}

Json setting_json(const ChangedSetting &setting) {
    const auto side = [](const SettingText &most, std::size_t devices) {
        Json json;
        put_text(json, "text", most.text);
        json["devices_with_it"] = most.devices;
        json["devices"] = devices;
        return json;
    };
    Json json;
    put_text(json, "setting", setting.name);
    json["a"] = side(setting.a, setting.devices_a);
    json["b"] = side(setting.b, setting.devices_b);
    return json;
}

} // namespace

Json comparison_object(const ComparisonResult &result) {
    Json json;
    json["a"] = side_json(result.a);
    json["b"] = side_json(result.b);
    json["seed"] = result.seed;
    json["level"] = result.level;
    json["paired"] = result.is_paired;
    json["compared"] = result.compared;
    json["tested"] = result.tested;
    json["not_compared"] = result.not_compared;
    json["devices_needed"] = optional_json(result.devices_needed);
    json["devices_for_one"] = optional_json(result.devices_for_one);
    json["findings"] = Json::array();
    for (const Finding &finding : result.findings) {
        json["findings"].push_back(finding_json(finding));
    }
    json["settings"] = Json::array();
    for (const ChangedSetting &setting : result.settings) {
        json["settings"].push_back(setting_json(setting));
    }
    return json;
}

std::string comparison_json(const ComparisonResult &result) { return json_lines(comparison_object(result)); }

} // namespace cli
