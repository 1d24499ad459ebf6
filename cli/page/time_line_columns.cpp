#include "cli/page/time_line_columns.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <compare>
#include <functional>
#include <limits>
#include <map>
#include <numeric>
#include <span>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "cli/dumps/function_call.h"
#include "cli/dumps/slice_nesting.h"
#include "cli/dumps/wall_time.h"
#include "cli/page/payload_tables.h"
#include "cli/page/varint_column.h"
#include "cli/terminal/hex.h"
#include "decoder/name_tables.h"
#include "host/utf8.h"
#include "qor/categories.h"

namespace cli {
namespace {

/** The end of any axis: scripts tell all integers up to it apart. Time stamps beyond are drawn there. */
constexpr std::uint64_t kAxisEnd = std::uint64_t{1} << 52;

constexpr std::uint8_t kTriggerType = std::ranges::find(qor::kTypes, std::string_view("trigger"), &qor::Type::name)->id;

/** UTF-8: the text, or its bytes in hexadecimal if it is something else. */
std::string readable(std::string_view text) { return host::is_utf8(text) ? std::string(text) : hex(text); }

/** Whether the report i of n is one of m that are spread evenly. */
bool is_chosen(std::size_t i, std::size_t m, std::size_t n) { return (i + 1) * m / n != i * m / n; }

/** Calls `use` with the place of each chosen report of a kind. */
template <typename Use>
void for_each_chosen(const ReportKind &kind, std::size_t chosen, const Use &use) {
    for (std::size_t i = 0; i < kind.places.size(); ++i) {
        if (is_chosen(i, chosen, kind.places.size())) {
            use(kind.places[i]);
        }
    }
}

/** Numbers things in the order of how often they occur, up to a limit. 0 is the number of all others. */
template <typename Key, typename Hash = std::hash<Key>>
class Ranking {
public:
    void count(const Key &key) { ++_counts[key]; }

    void end(std::size_t limit) {
        std::vector<std::pair<Key, std::size_t>> ranked(_counts.begin(), _counts.end());
        std::ranges::sort(ranked, [](const auto &a, const auto &b) {
            return a.second != b.second ? a.second > b.second : a.first < b.first;
        });
        ranked.resize(std::min(ranked.size(), limit - 1));
        for (const auto &[key, count] : ranked) {
            _numbers.emplace(key, static_cast<std::uint32_t>(keys.size() + 1));
            keys.push_back(key);
        }
    }

    std::uint32_t number(const Key &key) const {
        const auto found = _numbers.find(key);
        return found != _numbers.end() ? found->second : 0;
    }

    std::vector<Key> keys; ///< after `end`: that of number 1 and so on

private:
    std::unordered_map<Key, std::size_t, Hash> _counts;
    std::unordered_map<Key, std::uint32_t, Hash> _numbers;
};

/** A function by its id, or by its text. */
struct FunctionKey {
    bool has_id;
    std::uint64_t id;
    std::string text;

