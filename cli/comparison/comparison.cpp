#include "cli/comparison/comparison.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <map>
#include <numeric>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "cli/comparison/device_table.h"
#include "cli/comparison/statistics.h"

namespace cli {
namespace {

constexpr std::size_t kLeastForOneDevice = 8;
constexpr std::size_t kLeastForMoved = 3;
constexpr double kLeastDistance = 0.3; ///< of one device
constexpr double kTimesOthers = 3;     ///< as far from all others as the second farthest, at least
constexpr double kLeastExcess = 10;    ///< of one device: more reports, numbers or wakes than usual
constexpr double kLeastRestarts = 3;
constexpr double kRounding = 1e-9;
constexpr double kRelativeRounding = 1e-12;
constexpr std::uint64_t kLeastDraws = 19'999;
constexpr std::size_t kMostNeeded = 100'000; ///< devices a side: with fewer, any difference can be seen

double as_real(std::uint64_t number) { return static_cast<double>(number); }

/** A device that differs from all others. */
struct LoneDevice {
    std::size_t row;
    double distance;
};

/** The place of the greatest, and the second greatest. */
struct Greatest {
    std::size_t place;
    double second;
};

Greatest greatest_of(const std::vector<double> &numbers) {
    const auto place = static_cast<std::size_t>(std::ranges::max_element(numbers) - numbers.begin());
    double second = 0;
    for (std::size_t index = 0; index < numbers.size(); ++index) {
        second = index == place ? second : std::max(second, numbers[index]);
    }
    return {place, second};
}

std::vector<double> medians_of(std::span<const TableRow> rows) {
    std::vector<double> medians;
    std::ranges::transform(rows, std::back_inserter(medians), &TableRow::median);
    return medians;
}

class Comparison {
public:
    Comparison(const Side &a, const Side &b, const ComparisonOptions &options)
        : _a(a), _b(b), _options(options), _measures(a, b) {
        _result.a = a.summary();
        _result.b = b.summary();
        _result.seed = options.seed;
        _result.level = options.level;
        _result.is_paired = std::ranges::equal(a.devices, b.devices, {}, &SideDevice::name, &SideDevice::name);
        _result.not_compared = a.not_compared + b.not_compared;
    }

    ComparisonResult run() {
        for (std::size_t index = 0; index < _measures.size(); ++index) {
            _result.compared += _measures.has_both_sides(index) ? 1 : 0;
        }
        const double draws = std::ceil(2 * as_real(_result.compared) / _options.level) - 1;
        _draws = static_cast<std::uint64_t>(std::clamp(draws, static_cast<double>(kLeastDraws), 1e9));
        for (std::size_t index = 0; index < _measures.size(); ++index) {
            if (MeasureRows rows = _measures.rows(index); rows.has_both_sides()) {
                compare(index, DeviceTable(std::move(rows)));
            }
        }
        control();
        rank();
        draw();
        compare_settings();
        say_what_is_needed();
        return std::move(_result);
    }

private:
    /** What is known of a measure before all are known. */
    struct Outcome {
        Finding finding;
        std::optional<Finding> lone;
        std::size_t index; ///< of the measure
    };

    Sides sides_of(const MeasureRows &measure) const {
        const std::size_t of_b = measure.rows.size() - measure.devices_a;
        const std::span rows(measure.rows);
        const bool is_paired =
            _result.is_paired && std::ranges::equal(rows.first(measure.devices_a), rows.subspan(measure.devices_a), {},
                                                    &TableRow::device, &TableRow::device);
        return {measure.devices_a, of_b, is_paired};
    }

    void compare(std::size_t index, const DeviceTable &table) {
        const MeasureRows &measure = table.measure();
        Outcome outcome{{}, {}, index};
        Finding &finding = outcome.finding;
        finding.kind = FindingKind::None;
        finding.measure = measure.id;
        finding.a = table.a();
        finding.b = table.b();
        finding.distance = table.distance();
        const Sides sides = sides_of(measure);
        std::vector<bool> ignored;
        if (sides.a >= kLeastForMoved) {
            finding.devices_moved = moved(table, sides, ignored);
        }
        const std::span rows(measure.rows);
        finding.shift = shift_of(medians_of(rows.first(sides.a)), medians_of(rows.subspan(sides.a)));
        const std::optional<LoneDevice> lone = find_lone_device(table);
        if (lone) {
            outcome.lone = finding;
            outcome.lone->kind = FindingKind::OneDevice;
            outcome.lone->distance = lone->distance;
            outcome.lone->is_of_b = lone->row >= sides.a;
            const Side &side = outcome.lone->is_of_b ? _b : _a;
            outcome.lone->device = side.devices[measure.rows[lone->row].device].name;
        }
        finding.p = test(table.shares(), sides, lone);
        _outcomes.push_back(std::move(outcome));
    }

