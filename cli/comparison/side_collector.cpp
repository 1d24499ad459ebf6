#include "cli/comparison/side_collector.h"

#include <algorithm>
#include <array>
#include <limits>
#include <numeric>
#include <optional>
#include <set>
#include <utility>

#include "cli/terminal/hex.h"
#include "cli/terminal/histogram.h"
#include "decoder/payload_choice.h"
#include "decoder/payload_walk.h"
#include "host/TvValues.h"
#include "qor/categories.h"
#include "qor/latency.h"
#include "qor/sensor.h"

namespace cli {
namespace {

constexpr std::uint32_t kFibonacci = 2'654'435'769; ///< spreads neighbouring headers over the places of a table
constexpr unsigned kRecentBits = 10;
constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();

constexpr qor::Field kWakeReason =
    *std::ranges::find(qor::kWakeRequest.fields, std::string_view("wake_reason"), &qor::Field::name);

constexpr std::string_view kNoLocation = "N/A"; ///< of a sensor, in its record

/** Category, component, event and type, from the highest byte to the lowest. */
using Path = std::uint32_t;

bool is_compared(const qor::Field &field) {
    return field.how == qor::How::Number || field.how == qor::How::Hexadecimal || field.how == qor::How::FixedPoint;
}

bool is_fixed(const qor::Field &field) { return field.how == qor::How::FixedPoint; }

/** Whether both show the same bytes as the same number, in decimal and in hexadecimal. */
bool show_the_same(const qor::Field &one, const qor::Field &other) {
    return one.offset == other.offset && one.size == other.size && is_fixed(one) == is_fixed(other);
}

std::uint64_t key_of_field(const _QorProfileReport &report, const qor::Field &field) {
    const std::uint64_t number = qor::load_number(report.bytes, field);
    return is_fixed(field) ? number ^ 0x8000'0000U : key_of_whole(number);
}

/** A numeric field of an id path's payload. */
struct FieldValues {
    qor::Field field;
    std::uint32_t measure;
    ValueGatherer values;
};

struct PathValues {
    Path path;
    std::uint32_t measure; ///< of its intervals
    std::uint64_t count = 0;
    std::uint64_t stretch = 0; ///< that `time` belongs to; 0 for none
    std::uint64_t time = 0;    ///< of its last report
    ValueGatherer intervals;
};

/** What reports of one header and payload add to. */
struct Shape {
    std::uint64_t key; ///< the payload and the header
    std::size_t payload;
    PathValues *path;
    std::vector<FieldValues> fields;
};

struct FunctionValues {
    std::uint32_t duration_measure;
    std::uint32_t nesting_measure;
    ValueGatherer durations;
    ValueGatherer depths;
};

/** A value of the newest capture. */
template <typename Value>
struct Newest {
    std::int64_t taken;
    Value value;
};

/** A text of one line. Bytes are hexadecimal digits. */
std::string text_of(TvRef value) {
    const TvTypeID kind = TvGetTypeID(value);
    if (kind == TvNumberGetTypeID()) {
        std::int64_t number = 0;
        TvNumberGetSInt64(value, &number);
        return std::to_string(number);
    }
    if (kind == TvBooleanGetTypeID()) {
        return TvBooleanGetValue(value) ? "true" : "false";
    }
    if (kind == TvDataGetTypeID()) {
        return hex(std::as_bytes(std::span(TvDataGetBytes(value), TvDataGetLength(value))));
    }
    if (kind == TvStringGetTypeID()) {
        return {TvStringGetCString(value), TvStringGetLength(value)};
    }
    std::string text;
    if (kind == TvArrayGetTypeID()) {
        for (std::size_t i = 0; i < TvArrayGetCount(value); ++i) {
            text += (i == 0 ? "" : " ") + text_of(TvArrayGetValue(value, i));
        }
    } else {
        host::for_each_entry(value, [&text](std::string_view key, TvRef entry) {
            text += (text.empty() ? "" : " ") + std::string(key) + "=" + text_of(entry);
        });
    }
    return text;
}

std::optional<std::uint64_t> ticks_of(TvDictionaryRef dictionary, const char *key) {
    std::int64_t number = 0;
    const bool is_number = TvNumberGetSInt64(TvDictionaryGetValue(dictionary, key), &number);
    return is_number ? std::optional(static_cast<std::uint64_t>(number)) : std::nullopt;
}

} // namespace

struct SideCollector::State {
    Side side;
    std::unordered_map<std::string, std::uint32_t> devices;
    std::uint32_t device = kNone;