    auto operator<=>(const FunctionKey &) const = default;
};

struct FunctionHash {
    std::size_t operator()(const FunctionKey &key) const {
        return std::hash<std::string>()(key.text) ^ std::hash<std::uint64_t>()(key.id);
    }
};

FunctionKey key_of(const FunctionCall &call) { return {call.has_id, call.id, std::string(call.text)}; }

/** A slice of a function as it is drawn. */
struct DrawnSlice {
    std::uint32_t place; ///< of its report
    std::uint32_t thread;
    std::uint32_t function;
    std::uint32_t depth;
    std::uint64_t begin; ///< on the axis
    std::uint64_t end;
};

/** Sorts the slices by thread, from the outer to the inner, and says how deep each is. */
void find_depths(std::vector<DrawnSlice> &slices) {
    std::ranges::sort(slices, [](const DrawnSlice &a, const DrawnSlice &b) {
        if (a.thread != b.thread) {
            return a.thread < b.thread;
        }
        if (a.begin != b.begin) {
            return a.begin < b.begin;
        }
        return a.end != b.end ? a.end > b.end : a.place > b.place; // what ended later is around the other
    });
    std::vector<std::uint64_t> ends;
    std::uint32_t thread = 0;
    for (DrawnSlice &slice : slices) {
        if (slice.thread != thread) {
            ends.clear();
            thread = slice.thread;
        }
        while (!ends.empty() && ends.back() <= slice.begin) {
            ends.pop_back();
        }
        slice.depth = static_cast<std::uint32_t>(std::min(ends.size(), TimeLineColumns::kDepthsAtMost - 1));
        // Slices of threads beyond the limit share one row.
        if (thread == 0) {
            slice.depth = 0;
        } else if (ends.size() < TimeLineColumns::kDepthsAtMost) {
            ends.push_back(slice.end);
        }
    }
    std::ranges::stable_sort(slices, [](const DrawnSlice &a, const DrawnSlice &b) {
        return a.thread != b.thread ? a.thread < b.thread : a.depth < b.depth;
    });
}

std::string packed_slices(const std::vector<DrawnSlice> &slices, const std::vector<std::uint64_t> &axis) {
    VarintColumn column;
    std::int64_t before = 0;
    for (const DrawnSlice &slice : slices) {
        column.put_signed(std::int64_t{slice.place} - before);
        before = slice.place;
    }
    for (const DrawnSlice &slice : slices) {
        column.put(slice.end - slice.begin);
    }
    for (const DrawnSlice &slice : slices) {
        column.put(slice.function);
    }
    for (const DrawnSlice &slice : slices) {
        column.put(axis[slice.place] - slice.end);
    }
    return column.bytes();
}

/** How many slices each row of each thread has. */
Json rows_of(const std::vector<DrawnSlice> &slices, std::uint32_t thread) {
    std::vector<std::uint64_t> counts;
    for (const DrawnSlice &slice : slices) {
        if (slice.thread == thread) {
            counts.resize(std::max<std::size_t>(counts.size(), slice.depth + std::size_t{1}));
            ++counts[slice.depth];
        }
    }
    Json rows = Json::array();
    for (const std::uint64_t count : counts) {
        rows.push_back(count);
    }
    return rows;
}

void put_float(std::string &bytes, double number) {
    const auto bits = std::bit_cast<std::uint32_t>(static_cast<float>(number));
    for (unsigned shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>(static_cast<unsigned char>(bits >> shift & 0xFF));
    }
}

/** What the reports of a kind are drawn as. */
const char *drawing_of(const _QorProfileReport &report) {
    const std::size_t payload = decoder::payload_index(report);
    if (begins_with(payload, qor::kFunction) || begins_with(payload, qor::kExtFunction)) {
        return "slice";
    }
    if (begins_with(payload, qor::kWakeEvent)) {
        return "wake";
    }
    if (is_of_button(report)) {
        return "button";
    }
    if (report.type_id() == kTriggerType) {
        return "trigger";
    }
    return curve_fields(report).empty() ? "mark" : "curve";
}

} // namespace

TimeLineColumns::TimeLineColumns(const TimeLineRecording &recording, std::uint64_t stride, const OwnerNames &names,
                                 std::size_t series_at_most)
    : _recording(recording), _stride(stride), _names(names), _series_at_most(series_at_most) {
    place_stretches();
    order_reports();
    find_kinds();
    cut_slices();
}

void TimeLineColumns::place_stretches() {
    for (const TimeLineStretch &stretch : _recording.stretches) {
        _offsets.push_back(_length);
        const std::uint64_t span = stretch.last_time - stretch.first_time;
        _is_exact = _is_exact && span <= kAxisEnd - _length;
        _length += std::min(span, kAxisEnd - _length);
    }
}

std::size_t TimeLineColumns::stretch_of(std::uint64_t index) const {
    const auto after = std::ranges::upper_bound(_recording.stretches, index, {}, &TimeLineStretch::first_report);
    return static_cast<std::size_t>(after - _recording.stretches.begin()) - 1;
}

std::uint64_t TimeLineColumns::axis_of(std::uint64_t time, std::size_t stretch) const {
    const std::uint64_t first = _recording.stretches[stretch].first_time;
    const std::uint64_t since = time - std::min(first, time);
    return _offsets[stretch] + std::min(since, kAxisEnd - _offsets[stretch]);
}

void TimeLineColumns::order_reports() {
    const std::size_t count = _recording.reports.size();
    std::vector<std::uint64_t> axis(count);
    std::size_t stretch = 0;
    for (std::size_t i = 0; i < count; ++i) {
        while (stretch + 1 < _recording.stretches.size() &&
               _recording.stretches[stretch + 1].first_report <= index_of(i)) {
            ++stretch;
        }
        axis[i] = axis_of(_recording.reports[i].timestamp(), stretch);
    }
    _order.resize(count);
    std::iota(_order.begin(), _order.end(), std::uint32_t{0});
    if (!std::ranges::is_sorted(axis)) {
        std::ranges::stable_sort(_order, {}, [&axis](std::uint32_t kept) { return axis[kept]; });
    }
    _axis.reserve(count);
    for (const std::uint32_t kept : _order) {
        _axis.push_back(axis[kept]);
    }
}

void TimeLineColumns::find_kinds() {
    std::unordered_map<std::uint32_t, std::uint16_t> numbers;
    _kind_of.reserve(_order.size());
    for (std::size_t place = 0; place < _order.size(); ++place) {
        const std::uint32_t header = report(place).header();
        const bool is_full = numbers.size() + 1 >= kKindsAtMost;
        auto found = numbers.find(header);
        if (found == numbers.end()) {
            if (!is_full || _kinds.size() < kKindsAtMost) {
                _kinds.push_back({header, is_full, {}});
            }
            const auto number = static_cast<std::uint16_t>(_kinds.size() - 1);
            if (is_full) {
                _kinds[number].places.push_back(static_cast<std::uint32_t>(place));
                _kind_of.push_back(number);
                continue;
            }
            found = numbers.emplace(header, number).first;
        }
        _kinds[found->second].places.push_back(static_cast<std::uint32_t>(place));
        _kind_of.push_back(found->second);
    }
}

void TimeLineColumns::cut_slices() {
    std::vector<std::uint32_t> place_of(_order.size());
    for (std::size_t place = 0; place < _order.size(); ++place) {
        place_of[_order[place]] = static_cast<std::uint32_t>(place);
    }
    Ranking<std::uint64_t> threads;
    Ranking<FunctionKey, FunctionHash> functions;
    std::unordered_map<std::uint64_t, std::size_t> thread_fields;
    const auto for_each_call = [&](const auto &use) {
        for (std::size_t i = 0; i < _recording.reports.size(); ++i) {
            const _QorProfileReport &report = _recording.reports[i];
            if (const auto call = function_call_of(report, decoder::payload_index(report))) {
                use(i, *call);
            }
        }
    };
    for_each_call([&](std::size_t, const FunctionCall &call) {
        threads.count(call.thread);
        functions.count(key_of(call));
        thread_fields.emplace(call.thread, call.thread_field);
    });
    threads.end(kThreadsAtMost);
    functions.end(kFunctionsAtMost);

    std::vector<DrawnSlice> slices;
    SliceNesting nesting;
    std::size_t stretch_before = 0;
    for_each_call([&](std::size_t i, const FunctionCall &call) {
        const std::size_t stretch = stretch_of(index_of(i));
        if (stretch != stretch_before) {
            nesting = SliceNesting(); // time begins anew
            stretch_before = stretch;
        }
        const Slice left = nesting.fit(call.thread, call.slice).left;
        slices.push_back({place_of[i], threads.number(call.thread), functions.number(key_of(call)), 0,
                          axis_of(left.begin, stretch), axis_of(left.end, stretch)});
    });
    find_depths(slices);
    _slices = packed_slices(slices, _axis);

    const auto add_thread = [&](const std::string &name, std::uint32_t number) {
        _threads.push_back(Json::object({{"name", name}, {"rows", rows_of(slices, number)}}));
    };
    add_thread("other threads", 0);
    for (std::size_t i = 0; i < threads.keys.size(); ++i) {
        const OwnerName *name = _names.value(thread_fields.at(threads.keys[i]), threads.keys[i]);
        add_thread(name != nullptr ? name->plain : "thread " + std::to_string(threads.keys[i]),
                   static_cast<std::uint32_t>(i + 1));
    }
    _functions.push_back("another function");
    for (const FunctionKey &key : functions.keys) {
        const OwnerName *name = key.has_id ? _names.value(kFunctionIdField, key.id) : nullptr;
        _functions.push_back(name != nullptr ? name->plain
                             : key.has_id    ? "function " + std::to_string(key.id)
                                             : readable(key.text));
    }
}

std::string TimeLineColumns::reports() const {
    VarintColumn column;
    std::uint64_t axis_before = 0;
    for (const std::uint64_t axis : _axis) {
        column.put(axis - axis_before);
        axis_before = axis;
    }
    for (const std::uint16_t kind : _kind_of) {
        column.put(kind);
    }
    std::int64_t number_before = -static_cast<std::int64_t>(_stride);
    std::int64_t index_before = number_before;
    for (std::size_t place = 0; place < _order.size(); ++place) {
        const auto number = static_cast<std::int64_t>(report(place).sequence_num());
        column.put_signed(number - number_before - static_cast<std::int64_t>(_stride));
        number_before = number;
    }
    for (const std::uint32_t kept : _order) {
        const auto index = static_cast<std::int64_t>(index_of(kept));
        column.put_signed(index - index_before - static_cast<std::int64_t>(_stride));
        index_before = index;
    }
    if (!_is_exact) {
        for (std::size_t place = 0; place < _order.size(); ++place) {
            column.put(report(place).timestamp() & 0xFFFF'FFFF);
        }
        for (std::size_t place = 0; place < _order.size(); ++place) {
            column.put(report(place).timestamp() >> 32);
        }
    }
    return column.bytes();
}

std::string TimeLineColumns::payloads(const std::vector<std::size_t> &chosen) const {
    std::string bytes;
    std::vector<std::uint32_t> places;
    for (std::size_t kind = 0; kind < _kinds.size(); ++kind) {
        places.clear();
        for_each_chosen(_kinds[kind], chosen[kind], [&](std::uint32_t place) { places.push_back(place); });
        for (std::size_t byte = qor::kPayloadOffset; byte < _QorProfileReport::kSize; ++byte) {
            for (const std::uint32_t place : places) {
                bytes += static_cast<char>(report(place).bytes[byte]);
            }
        }
    }
    return bytes;
}

std::vector<std::size_t> TimeLineColumns::overview_kinds(const std::vector<std::size_t> &chosen) const {
    std::vector<std::size_t> kinds;
    for (std::size_t kind = 0; kind < _kinds.size(); ++kind) {
        if (chosen[kind] < _kinds[kind].places.size() && !_kinds[kind].is_others &&
            !curve_fields(first_of(_kinds[kind])).empty()) {
            kinds.push_back(kind);
        }
    }
    std::ranges::stable_sort(kinds, std::ranges::greater{},
                             [this](std::size_t kind) { return _kinds[kind].places.size(); });
    std::size_t series = 0;
    const auto beyond = std::ranges::find_if(kinds, [&](std::size_t kind) {
        series += curve_fields(first_of(_kinds[kind])).size();
        return series > _series_at_most;
    });
    kinds.erase(beyond, kinds.end());
    return kinds;
}

std::string TimeLineColumns::overviews(const std::vector<std::size_t> &chosen) const {
    std::string bytes;
    for (const std::size_t kind : overview_kinds(chosen)) {
        for (const CurveField &field : curve_fields(first_of(_kinds[kind]))) {
            constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
            std::array<double, kBuckets> least;
            std::array<double, kBuckets> greatest;
            least.fill(kNone);
            greatest.fill(kNone);
            for (const std::uint32_t place : _kinds[kind].places) {
                const double part = static_cast<double>(_axis[place]) / static_cast<double>(_length + 1);
                const auto bucket = std::min(static_cast<std::size_t>(part * kBuckets), kBuckets - 1);
                const double value = curve_value(report(place), *field.row);
                least[bucket] = std::fmin(least[bucket], value);
                greatest[bucket] = std::fmax(greatest[bucket], value);
            }
            for (const std::array<double, kBuckets> &values : {least, greatest}) {
                for (const double value : values) {
                    put_float(bytes, value);
                }
            }
        }
    }
    return bytes;
}

Json TimeLineColumns::kinds_json(const std::vector<std::size_t> &chosen) const {
    Json kinds = Json::array();
    for (std::size_t i = 0; i < _kinds.size(); ++i) {
        const ReportKind &kind = _kinds[i];
        const _QorProfileReport &first = first_of(kind);
        const std::uint8_t category = first.category_id();
        const std::uint8_t component = first.component_id();
        Json curves = Json::array();
        if (!kind.is_others) {
            for (const CurveField &field : curve_fields(first)) {
                curves.push_back(field.place);
            }
        }
        kinds.push_back(Json::object({{"others", kind.is_others},
                                      {"ids", kind.header},
                                      {"category", std::string(_names.category_name(category))},
                                      {"component", std::string(_names.component_name(category, component))},
                                      {"event", std::string(_names.event_name(category, component, first.event_id()))},
                                      {"type", std::string(_names.type_name(first.type_id()))},
                                      {"draws", kind.is_others ? "mark" : drawing_of(first)},
                                      {"payload", payload_choice(first)},
                                      {"curves", std::move(curves)},
                                      {"payloads", chosen[i]}}));
    }
    return kinds;
}

Json TimeLineColumns::stretches_json() const {
    Json stretches = Json::array();
    for (std::size_t i = 0; i < _recording.stretches.size(); ++i) {
        const TimeLineStretch &stretch = _recording.stretches[i];
        Json object = Json::object(
            {{"report", stretch.first_report}, {"axis", _offsets[i]}, {"time", std::to_string(stretch.first_time)}});
        if (_recording.clock.sync) {
            const std::string text = iso_wall_time(stretch.first_time, *_recording.clock.sync);
            if (!text.empty()) {
                object["wall_time"] = text;
                object["wall"] = std::to_string(decoder::wall_time(stretch.first_time, *_recording.clock.sync));
            }
        }
        stretches.push_back(std::move(object));
    }
    return stretches;
}

Json TimeLineColumns::breaks_json() const {
    Json breaks = Json::array();
    for (const TimeLineBreak &one : _recording.breaks) {
        const SequenceBreak &what = one.what;
        const std::size_t before = one.stretch - (what.is_restart() && one.stretch > 0 ? 1 : 0);
        breaks.push_back(Json::object({{"begin", axis_of(what.time_before, before)},
                                       {"end", axis_of(what.time, one.stretch)},
                                       {"missing", what.missing()},
                                       {"restart", what.is_restart()},
                                       {"back", what.goes_back_in_time()},
                                       {"number_before", what.number_before},
                                       {"number", what.number}}));
    }
    return breaks;
}

Json TimeLineColumns::value_names(const std::vector<std::size_t> &chosen) const {
    struct NumberedField {
        std::size_t number;
        const qor::Field *row;
    };
    std::array<std::vector<NumberedField>, decoder::kPayloads.size()> fields;
    for (std::size_t payload = 0; payload < fields.size(); ++payload) {
        for (const qor::Layout *layout : decoder::kPayloads[payload]) {
            for (const qor::Field &field : layout->fields) {
                if (may_have_names(field)) {
                    fields[payload].push_back({field_number(*layout, field.name), &field});
                }
            }
        }
    }
    std::map<std::size_t, std::map<std::uint64_t, std::string>> names;
    for (std::size_t kind = 0; kind < _kinds.size(); ++kind) {
        for_each_chosen(_kinds[kind], chosen[kind], [&](std::uint32_t place) {
            const _QorProfileReport &one = report(place);
            for (const NumberedField &field : fields[decoder::payload_index(one)]) {
                const std::uint64_t value = qor::load_number(one.bytes, *field.row);
                if (const OwnerName *name = _names.value(field.number, value)) {
                    names[field.number][value] = name->plain;
                }
            }
        });
    }
    Json object = Json::object();
    for (const auto &[field, values] : names) {
        Json of_field = Json::object();
        for (const auto &[value, name] : values) {
            of_field[std::to_string(value)] = name;
        }
        object[std::to_string(field)] = std::move(of_field);
    }
    return object;
}

Json TimeLineColumns::subject_names() const {
    std::map<std::uint8_t, std::map<std::uint32_t, std::string>> names;
    for (const _QorProfileReport &one : _recording.reports) {
        if (!begins_with(decoder::payload_index(one), qor::kSSHBTrace)) {
            continue;
        }
        const std::uint8_t component = one.component_id();
        const auto id = one.at<std::uint32_t>(qor::kSSHBTraceFields[0].offset);
        if (const decoder::short_text *name = decoder::sshb_subtype_table(component).find(id)) {
            names[component][id] = decoder::strip_apostrophes(*name);
        } else if (const OwnerName *own = _names.subject(component, id)) {
            names[component][id] = own->plain;
        }
    }
    Json object = Json::object();
    for (const auto &[component, subjects] : names) {
        Json of_component = Json::object();
        for (const auto &[id, name] : subjects) {
            of_component[std::to_string(id)] = name;
        }
        object[std::to_string(component)] = std::move(of_component);
    }
    return object;
}

Json TimeLineColumns::facts(const std::vector<std::size_t> &chosen) const {
    Json overviews = Json::array();
    for (const std::size_t kind : overview_kinds(chosen)) {
        overviews.push_back(kind);
    }
    Json facts = Json::object({{"reports", _recording.report_count},
                               {"kept", _order.size()},
                               {"stride", _stride},
                               {"length", _length},
                               {"has_times", !_is_exact},
                               {"stretches", stretches_json()},
                               {"breaks", breaks_json()},
                               {"break_count", _recording.break_count},
                               {"kinds", kinds_json(chosen)},
                               {"threads", _threads},
                               {"functions", _functions},
                               {"buckets", kBuckets},
                               {"overviews", std::move(overviews)},
                               {"subjects", subject_names()},
                               {"value_names", value_names(chosen)}});
    if (_recording.clock.boot_time) {
        facts["boot_time"] = std::to_string(*_recording.clock.boot_time);
    }
    return facts;
}

} // namespace cli
