#include "cli/page/summary_section.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <utility>

#include "cli/dumps/function_call.h"
#include "cli/dumps/wall_time.h"
#include "cli/recordings/distribution_statistics.h"
#include "cli/terminal/json_text.h"
#include "cli/terminal/text_style.h"
#include "decoder/payload_choice.h"
#include "qor/payload_layouts.h"

namespace cli {
namespace {

constexpr qor::Field kRequestReason = function_calls::field_of(qor::kWakeRequest, "wake_reason");
constexpr qor::Field kEventReason = function_calls::field_of(qor::kWakeEvent, "wake_reason");
constexpr std::size_t kRequestReasonField = field_number(qor::kWakeRequest, "wake_reason");
constexpr std::size_t kEventReasonField = field_number(qor::kWakeEvent, "wake_reason");

/** One for each number of bits of a duration, of which 0 has none. */
constexpr std::size_t kDurationBins = 65;

constexpr std::uint8_t low_byte(std::uint32_t value) { return static_cast<std::uint8_t>(value & 0xFF); }

host::Distribution distribution_of(const std::vector<CountedDurations::Counted> &counted) {
    host::Distribution distribution;
    for (const auto &[duration, count] : counted) {
        distribution[static_cast<double>(duration)] += count;
    }
    return distribution;
}

/** How many durations lie from each power of two to below the next one, from the least to the greatest. */
Json bins_json(const std::vector<CountedDurations::Counted> &counted) {
    std::array<std::uint64_t, kDurationBins> bins{};
    for (const auto &[duration, count] : counted) {
        bins[static_cast<std::size_t>(std::bit_width(duration))] += count;
    }
    const auto first = static_cast<std::size_t>(std::bit_width(counted.front().first));
    const auto last = static_cast<std::size_t>(std::bit_width(counted.back().first));
    Json json = Json::array();
    for (std::size_t bin = first; bin <= last; ++bin) {
        const std::uint64_t from = bin == 0 ? 0 : std::uint64_t{1} << (bin - 1);
        const std::uint64_t below = bin == 0 ? 1 : from * 2;
        json.push_back(Json::object(
            {{"from", number_for_scripts(from)}, {"below", number_for_scripts(below)}, {"count", bins[bin]}}));
    }
    return json;
}

} // namespace

SummarySection::SummarySection(const OwnerNames &names, const DumpClock &clock) : _names(names), _clock(clock) {}

void SummarySection::begin(const Recording &recording) {
    _device_name = escape_controls(recording.device);
    _device = &_devices[_device_name];
    _file = escape_controls(recording.file);
    _watch = {};
    ++_device->recordings;
}

void SummarySection::see(const ReportPiece &piece) {
    if (piece.reports.empty()) {
        return;
    }
    if (!_device->sync) {
        _device->sync = (piece.clocks.empty() ? _clock.now() : _clock.now_or(piece.clocks.front())).sync;
    }
    std::size_t seen = 0;
    const auto see_until = [&](std::size_t place) {
        for (; seen < place; ++seen) {
            see_report(piece.report(seen));
        }
    };
    _watch.see(piece.reports, [&](std::size_t place, const SequenceBreak &found) {
        see_until(place);
        see_break(piece.offset_of(place), found);
    });
    see_until(piece.count());
}

void SummarySection::see_report(const _QorProfileReport &report) {
    const std::uint64_t time = report.timestamp();
    Device &device = *_device;
    device.earliest = device.reports == 0 ? time : std::min(device.earliest, time);
    device.latest = device.reports == 0 ? time : std::max(device.latest, time);
    _stretch_earliest = _has_stretch ? std::min(_stretch_earliest, time) : time;
    _stretch_latest = _has_stretch ? std::max(_stretch_latest, time) : time;
    _has_stretch = true;
    ++device.reports;

    const std::uint32_t path = report.header() >> 8;
    if (const auto found = _events.find(path); found != _events.end()) {
        ++found->second;
    } else if (_events.size() < kDistinctAtMost) {
        _events.emplace(path, 1);
    } else {
        ++_other_events;
    }

    const std::size_t payload = decoder::payload_index(report);
    if (const std::optional<FunctionCall> call = function_call_of(report, payload)) {
        if (CountedDurations *const durations = durations_of(*call)) {
            durations->add(call->duration);
        } else {
            ++_other_calls;
        }
    } else {
        see_wake(payload, report);
    }
}

CountedDurations *SummarySection::durations_of(const FunctionCall &call) {
    const auto place_in = [this, &call](auto &places, auto key) -> CountedDurations * {
        if (const auto found = places.find(key); found != places.end()) {
            return &_functions[found->second].durations;
        }
        if (_functions.size() == kDistinctAtMost) {
            return nullptr;
        }
        places.emplace(std::move(key), _functions.size());
        Function &added = _functions.emplace_back();
        if (call.has_id) {
            const OwnerName *name = _names.value(kFunctionIdField, call.id);
            added.name = name != nullptr ? name->plain : "function " + std::to_string(call.id);
            added.id = call.id;
        } else {
            added.name = escape_controls(call.text);
        }
        return &added.durations;
    };
    return call.has_id ? place_in(_functions_by_id, call.id) : place_in(_functions_by_text, std::string(call.text));
}

void SummarySection::see_wake(std::size_t payload, const _QorProfileReport &report) {
    const bool is_event = begins_with(payload, qor::kWakeEvent);
    if (!is_event && !begins_with(payload, qor::kWakeRequest)) {
        return;
    }
    ++_device->wakes;
    const qor::Field &field = is_event ? kEventReason : kRequestReason;
    const Wake wake{is_event, static_cast<std::uint32_t>(qor::load_number(report.bytes, field))};
    if (const auto found = _wakes.find(wake); found != _wakes.end()) {
        ++found->second;
    } else if (_wakes.size() < kDistinctAtMost) {
        _wakes.emplace(wake, 1);
    } else {
        ++_other_wakes;
    }
}

void SummarySection::see_break(std::uint64_t offset, const SequenceBreak &found) {
    const auto keep = [&](std::vector<Break> &breaks) {
        if (breaks.size() < kBreaksShown) {
            breaks.push_back({_device_name, _file, offset, found});
        }
    };
    if (found.is_restart()) {
        ++_device->restarts;
        keep(_restarts);
        end_stretch();
    }
    if (found.is_gap()) {
        ++_device->gaps;
        ++_gap_count;
        _device->missing += found.missing();
        keep(_gaps);
    }
}

void SummarySection::end_stretch() {
    if (_has_stretch) {
        _device->time += _stretch_latest - _stretch_earliest;
    }
    _has_stretch = false;
}

void SummarySection::end(std::size_t trailing_bytes, bool is_whole) {
    end_stretch();
    _device->trailing_bytes += trailing_bytes;
    _device->damaged += is_whole ? 0 : 1;
}

PageSection SummarySection::finish() {
    Json data = Json::object({{"devices", devices_json()},
                              {"events", events_json()},
                              {"other_events", _other_events},
                              {"wakes", wakes_json()},
                              {"other_wakes", _other_wakes},
                              {"gaps", breaks_json(_gaps)},
                              {"restarts", breaks_json(_restarts)},
                              {"function_count", _functions.size()},
                              {"other_calls", _other_calls}});
    data["functions"] = functions_json();
    return {"summary", "Summary", std::move(data)};
}

Json SummarySection::devices_json() const {
    Json json = Json::array();
    for (const auto &[name, device] : _devices) {
        Json row = Json::object({{"device", name},
                                 {"recordings", device.recordings},
                                 {"damaged", device.damaged},
                                 {"reports", device.reports}});
        if (device.reports != 0) {
            row["earliest"] = number_for_scripts(device.earliest);
            row["latest"] = number_for_scripts(device.latest);
            row["time"] = number_for_scripts(device.time);
        }
        if (device.reports != 0 && device.sync) {
            row["earliest_wall_time"] = iso_wall_time(device.earliest, *device.sync);
            row["latest_wall_time"] = iso_wall_time(device.latest, *device.sync);
        }
        row["gaps"] = device.gaps;
        row["missing"] = number_for_scripts(device.missing);
        row["restarts"] = device.restarts;
        row["trailing_bytes"] = device.trailing_bytes;
        row["wakes"] = device.wakes;
        json.push_back(std::move(row));
    }
    return json;
}

Json SummarySection::events_json() const {
    std::vector<std::pair<std::uint32_t, std::uint64_t>> sorted(_events.begin(), _events.end());
    std::sort(sorted.begin(), sorted.end(),
              [](const auto &a, const auto &b) { return std::pair(b.second, a.first) < std::pair(a.second, b.first); });
    Json json = Json::array();
    for (const auto &[path, count] : sorted) {
        const std::uint8_t category = low_byte(path >> 16);
        const std::uint8_t component = low_byte(path >> 8);
        const std::uint8_t event = low_byte(path);
        json.push_back(Json::object({{"category", _names.category_name(category)},
                                     {"category_id", category},
                                     {"component", _names.component_name(category, component)},
                                     {"component_id", component},
                                     {"event", _names.event_name(category, component, event)},
                                     {"event_id", event},
                                     {"count", count}}));
    }
    return json;
}

Json SummarySection::wakes_json() const {
    std::vector<std::pair<Wake, std::uint64_t>> sorted(_wakes.begin(), _wakes.end());
    std::stable_sort(sorted.begin(), sorted.end(), [](const auto &a, const auto &b) { return a.second > b.second; });
    Json json = Json::array();
    for (const auto &[wake, count] : sorted) {
        const OwnerName *const name =
            _names.value(wake.is_event ? kEventReasonField : kRequestReasonField, wake.reason);
        json.push_back(Json::object({{"kind", wake.is_event ? "wake event" : "wake request"},
                                     {"reason", wake.reason},
                                     {"name", name != nullptr ? name->plain : std::to_string(wake.reason)},
                                     {"count", count}}));
    }
    return json;
}

Json SummarySection::functions_json() {
    struct Row {
        Function *function;
        DistributionStatistics statistics;
    };
    std::vector<Row> rows;
    for (Function &function : _functions) {
        rows.push_back({&function, statistics_of(distribution_of(function.durations.counted()))});
    }
    std::stable_sort(rows.begin(), rows.end(), [](const Row &a, const Row &b) {
        return std::pair(a.statistics.p99, a.statistics.maximum) > std::pair(b.statistics.p99, b.statistics.maximum);
    });
    rows.erase(rows.begin() + static_cast<std::ptrdiff_t>(std::min(rows.size(), kFunctionsShown)), rows.end());
    Json json = Json::array();
    for (const Row &row : rows) {
        Json object = Json::object({{"function", row.function->name}});
        if (row.function->id) {
            object["function_id"] = number_for_scripts(*row.function->id);
        }
        object["count"] = row.statistics.count;
        object["median"] = row.statistics.p50;
        object["p99"] = row.statistics.p99;
        object["longest"] = row.statistics.maximum;
        object["histogram"] = bins_json(row.function->durations.counted());
        json.push_back(std::move(object));
    }
    return json;
}

Json SummarySection::breaks_json(const std::vector<Break> &breaks) const {
    Json json = Json::array();
    for (const Break &found : breaks) {
        json.push_back(Json::object({{"device", found.device},
                                     {"file", found.file},
                                     {"offset", number_for_scripts(found.offset)},
                                     {"before", found.what.number_before},
                                     {"after", found.what.number},
                                     {"missing", found.what.missing()},
                                     {"time_before", number_for_scripts(found.what.time_before)},
                                     {"time", number_for_scripts(found.what.time)}}));
    }
    return json;
}

} // namespace cli
