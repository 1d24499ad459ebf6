#include "cli/page/stores_section.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "cli/recordings/distribution_statistics.h"
#include "cli/terminal/json_text.h"
#include "cli/terminal/text_style.h"

namespace cli {
namespace {

Json bar(double from, double to, std::uint64_t count) {
    return Json::object({{"from", from}, {"to", to}, {"count", number_for_scripts(count)}});
}

/** The finite values, one by one where they are few, else in equal parts of their range. */
Json bars_json(const host::Distribution &distribution) {
    host::Distribution finite;
    std::copy_if(distribution.begin(), distribution.end(), std::inserter(finite, finite.end()),
                 [](const auto &row) { return std::isfinite(row.first); });
    Json bars = Json::array();
    if (finite.size() <= StoresSection::kBars) {
        for (const auto &[value, count] : finite) {
            bars.push_back(bar(value, value, count));
        }
        return bars;
    }
    const double least = finite.begin()->first;
    const double step = (finite.rbegin()->first / StoresSection::kBars) - (least / StoresSection::kBars);
    const std::vector<std::uint64_t> counts = histogram(finite, StoresSection::kBars);
    for (std::size_t i = 0; i < counts.size(); ++i) {
        const double end = i + 1 < counts.size() ? least + step * static_cast<double>(i + 1) : finite.rbegin()->first;
        bars.push_back(bar(least + step * static_cast<double>(i), end, counts[i]));
    }
    return bars;
}

} // namespace

StoresSection::StoresSection(std::function<KeyNote(std::string_view key)> note_of) : _note_of(std::move(note_of)) {}

void StoresSection::add(const Recording &recording, const host::StoreContents &contents) {
    merge_into(_sum.contents, contents);
    ++_sum.stores;
    const std::string name = escape_controls(recording.device);
    _device_names.insert(name);
    if (_device_names.size() > kDevicesAtMost) {
        _devices.clear();
        return;
    }
    Device &device = _devices[name];
    ++device.stores;
    merge_into(device.contents, contents);
}

PageSection StoresSection::finish() {
    Json devices = Json::array();
    if (_device_names.size() > kDevicesAtMost) {
        devices.push_back(device_json("all devices", _sum));
    }
    for (const auto &[name, device] : _devices) {
        devices.push_back(device_json(name, device));
    }
    return {"stores", "Analytics",
            Json::object({{"device_count", _device_names.size()},
                          {"is_sum_of_all", _device_names.size() > kDevicesAtMost},
                          {"devices", std::move(devices)}})};
}

Json StoresSection::device_json(const std::string &name, const Device &device) const {
    Json scalars = Json::array();
    for (const auto &[key, value] : device.contents.scalars) {
        Json row = keyed(key);
        row["value"] = number_for_scripts(value);
        scalars.push_back(std::move(row));
    }
    Json distributions = Json::array();
    for (const auto &[key, distribution] : device.contents.distributions) {
        distributions.push_back(distribution_json(key, distribution));
    }
    return Json::object({{"device", name},
                         {"stores", device.stores},
                         {"scalars", std::move(scalars)},
                         {"distributions", std::move(distributions)}});
}

Json StoresSection::keyed(const std::string &key) const {
    Json json = Json::object({{"key", escape_controls(key)}});
    const KeyNote note = _note_of(key);
    if (!note.unit.empty()) {
        json["unit"] = note.unit;
    }
    if (!note.help.empty()) {
        json["help"] = note.help;
    }
    return json;
}

Json StoresSection::distribution_json(const std::string &key, const host::Distribution &distribution) const {
    const DistributionStatistics statistics = statistics_of(distribution);
    Json json = keyed(key);
    json["count"] = number_for_scripts(statistics.count);
    json["min"] = number_for_scripts(statistics.minimum);
    json["mean"] = number_for_scripts(statistics.mean);
    json["p50"] = number_for_scripts(statistics.p50);
    json["p90"] = number_for_scripts(statistics.p90);
    json["p99"] = number_for_scripts(statistics.p99);
    json["max"] = number_for_scripts(statistics.maximum);
    json["distinct"] = distribution.size();
    json["bars"] = bars_json(distribution);
    return json;
}

} // namespace cli