    std::map<MeasureId, std::uint32_t> measures;
    std::unordered_map<Path, std::unique_ptr<PathValues>> paths;
    std::unordered_map<std::uint64_t, std::unique_ptr<Shape>> shapes;
    std::array<Shape *, std::size_t{1} << kRecentBits> recent{};
    std::vector<std::unique_ptr<FunctionValues>> functions;
    std::unordered_map<std::uint64_t, std::uint32_t> function_ids;
    std::map<std::string, std::uint32_t, std::less<>> function_texts;
    std::unordered_set<std::uint64_t> reasons;

    std::map<std::string, std::map<std::uint32_t, std::int64_t>> scalars; ///< by key and device
    std::map<std::string, std::map<std::uint32_t, Newest<std::uint64_t>>> latencies;
    std::map<std::string, std::map<std::uint32_t, Newest<std::string>>> settings;
    std::map<std::string, std::map<std::uint32_t, std::set<std::string>>> locations; ///< by setting and device

    BreakWatch breaks;
    std::vector<std::size_t> restarts; ///< of the last piece
    std::optional<SliceNesting> slices;
    std::vector<SettledSlice> settled;
    std::uint64_t stretch = 0; ///< between restarts, counted over all recordings from 1
    std::uint64_t earliest = 0;
    std::uint64_t latest = 0;
    bool has_time = false;

    SideDevice &current() { return side.devices[device]; }

    std::uint32_t measure_of(MeasureId id) {
        const auto [place, is_new] = measures.try_emplace(std::move(id), static_cast<std::uint32_t>(measures.size()));
        if (is_new) {
            side.measures.push_back({place->first, {}});
        }
        return place->second;
    }

    /** Adds to what the current device has of a measure. */
    void add_counts(std::uint32_t measure, std::span<const CountedValue> values) {
        std::vector<DeviceCounts> &all = side.measures[measure].devices;
        const auto place = std::lower_bound(all.begin(), all.end(), device,
                                            [](const DeviceCounts &one, std::uint32_t it) { return one.device < it; });
        if (place == all.end() || place->device != device) {
            all.insert(place, {device, CountedValues(values)});
        } else {
            place->values = CountedValues(merge_counts(place->values.decoded(), values));
        }
    }

    void settle(std::uint32_t measure, ValueGatherer &values) {
        if (!values.empty()) {
            add_counts(measure, values.take());
        }
    }

    void end_stretch() {
        if (has_time) {
            current().firmware_time = saturating_sum(current().firmware_time, latest - earliest);
        }
        has_time = false;
        ++stretch;
    }

    void take_settled_slices() {
        for (const auto &[function, depth] : settled) {
            functions[function]->depths.add(depth);
        }
        settled.clear();
    }

    void end_recording() {
        if (!slices) {
            return;
        }
        slices->settle_all(settled);
        slices.reset();
        take_settled_slices();
        end_stretch();
        breaks = {};
    }

    /** Stores what was gathered of the current device. */
    void end_device() {
        for (auto &[path, values] : paths) {
            if (values->count != 0) {
                current().paths[path] += std::exchange(values->count, 0);
            }
            settle(values->measure, values->intervals);
        }
        for (auto &[key, shape] : shapes) {
            if (shape) {
                for (FieldValues &field : shape->fields) {
                    settle(field.measure, field.values);
                }
            }
        }
        for (const std::unique_ptr<FunctionValues> &function : functions) {
            settle(function->duration_measure, function->durations);
            settle(function->nesting_measure, function->depths);
        }
    }

    /** @return null beyond the limit. */
    PathValues *path_of(Path path) {
        if (const auto found = paths.find(path); found != paths.end()) {
            return found->second.get();
        }
        if (paths.size() == kMostPaths) {
            return nullptr;
        }
        const std::uint32_t measure = measure_of({.kind = MeasureKind::Interval, .path = path});
        return paths.emplace(path, std::make_unique<PathValues>(PathValues{path, measure, 0, 0, 0, {}}))
            .first->second.get();
    }

