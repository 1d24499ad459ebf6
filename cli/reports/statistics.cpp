#include "cli/reports/statistics.h"

#include <algorithm>
#include <limits>
#include <map>
#include <numeric>
#include <string_view>

#include "cli/dumps/wall_time.h"
#include "cli/terminal/json_text.h"
#include "host/count_text.h"

namespace cli {
namespace {

constexpr std::uint32_t kIds = 256;
constexpr std::uint32_t kFibonacci = 2'654'435'769; ///< spreads neighbouring headers over the places of a table

const OwnerNames &no_names() {
    static const OwnerNames names;
    return names;
}

std::uint8_t low_byte(std::size_t value) { return static_cast<std::uint8_t>(value & 0xFF); }

std::string join(const std::vector<std::string_view> &names) {
    std::string text;
    for (const std::string_view name : names) {
        text += (text.empty() ? "" : " ") + std::string(name);
    }
    return text;
}

std::string table(std::string_view heading, const std::vector<DumpStatistics::Count> &counts) {
    constexpr std::size_t kNameWidth = 46;
    constexpr std::size_t kCountWidth = 14;
    std::string text = std::string(heading) + "\n";
    for (const DumpStatistics::Count &row : counts) {
        const std::string name = "  " + join(row.names);
        const std::string count = std::to_string(row.count);
        const std::size_t width = std::max(name.size() + 1 + count.size(), kNameWidth + kCountWidth);
        text += name;
        text.append(width - name.size() - count.size(), ' ');
        text += count;
        text += '\n';
    }
    return text;
}

Json counts_json(const std::vector<DumpStatistics::Count> &counts, const std::vector<std::string> &keys) {
    Json array = Json::array();
    for (const DumpStatistics::Count &row : counts) {
        Json entry;
        for (std::size_t i = 0; i < keys.size(); ++i) {
            entry[keys[i]] = row.names[i];
            entry[keys[i] + "_id"] = row.ids[i];
        }
        entry["count"] = row.count;
        array.push_back(std::move(entry));
    }
    return array;
}

} // namespace

void SequenceWatch::begin_input(const std::string &file) {
    _file = file;
    _watch = {};
}

void SequenceWatch::see(std::span<const _QorProfileReport> reports, std::uint64_t offset) {
    _watch.see(reports, [&](std::size_t index, const SequenceBreak &found) {
        see_break(found, offset + index * _QorProfileReport::kSize);
    });
}

void SequenceWatch::see_break(const SequenceBreak &found, std::uint64_t offset) {
    _time_back_count += found.goes_back_in_time() ? 1 : 0;
    _restart_count += found.is_restart() ? 1 : 0;
    if (!found.is_gap()) {
        return;
    }
    ++_gap_count;
    _missing_count += found.missing();
    if (_first_gaps.size() < kGapsKept) {
        _first_gaps.push_back({offset, found.number_before, found.number, _file});
    }
}

DumpStatistics::DumpStatistics(const OwnerNames *names)
    : _names(names != nullptr ? *names : no_names()), _earliest(std::numeric_limits<std::uint64_t>::max()),
      _recent_headers(std::size_t{1} << kRecentBits) {}

void DumpStatistics::count(std::span<const _QorProfileReport> reports) {
    _reports += reports.size();
    for (const _QorProfileReport &report : reports) {
        const std::uint32_t header = report.header();
        RecentHeader &recent = _recent_headers[(header * kFibonacci) >> (32 - kRecentBits)];
        if (recent.key != key_of(header)) [[unlikely]] {
            replace(recent, header);
        }
        ++recent.count;
        _earliest = std::min(_earliest, report.timestamp());
        _latest = std::max(_latest, report.timestamp());
    }
}

void DumpStatistics::replace(RecentHeader &recent, std::uint32_t header) {
    settle(recent);
    // The counter of the event is found now, because the first ones that are seen are kept.
    recent = {key_of(header), 0, &component_counter(static_cast<std::uint8_t>(header >> 24), low_byte(header >> 16)),
              &event_counter(header >> 8)};
}

void DumpStatistics::settle(RecentHeader &recent) {
    if (recent.count != 0) {
        _types[low_byte(recent.key - 1)] += recent.count;
        *recent.component_counter += recent.count;
        *recent.event_counter += recent.count;
        recent.count = 0;
    }
}

std::uint64_t &DumpStatistics::component_counter(std::uint8_t category, std::uint8_t component) {
    std::vector<std::uint64_t> &components = _components[category];
    if (components.empty()) {
        components.resize(kIds);
    }
    return components[component];
}

std::uint64_t &DumpStatistics::event_counter(std::uint32_t ids) {
    if (const auto found = _events.find(ids); found != _events.end()) {
        return found->second;
    }
    return _events.size() < kEventsAtMost ? _events[ids] : _other_events;
}

DumpStatistics::Counts DumpStatistics::counts() {
    for (RecentHeader &recent : _recent_headers) {
        settle(recent);
    }
    Counts all;
    for (std::size_t id = 0; id < kIds; ++id) {
        if (!_components[id].empty()) {
            const std::uint64_t count =
                std::accumulate(_components[id].begin(), _components[id].end(), std::uint64_t{0});
            all.categories.push_back({{low_byte(id)}, {_names.category_name(low_byte(id))}, count});
            append_components(all.components, low_byte(id));
        }
        if (_types[id] != 0) {
            all.types.push_back({{low_byte(id)}, {_names.type_name(low_byte(id))}, _types[id]});
        }
    }
    for (const auto &[ids, count] : std::map(_events.begin(), _events.end())) {
        const std::uint8_t category = low_byte(ids >> 16);
        const std::uint8_t component = low_byte(ids >> 8);
        all.events.push_back({{category, component, low_byte(ids)},
                              {_names.category_name(category), _names.component_name(category, component),
                               _names.event_name(category, component, low_byte(ids))},
                              count});
    }
    return all;
}

void DumpStatistics::append_components(std::vector<Count> &counts, std::uint8_t category) const {
    for (std::size_t id = 0; id < kIds; ++id) {
        if (const std::uint64_t count = _components[category][id]; count != 0) {
            counts.push_back({{category, low_byte(id)},
                              {_names.category_name(category), _names.component_name(category, low_byte(id))},
                              count});
        }
    }
}

std::string DumpStatistics::text(const SequenceWatch &sequence, const decoder::device_clock &clock) {
    const Counts all = counts();
    std::string text = "reports: " + std::to_string(_reports) + "\n";
    if (_reports != 0) {
        text += "firmware time in microseconds: " + std::to_string(_earliest) + " to " + std::to_string(_latest) +
                ", " + std::to_string(_latest - _earliest) + " in all\n";
    }
    if (_reports != 0 && clock.sync) {
        text += "wall-clock time: " + iso_wall_time(_earliest, *clock.sync) + " to " +
                iso_wall_time(_latest, *clock.sync) + "\n";
    }
    text += "sequence numbers: " + host::count_text(sequence.gap_count(), "gap") + ", " +
            std::to_string(sequence.missing_count()) + " missing\n";
    for (const SequenceGap &gap : sequence.first_gaps()) {
        text += "  " + (gap.file.empty() ? "" : gap.file + ": ") + "byte " + std::to_string(gap.offset) + ": " +
                std::to_string(gap.after) + " after " + std::to_string(gap.before) + "\n";
    }
    if (sequence.gap_count() > sequence.first_gaps().size()) {
        text += "  and " + std::to_string(sequence.gap_count() - sequence.first_gaps().size()) + " more\n";
    }
    text += "time stamps that go back: " + std::to_string(sequence.time_back_count()) +
            ", restarts: " + std::to_string(sequence.restart_count()) + "\n";
    text += table("categories", all.categories) + table("components", all.components) + table("events", all.events);
    if (_other_events != 0) {
        text += "  and of others than these: " + std::to_string(_other_events) + "\n";
    }
    return text + table("types", all.types);
}

std::string DumpStatistics::json(const SequenceWatch &sequence, const decoder::device_clock &clock) {
    return json_lines(object(sequence, clock));
}

Json DumpStatistics::object(const SequenceWatch &sequence, const decoder::device_clock &clock) {
    const Counts all = counts();
    Json json;
    json["reports"] = _reports;
    if (_reports != 0) {
        json["earliest"] = _earliest;
        json["latest"] = _latest;
    }
    if (_reports != 0 && clock.sync) {
        json["earliest_wall_time"] = iso_wall_time(_earliest, *clock.sync);
        json["latest_wall_time"] = iso_wall_time(_latest, *clock.sync);
    }
    json["gaps"] = sequence.gap_count();
    json["missing"] = sequence.missing_count();
    json["times_back"] = sequence.time_back_count();
    json["restarts"] = sequence.restart_count();
    json["first_gaps"] = Json::array();
    for (const SequenceGap &gap : sequence.first_gaps()) {
        Json object;
        if (!gap.file.empty()) {
            put_text(object, "file", gap.file);
        }
        object["offset"] = gap.offset;
        object["before"] = gap.before;
        object["after"] = gap.after;
        json["first_gaps"].push_back(std::move(object));
    }
    json["categories"] = counts_json(all.categories, {"category"});
    json["components"] = counts_json(all.components, {"category", "component"});
    json["events"] = counts_json(all.events, {"category", "component", "event"});
    json["other_events"] = _other_events;
    json["types"] = counts_json(all.types, {"type"});
    return json;
}

} // namespace cli
