#include "cli/records/drawn_record.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "cli/records/assets.h"
#include "cli/records/dictionary_reader.h"
#include "cli/records/latency_values.h"
#include "cli/records/value_text.h"
#include "cli/terminal/json_text.h"
#include "cli/terminal/text_style.h"
#include "qor/latency.h"

namespace cli {
namespace {

struct TitleRow {
    std::string_view title; ///< a star at the end matches any rest
    RecordForm form;
};

constexpr std::array<TitleRow, 4> kTitles{{
    {"SSHB Statistics", RecordForm::Latency},
    {"SSHB assets", RecordForm::Assets},
    {"SensorInfo", RecordForm::Sensor},
    {"ZEL Profile *", RecordForm::Profile},
}};

bool matches(std::string_view title, std::string_view pattern) {
    if (pattern.back() != '*') {
        return title == pattern;
    }
    pattern.remove_suffix(1);
    return title.substr(0, pattern.size()) == pattern;
}

Json named(const std::string &name, const char *key, std::uint64_t number) {
    return Json::object({{"name", name}, {key, number_for_scripts(number)}});
}

void put_press(Json &json, const PressValues &press) {
    for (const LatencyValue &count : press.counts) {
        json["counts"].push_back(named(count.name, "count", count.value));
    }
    for (const LatencyValue &stamp : press.stamps) {
        Json object = named(stamp.name, "ticks", stamp.value);
        object["offset"] = number_for_scripts(stamp.value - press.stamps.front().value);
        json["stamps"].push_back(std::move(object));
    }
    for (const std::string &name : press.absent) {
        json["absent"].push_back(name);
    }
    for (const PressLatency &latency : press.latencies) {
        Json object = named(latency.name, "ticks", latency.ticks);
        object["range"] = latency.range;
        json["latencies"].push_back(std::move(object));
    }
}

} // namespace

RecordForm form_of(std::string_view title) {
    const auto row =
        std::find_if(kTitles.begin(), kTitles.end(), [&](const TitleRow &each) { return matches(title, each.title); });
    return row != kTitles.end() ? row->form : RecordForm::Other;
}

std::optional<Json> drawn_latencies(TvRef payload) {
    DictionaryReader statistics(payload);
    const TvDictionaryRef press = statistics.take_dictionary(qor::latency::kPressKey);
    const TvDictionaryRef bounds = statistics.take_dictionary(qor::latency::kBoundsKey);
    if (!statistics.took_any()) {
        return std::nullopt;
    }
    Json json = Json::object({{"counts", Json::array()},
                              {"stamps", Json::array()},
                              {"absent", Json::array()},
                              {"latencies", Json::array()},
                              {"ranges", Json::array()}});
    put_press(json, PressReader(press).take());
    DictionaryReader reader(bounds);
    for (const LatencyRange &range : take_ranges(reader)) {
        json["ranges"].push_back(Json::object({{"name", range.name},
                                               {"minimum", number_for_scripts(range.minimum)},
                                               {"maximum", number_for_scripts(range.maximum)}}));
    }
    return json;
}

std::optional<Json> drawn_assets(TvRef payload) {
    Json json = Json::array();
    const std::vector<NamedAsset> assets = assets_of(payload);
    for (const NamedAsset &asset : assets) {
        Json object = Json::object({{"speed", asset.speed}, {"event", asset.event}});
        for (const auto &[field, value] : asset.values) {
            object[field] = value;
        }
        json.push_back(std::move(object));
    }
    return assets.empty() ? std::nullopt : std::optional(std::move(json));
}

std::optional<Json> drawn_entries(TvRef payload) {
    const std::vector<DictionaryEntry> entries = DictionaryReader(payload).rest();
    if (entries.empty()) {
        return std::nullopt;
    }
    Json json = Json::array();
    for (const auto &[key, value] : entries) {
        const std::string text = fits_on_one_line(value) ? value_line(value, {}) : value_lines(value, 0, {});
        json.push_back(Json::object({{"key", escape_controls(key)}, {"value", escape_controls(text)}}));
    }
    return json;
}

std::vector<std::string> drawn_lines(TvRef payload) {
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < TvArrayGetCount(payload); ++i) {
        if (const std::optional<std::string_view> text = text_of(TvArrayGetValue(payload, i))) {
            lines.push_back(escape_controls(*text));
        }
    }
    return lines;
}

} // namespace cli