    std::vector<FieldValues> fields_of(Path path, std::size_t payload) {
        std::vector<FieldValues> fields;
        for (const qor::Layout *layout : decoder::kPayloads[payload]) {
            for (const qor::Field &field : layout->fields) {
                const bool is_shown_again = std::ranges::any_of(
                    fields, [&](const FieldValues &other) { return show_the_same(other.field, field); });
                if (is_compared(field) && !is_shown_again) {
                    fields.push_back({field,
                                      measure_of({.kind = MeasureKind::PayloadField,
                                                  .path = path,
                                                  .layout = std::string(layout->name),
                                                  .text = std::string(field.name)}),
                                      {}});
                }
            }
        }
        return fields;
    }

    /** @return null beyond the limit. */
    Shape *shape_of(const _QorProfileReport &report) {
        const std::size_t payload = decoder::payload_index(report);
        const Path path = report.header();
        const std::uint64_t key = std::uint64_t{payload} << 32 | path;
        Shape *&recent_one = recent[(path * kFibonacci) >> (32 - kRecentBits)];
        if (recent_one != nullptr && recent_one->key == key) {
            return recent_one;
        }
        if (const auto found = shapes.find(key); found != shapes.end()) {
            return recent_one = found->second.get();
        }
        PathValues *const values = path_of(path);
        if (values == nullptr) {
            return nullptr;
        }
        recent_one = shapes.emplace(key, std::make_unique<Shape>(Shape{key, payload, values, fields_of(path, payload)}))
                         .first->second.get();
        return recent_one;
    }

    /** @return null beyond the limit. */
    std::optional<std::uint32_t> function_of(const FunctionCall &call) {
        if (call.has_id) {
            if (const auto found = function_ids.find(call.id); found != function_ids.end()) {
                return found->second;
            }
        } else if (const auto found = function_texts.find(call.text); found != function_texts.end()) {
            return found->second;
        }
        if (functions.size() == kMostFunctions) {
            return std::nullopt;
        }
        const auto number = static_cast<std::uint32_t>(functions.size());
        MeasureId id{.kind = MeasureKind::FunctionDuration};
        if (call.has_id) {
            id.number = call.id;
            function_ids.emplace(call.id, number);
        } else {
            id.text = call.text;
            function_texts.emplace(call.text, number);
        }
        const std::uint32_t durations = measure_of(id);
        id.kind = MeasureKind::FunctionNesting;
        functions.push_back(
            std::make_unique<FunctionValues>(FunctionValues{durations, measure_of(std::move(id)), {}, {}}));
        return number;
    }

    void add_function(const FunctionCall &call) {
        const std::optional<std::uint32_t> function = function_of(call);
        if (!function) {
            ++side.not_compared;
            return;
        }
        functions[*function]->durations.add(key_of_whole(call.duration));
        slices->fit(call.thread, call.slice, *function);
        if (!settled.empty()) {
            take_settled_slices();
        }
    }

    void add_wake(const _QorProfileReport &report) {
        const std::uint64_t reason = qor::load_number(report.bytes, kWakeReason);
        ++current().wakes;
        if (reasons.size() < kMostReasons || reasons.contains(reason)) {
            reasons.insert(reason);
            ++current().reasons[reason];
        } else {
            ++side.not_compared;
        }
    }

    void add_report(const _QorProfileReport &report) {
        const std::uint64_t time = report.timestamp();
        earliest = has_time ? std::min(earliest, time) : time;
        latest = has_time ? std::max(latest, time) : time;
        has_time = true;
        Shape *const shape = shape_of(report);
        if (shape == nullptr) {
            ++side.not_compared;
            return;
        }
        PathValues &path = *shape->path;
        ++path.count;
        if (path.stretch == stretch && time >= path.time) {
            path.intervals.add(key_of_whole(time - path.time));
        }
        path.stretch = stretch;
        path.time = time;
        for (FieldValues &field : shape->fields) {
            field.values.add(key_of_field(report, field.field));
        }
        if (const std::optional<FunctionCall> call = function_call_of(report, shape->payload)) {
            add_function(*call);
        } else if (begins_with(shape->payload, qor::kWakeRequest)) {
            add_wake(report);
        }
    }