    /** @return nothing where there is nothing to test, or too few devices to see anything. */
    std::optional<double> test(const ShareMatrix &shares, Sides sides, const std::optional<LoneDevice> &lone) {
        const PermutationOptions options{_options.seed, _draws};
        if (!lone) {
            return can_be_tested(shares, sides) ? std::optional(permutation_p(shares, sides, options)) : std::nullopt;
        }
        // The others may differ, too. The device's pair has lost its partner.
        (lone->row < sides.a ? sides.a : sides.b) -= 1;
        sides.is_paired = false;
        const ShareMatrix others = shares.without(lone->row);
        const bool has_both = sides.a != 0 && sides.b != 0;
        return has_both && can_be_tested(others, sides) ? std::optional(permutation_p(others, sides, options))
                                                        : std::nullopt;
    }

    bool can_be_tested(const ShareMatrix &shares, const Sides &sides) {
        const bool differs = !shares.has_equal_rows();
        const bool is_enough = least_p(sides) <= _options.level;
        _lacks_devices = _lacks_devices || (differs && !is_enough);
        return differs && is_enough;
    }

    static std::size_t moved(const DeviceTable &table, const Sides &sides, std::vector<bool> &has_moved) {
        const std::span rows(table.measure().rows);
        if (!has_one_value(table.measure().id.kind)) {
            return count_moved(table.shares(), sides, has_moved);
        }
        const std::vector<double> values = medians_of(rows.first(sides.a));
        const double usual = std::ranges::max(deviations_from_others(values));
        const double middle = median_of(values);
        has_moved.assign(rows.size(), false);
        for (std::size_t row = sides.a; row < rows.size(); ++row) {
            has_moved[row] = std::abs(rows[row].median - middle) > usual * (1 + kRelativeRounding);
        }
        return static_cast<std::size_t>(std::ranges::count(has_moved, true));
    }

    std::optional<LoneDevice> find_lone_device(const DeviceTable &table) const {
        const std::span rows(table.measure().rows);
        if (rows.size() < kLeastForOneDevice) {
            return std::nullopt;
        }
        const MeasureKind kind = table.measure().id.kind;
        const std::vector<double> distances = distances_from_others(table.shares());
        if (has_one_value(kind)) {
            const std::vector<double> deviations = deviations_from_others(medians_of(rows));
            const auto [row, second] = greatest_of(deviations);
            const double deviation = deviations[row];
            const double least = kind == MeasureKind::Restarts ? kLeastRestarts : kLeastExcess;
            const bool is_much =
                rows[row].divisor > 0 ? deviation * rows[row].divisor >= least - kRounding : second > 0;
            const bool is_far = deviation >= kTimesOthers * second * (1 - kRelativeRounding);
            return is_much && is_far ? std::optional(LoneDevice{row, distances[row]}) : std::nullopt;
        }
        const auto [row, second] = greatest_of(distances);
        // Beyond what chance does to a device with so few values: Dvoretzky, Kiefer, Wolfowitz and Bonferroni.
        const double chance =
            std::sqrt(std::log(2 * as_real(_result.compared) * as_real(rows.size()) / _options.level) /
                      (2 * as_real(rows[row].count)));
        const double least = std::max({kLeastDistance, kTimesOthers * second, chance});
        return distances[row] >= least - kRounding ? std::optional(LoneDevice{row, distances[row]}) : std::nullopt;
    }

    /** Decides what is a finding. */
    void control() {
        std::vector<double> p;
        for (const Outcome &outcome : _outcomes) {
            if (outcome.finding.p) {
                p.push_back(*outcome.finding.p);
            }
        }
        _result.tested = p.size();
        const bool has_too_few = p.empty() && _lacks_devices;
        const std::vector<double> q = control_false_discoveries(p);
        auto next = q.begin();
        for (Outcome &outcome : _outcomes) {
            Finding &finding = outcome.finding;
            if (finding.p) {
                finding.q = *next++;
                finding.kind = *finding.q <= _options.level ? FindingKind::Group : FindingKind::None;
            } else if (has_too_few && finding.distance > kRounding) {
                finding.kind = FindingKind::Difference;
            }
            if (outcome.lone) {
                outcome.lone->p = finding.p;
                outcome.lone->q = finding.q;
                add(std::move(*outcome.lone), outcome.index);
            }
            const bool is_told =
                finding.kind == FindingKind::Group || (finding.kind == FindingKind::Difference && !outcome.lone);
            if (is_told || (_options.keeps_all && !outcome.lone)) {
                add(std::move(finding), outcome.index);
            }
        }
    }

