#include "cli/page/captures_section.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "cli/terminal/json_text.h"
#include "cli/terminal/text_style.h"

namespace cli {
namespace {

constexpr int kLevelForTexts = 6;

/** Replaces a value by one that was taken no earlier. */
void replace_by_newer(std::optional<Json> &kept, std::int64_t &kept_time, std::optional<Json> value,
                      std::int64_t time) {
    if (value && (!kept || time >= kept_time)) {
        kept = std::move(value);
        kept_time = time;
    }
}

} // namespace

void CapturesSection::add(const Recording &recording, PageRecord record) {
    const std::string name = escape_controls(recording.device);
    if (_devices.size() == kDevicesAtMost && !_devices.contains(name)) {
        ++_other_devices;
        return;
    }
    Device &device = _devices[name];
    ++device.records;
    device.bytes += record.size;
    replace_by_newer(device.latencies, device.newest_latencies, std::move(record.latencies), recording.taken);
    replace_by_newer(device.assets, device.newest_assets, std::move(record.assets), recording.taken);
    if (record.sensor || record.entries) {
        if (device.sensors.size() + device.tables.size() == kTablesOfDevice) {
            ++device.more_tables;
        } else if (record.sensor) {
            device.sensors.push_back(*std::move(record.sensor));
        } else {
            device.tables.push_back({record.title, *std::move(record.entries)});
        }
    }
    add_lines(device, std::move(record.lines));
}

void CapturesSection::add_lines(Device &device, std::vector<std::string> lines) {
    device.line_count += lines.size();
    device.lines.insert(device.lines.end(), std::make_move_iterator(lines.begin()),
                        std::make_move_iterator(lines.end()));
    if (device.lines.size() > kLinesOfDevice) {
        device.lines.erase(device.lines.begin(), device.lines.end() - static_cast<std::ptrdiff_t>(kLinesOfDevice));
    }
}

PageSection CapturesSection::finish(std::vector<PageBlock> &blocks) {
    Json devices = Json::array();
    std::size_t left = kLinesOfPage;
    for (auto &[name, device] : _devices) {
        Json json = device_json(name, device);
        const std::size_t shown = std::min(left, device.lines.size());
        left -= shown;
        json["lines_shown"] = shown;
        if (shown != 0) {
            std::string text;
            for (std::size_t i = device.lines.size() - shown; i < device.lines.size(); ++i) {
                text += device.lines[i] + "\n";
            }
            blocks.push_back({"lines-" + std::to_string(blocks.size()), pack_for_page(text, kLevelForTexts)});
            json["lines_block"] = blocks.back().name;
        }
        devices.push_back(std::move(json));
    }
    return {"captures", "State captures",
            Json::object({{"devices", std::move(devices)}, {"records_of_other_devices", _other_devices}})};
}

Json CapturesSection::device_json(const std::string &name, Device &device) {
    Json json = Json::object({{"device", name}, {"records", device.records}, {"bytes", device.bytes}});
    if (device.latencies) {
        json["latencies"] = *std::move(device.latencies);
    }
    if (device.assets) {
        json["assets"] = *std::move(device.assets);
    }
    json["sensors"] = Json::array();
    for (Json &sensor : device.sensors) {
        json["sensors"].push_back(std::move(sensor));
    }
    json["tables"] = Json::array();
    for (Table &table : device.tables) {
        json["tables"].push_back(
            Json::object({{"title", escape_controls(table.title)}, {"entries", std::move(table.entries)}}));
    }
    json["more_tables"] = device.more_tables;
    json["lines"] = device.line_count;
    return json;
}

} // namespace cli