    void add_latency(std::string name, std::optional<std::uint64_t> value, std::int64_t taken) {
        if (value) {
            keep_newest(latencies[std::move(name)], taken, *value);
        }
    }

    template <typename Value>
    void keep_newest(std::map<std::uint32_t, Newest<Value>> &devices_of_name, std::int64_t taken, Value value) {
        const auto [place, is_new] = devices_of_name.try_emplace(device, Newest<Value>{taken, value});
        if (!is_new && taken >= place->second.taken) {
            place->second = {taken, std::move(value)};
        }
    }

    void add_latencies(TvDictionaryRef payload, std::int64_t taken) {
        const TvRef press = TvDictionaryGetValue(payload, qor::latency::kPressKey);
        add_latency(qor::latency::kFingerDetectToButtonDown.key(),
                    ticks_of(press, qor::latency::kFingerDetectToButtonDown.key()), taken);
        for (const char *const click : qor::latency::kClickKeys) {
            for (const std::size_t field : {qor::latency::kDownLatency, qor::latency::kUpLatency}) {
                const char *const key = qor::latency::kClickFields[field].key();
                add_latency(click + (" " + std::string(key)), ticks_of(TvDictionaryGetValue(press, click), key), taken);
            }
        }
        const TvRef bounds = TvDictionaryGetValue(payload, qor::latency::kBoundsKey);
        for (const auto &[minimum, maximum] : qor::latency::kBounds) {
            add_latency(minimum.key(), ticks_of(bounds, minimum.key()), taken);
            add_latency(maximum.key(), ticks_of(bounds, maximum.key()), taken);
        }
    }

    /**
     * A device may have sensors of the same type: their locations tell them apart. The location itself is a setting of
     * the type, so that a sensor that was moved is seen.
     */
    void add_settings(const std::string &title, TvDictionaryRef payload, std::int64_t taken) {
        const TvRef kind = TvDictionaryGetValue(payload, qor::sensor::kSensorTypeKey);
        std::string start = title + (kind != nullptr ? " " + text_of(kind) : "");
        if (const TvRef value = TvDictionaryGetValue(payload, qor::sensor::kLocation.key)) {
            const std::string location = text_of(value);
            locations[start + ": " + qor::sensor::kLocation.key][device].insert(location);
            start += location == kNoLocation ? "" : " " + location;
        }
        start += ": ";
        host::for_each_entry(payload, [&](std::string_view key, TvRef value) {
            if (key == qor::sensor::kLocation.key) {
                return;
            }
            const std::string name = start + std::string(key);
            if (TvGetTypeID(value) != TvDictionaryGetTypeID()) {
                keep_newest(settings[name], taken, text_of(value));
                return;
            }
            host::for_each_entry(value, [&](std::string_view field, TvRef text) {
                keep_newest(settings[name + " " + std::string(field)], taken, text_of(text));
            });
        });
    }

    /** All of a device's sensors of a type, in whatever order they were read. */
    void add_locations() {
        for (const auto &[name, devices_of_name] : locations) {
            for (const auto &[of, texts] : devices_of_name) {
                std::string all;
                for (const std::string &text : texts) {
                    all += (all.empty() ? "" : ", ") + text;
                }
                settings[name].insert_or_assign(of, Newest<std::string>{0, std::move(all)});
            }
        }
    }

    /** Devices in the order of their names. @return the new index by the old one. */
    std::vector<std::uint32_t> sort_devices() {
        std::vector<std::uint32_t> order(side.devices.size());
        std::iota(order.begin(), order.end(), 0U);
        std::ranges::sort(order, {},
                          [this](std::uint32_t index) -> const std::string & { return side.devices[index].name; });
        std::vector<std::uint32_t> places(order.size());
        std::vector<SideDevice> sorted;
        for (std::uint32_t place = 0; place < order.size(); ++place) {
            places[order[place]] = place;
            sorted.push_back(std::move(side.devices[order[place]]));
        }
        side.devices = std::move(sorted);
        return places;
    }