    void add(Finding finding, std::size_t index) {
        finding.about = describe(finding.measure, *_options.names);
        finding.label = label_of(finding.measure, *_options.names);
        finding.unit = unit_of(finding.measure.kind);
        _indexes.emplace(std::pair(finding.measure, finding.kind), index);
        _result.findings.push_back(std::move(finding));
    }

    void rank() {
        std::ranges::sort(_result.findings, [](const Finding &one, const Finding &other) {
            const auto place = [](const Finding &finding) {
                return std::pair(finding.kind == FindingKind::None, -std::round(finding.distance / kRounding));
            };
            return place(one) != place(other)     ? place(one) < place(other)
                   : one.measure != other.measure ? one.measure < other.measure
                                                  : one.kind < other.kind;
        });
    }

    /** Adds to the first findings what is needed to draw them. */
    void draw() {
        for (std::size_t place = 0; place < std::min(_result.findings.size(), ComparisonResult::kMostDrawn); ++place) {
            Finding &finding = _result.findings[place];
            const DeviceTable table(_measures.rows(_indexes.at({finding.measure, finding.kind})));
            const std::vector<TableRow> &rows = table.measure().rows;
            const Sides sides = sides_of(table.measure());
            std::vector<bool> has_moved(rows.size(), false);
            if (finding.devices_moved) {
                moved(table, sides, has_moved);
            }
            finding.curve_a = table.curve(false);
            finding.curve_b = table.curve(true);
            const std::vector<double> distances = distances_from_others(table.shares());
            for (std::size_t row = 0; row < rows.size(); ++row) {
                const bool is_of_b = row >= sides.a;
                finding.devices.push_back({(is_of_b ? _b : _a).devices[rows[row].device].name, is_of_b,
                                           rows[row].median, distances[row], has_moved[row]});
            }
            if (finding.devices.size() > ComparisonResult::kMostDevices) {
                std::ranges::stable_sort(finding.devices, std::greater<>(), &DeviceValue::distance);
                finding.devices.resize(ComparisonResult::kMostDevices);
            }
        }
    }

    /** The most common text, the least of several. */
    static SettingText most_common(const std::vector<std::pair<std::uint32_t, std::string>> &texts) {
        std::map<std::string, std::size_t> counts;
        for (const auto &[device, text] : texts) {
            ++counts[text];
        }
        const auto most = std::ranges::max_element(counts, {}, [](const auto &row) { return row.second; });
        return {most->first, most->second};
    }

    void compare_settings() {
        for (const auto &[name, texts] : _a.settings) {
            const auto of_b = _b.settings.find(name);
            if (of_b == _b.settings.end()) {
                continue;
            }
            ChangedSetting changed{{.kind = MeasureKind::Setting, .text = name},
                                   name,
                                   most_common(texts),
                                   most_common(of_b->second),
                                   texts.size(),
                                   of_b->second.size()};
            const bool is_common =
                2 * changed.a.devices > changed.devices_a && 2 * changed.b.devices > changed.devices_b;
            if (changed.a.text != changed.b.text && is_common) {
                _result.settings.push_back(std::move(changed));
            }
        }
    }

    /** How many devices a side make the least p at most `p`. */
    std::size_t devices_for(double p) const {
        std::size_t devices = 1;
        while (devices < kMostNeeded && least_p({devices, devices, _result.is_paired}) > p) {
            ++devices;
        }
        return devices;
    }

    void say_what_is_needed() {
        if (_result.tested == 0) {
            if (_lacks_devices) {
                _result.devices_needed = devices_for(_options.level);
            }
            return;
        }
        const double p = _options.level / as_real(_result.tested);
        if (least_p({_a.devices.size(), _b.devices.size(), _result.is_paired}) > p) {
            _result.devices_for_one = devices_for(p);
        }
    }

    const Side &_a;
    const Side &_b;
    const ComparisonOptions &_options;
    MeasureList _measures;
    std::uint64_t _draws = 0;
    bool _lacks_devices = false; ///< for a measure in which devices differ
    std::vector<Outcome> _outcomes;
    std::map<std::pair<MeasureId, FindingKind>, std::size_t> _indexes;
    ComparisonResult _result;
};

} // namespace

ComparisonResult compare_sides(const Side &a, const Side &b, const ComparisonOptions &options) {
    return Comparison(a, b, options).run();
}

} // namespace cli