    void add_single_values() {
        for (const auto &[key, values] : scalars) {
            const std::uint32_t measure = measure_of({.kind = MeasureKind::Scalar, .text = key});
            for (const auto &[of, value] : values) {
                device = of;
                add_counts(measure, std::array{CountedValue{key_of_real(static_cast<double>(value)), 1}});
            }
        }
        for (const auto &[name, values] : latencies) {
            const std::uint32_t measure = measure_of({.kind = MeasureKind::Latency, .text = name});
            for (const auto &[of, newest] : values) {
                device = of;
                add_counts(measure, std::array{CountedValue{key_of_whole(newest.value), 1}});
            }
        }
    }
};

SideCollector::SideCollector() : _state(std::make_unique<State>()) {}

SideCollector::~SideCollector() = default;

void SideCollector::begin_recording(const std::string &device) {
    State &state = *_state;
    state.end_recording();
    const auto [place, is_new] =
        state.devices.try_emplace(device, static_cast<std::uint32_t>(state.side.devices.size()));
    if (is_new) {
        state.side.devices.push_back({.name = device});
    }
    if (place->second != state.device) {
        if (state.device != kNone) {
            state.end_device();
        }
        state.device = place->second;
    }
    ++state.current().recordings;
    state.slices.emplace(&state.settled);
    ++state.stretch;
}

void SideCollector::add_reports(std::span<const _QorProfileReport> reports) {
    State &state = *_state;
    SideDevice &device = state.current();
    device.reports += reports.size();
    state.restarts.clear();
    state.breaks.see(reports, [&](std::size_t index, const SequenceBreak &found) {
        device.gaps += found.is_gap() ? 1 : 0;
        device.missing += found.missing();
        if (found.is_restart()) {
            ++device.restarts;
            state.restarts.push_back(index);
        }
    });
    auto restart = state.restarts.begin();
    for (std::size_t index = 0; index < reports.size(); ++index) {
        if (restart != state.restarts.end() && *restart == index) {
            state.end_stretch();
            ++restart;
        }
        state.add_report(reports[index]);
    }
}

void SideCollector::add_store(const host::StoreContents &contents) {
    State &state = *_state;
    for (const auto &[key, value] : contents.scalars) {
        // Scalars wrap, as in a merge of stores.
        std::int64_t &sum = state.scalars[key][state.device];
        sum = static_cast<std::int64_t>(static_cast<std::uint64_t>(sum) + static_cast<std::uint64_t>(value));
    }
    std::vector<CountedValue> values;
    for (const auto &[key, distribution] : contents.distributions) {
        values.clear();
        for (const auto &[value, count] : distribution) {
            values.push_back({key_of_real(value), count});
        }
        state.add_counts(state.measure_of({.kind = MeasureKind::Distribution, .text = key}), values);
    }
}

void SideCollector::add_records(const std::vector<host::StateRecord> &records, std::int64_t taken) {
    for (const host::StateRecord &record : records) {
        const TvRef payload = record.payload.get();
        if (!record.payload || TvGetTypeID(payload) != TvDictionaryGetTypeID()) {
            continue;
        }
        const bool has_latencies = TvDictionaryGetValue(payload, qor::latency::kBoundsKey) != nullptr ||
                                   TvDictionaryGetValue(payload, qor::latency::kPressKey) != nullptr;
        if (has_latencies) {
            _state->add_latencies(payload, taken);
        } else {
            _state->add_settings(record.title, payload, taken);
        }
    }
}

Side SideCollector::finish() {
    State &state = *_state;
    state.end_recording();
    if (state.device != kNone) {
        state.end_device();
    }
    state.add_single_values();
    const std::vector<std::uint32_t> places = state.sort_devices();
    Side &side = state.side;
    std::erase_if(side.measures, [](const SideMeasure &measure) { return measure.devices.empty(); });
    for (SideMeasure &measure : side.measures) {
        for (DeviceCounts &counts : measure.devices) {
            counts.device = places[counts.device];
        }
        std::ranges::sort(measure.devices, {}, &DeviceCounts::device);
    }
    std::ranges::sort(side.measures, {}, &SideMeasure::id);
    state.add_locations();
    for (auto &[name, texts] : state.settings) {
        std::vector<std::pair<std::uint32_t, std::string>> &of_name = side.settings[name];
        for (auto &[device, newest] : texts) {
            of_name.emplace_back(places[device], std::move(newest.value));
        }
        std::ranges::sort(of_name);
    }
    return std::move(side);
}

} // namespace cli
