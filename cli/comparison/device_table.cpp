#include "cli/comparison/device_table.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <set>
#include <utility>

#include "cli/recordings/distribution_statistics.h"
#include "cli/terminal/histogram.h"

namespace cli {
namespace {

/** Of sums of shares: what differs by less is equal. */
constexpr double kEqualShares = 1e-12;

CountedValues single(double value) { return CountedValues(std::array{CountedValue{key_of_real(value), 1}}); }

double as_real(std::uint64_t number) { return static_cast<double>(number); }

std::uint64_t count_in(const std::map<std::uint32_t, std::uint64_t> &counts, std::uint32_t path) {
    const auto found = counts.find(path);
    return found == counts.end() ? 0 : found->second;
}

/** A share or a rate. */
struct Ratio {
    double count;
    double divisor; ///< 0 for a device that does not take part
};

/** Of measures that follow from a device's counts. */
Ratio ratio_of(const SideDevice &device, const MeasureId &id) {
    switch (id.kind) {
    case MeasureKind::MissingNumbers:
        return {as_real(device.missing), device.reports == 0 ? 0 : as_real(device.reports) + as_real(device.missing)};
    case MeasureKind::Restarts:
        return {as_real(device.restarts), as_real(device.reports)};
    case MeasureKind::Gaps:
        return {as_real(device.gaps), as_real(device.reports)};
    case MeasureKind::EventShare:
        return {as_real(count_in(device.paths, *id.path)), as_real(device.reports)};
    case MeasureKind::EventRate:
        return {as_real(count_in(device.paths, *id.path)), as_real(device.firmware_time) / 1e6};
    default: {
        const auto found = device.reasons.find(*id.number);
        return {found == device.reasons.end() ? 0 : as_real(found->second), as_real(device.wakes)};
    }
    }
}

const SideMeasure *find(const Side &side, const MeasureId &id) {
    const auto found = std::ranges::lower_bound(side.measures, id, {}, &SideMeasure::id);
    return found != side.measures.end() && found->id == id ? &*found : nullptr;
}

void append_rows(std::vector<TableRow> &rows, const Side &side, const MeasureId &id) {
    if (follows_from_counts(id.kind)) {
        for (std::uint32_t device = 0; device < side.devices.size(); ++device) {
            if (const Ratio ratio = ratio_of(side.devices[device], id); ratio.divisor > 0) {
                rows.push_back({device, single(ratio.count / ratio.divisor), ratio.divisor});
            }
        }
    } else if (const SideMeasure *measure = find(side, id)) {
        for (const DeviceCounts &counts : measure->devices) {
            rows.push_back({counts.device, counts.values});
        }
    }
}

bool takes_part(const Side &side, const MeasureId &id) {
    return follows_from_counts(id.kind)
               ? std::ranges::any_of(side.devices,
                                     [&id](const SideDevice &device) { return ratio_of(device, id).divisor > 0; })
               : find(side, id) != nullptr;
}

} // namespace

MeasureList::MeasureList(const Side &a, const Side &b) : _a(a), _b(b) {
    std::set<MeasureId> ids = {
        {.kind = MeasureKind::MissingNumbers}, {.kind = MeasureKind::Restarts}, {.kind = MeasureKind::Gaps}};
    for (const Side *side : {&a, &b}) {
        for (const SideMeasure &measure : side->measures) {
            ids.insert(measure.id);
        }
        for (const SideDevice &device : side->devices) {
            for (const auto &[path, count] : device.paths) {
                ids.insert({.kind = MeasureKind::EventShare, .path = path});
                ids.insert({.kind = MeasureKind::EventRate, .path = path});
            }
            for (const auto &[reason, count] : device.reasons) {
                ids.insert({.kind = MeasureKind::WakeReason, .number = reason});
            }
        }
    }
    _ids.assign(ids.begin(), ids.end());
}

bool MeasureList::has_both_sides(std::size_t index) const {
    return takes_part(_a, _ids[index]) && takes_part(_b, _ids[index]);
}

MeasureRows MeasureList::rows(std::size_t index) const {
    MeasureRows measure{_ids[index], 0, {}};
    append_rows(measure.rows, _a, measure.id);
    measure.devices_a = measure.rows.size();
    append_rows(measure.rows, _b, measure.id);
    return measure;
}

DeviceTable::DeviceTable(MeasureRows measure)
    : _measure(std::move(measure)), _form(form_of(_measure.id)), _shares(_measure.rows.size()) {
    const std::vector<Entry> entries = sorted_entries();
    take_statistics(entries);
    choose_cuts(entries);
    fill_shares();
}

double DeviceTable::value_of(std::uint64_t key) const { return value_of_key(key, _form.form, _form.fraction_bits); }

std::vector<DeviceTable::Entry> DeviceTable::sorted_entries() {
    std::vector<Entry> entries;
    for (std::uint32_t row = 0; row < _measure.rows.size(); ++row) {
        TableRow &of = _measure.rows[row];
        of.values.for_each([&](const CountedValue &value) {
            entries.push_back({value.key, value.count, row});
            of.count = saturating_sum(of.count, value.count);
        });
    }
    std::ranges::sort(entries, [](const Entry &one, const Entry &other) {
        return std::pair(one.key, one.row) < std::pair(other.key, other.row);
    });
    return entries;
}

void DeviceTable::take_statistics(std::span<const Entry> entries) {
    _a.devices = _measure.devices_a;
    _b.devices = _measure.rows.size() - _measure.devices_a;
    for (std::size_t row = 0; row < _measure.rows.size(); ++row) {
        SideValues &side = row < _measure.devices_a ? _a : _b;
        side.count = saturating_sum(side.count, _measure.rows[row].count);
    }
    struct Passed {
        SideValues &side;
        std::uint64_t rank_of_median;
        std::uint64_t rank_of_p99;
        std::uint64_t count = 0;
        double share = 0;
    };
    Passed a{_a, nearest_rank(_a.count, 50), nearest_rank(_a.count, 99)};
    Passed b{_b, nearest_rank(_b.count, 50), nearest_rank(_b.count, 99)};
    for (std::size_t index = 0; index < entries.size(); ++index) {
        const Entry &entry = entries[index];
        const TableRow &row = _measure.rows[entry.row];
        Passed &passed = entry.row < _measure.devices_a ? a : b;
        passed.count = saturating_sum(passed.count, entry.count);
        passed.share += as_real(entry.count) / (as_real(row.count) * as_real(passed.side.devices));
        if (passed.count >= passed.rank_of_median && !passed.side.median) {
            passed.side.median = value_of(entry.key);
        }
        if (passed.count >= passed.rank_of_p99 && !passed.side.p99) {
            passed.side.p99 = value_of(entry.key);
        }
        if (index + 1 == entries.size() || entries[index + 1].key != entry.key) {
            _distance = std::max(_distance, std::abs(a.share - b.share));
        }
    }
    _distance = std::min(_distance, 1.0); // sums of shares are rounded
}

void DeviceTable::choose_cuts(std::span<const Entry> entries) {
    const auto end_of_group = [entries](std::size_t index) {
        return index + 1 == entries.size() || entries[index + 1].key != entries[index].key;
    };
    for (std::size_t index = 0; index < entries.size() && _cuts.size() <= kMostCuts; ++index) {
        if (end_of_group(index)) {
            _cuts.push_back(entries[index].key);
        }
    }
    if (_cuts.size() <= kMostCuts) {
        return;
    }
    _cuts.clear();
    double share = 0;
    std::size_t part = 1;
    for (std::size_t index = 0; index < entries.size() && part < kMostCuts; ++index) {
        const TableRow &row = _measure.rows[entries[index].row];
        share += as_real(entries[index].count) / (as_real(row.count) * as_real(_measure.rows.size()));
        if (!end_of_group(index)) {
            continue;
        }
        const std::size_t first = part;
        while (part < kMostCuts && share >= as_real(part) / kMostCuts - kEqualShares) {
            ++part;
        }
        if (part != first) {
            _cuts.push_back(entries[index].key);
        }
    }
}

void DeviceTable::fill_shares() {
    for (std::size_t index = 0; index < _measure.rows.size(); ++index) {
        TableRow &row = _measure.rows[index];
        const std::span<double, kMostCuts> shares = _shares.row(index);
        const std::uint64_t rank_of_median = nearest_rank(row.count, 50);
        std::uint64_t passed = 0;
        std::size_t cut = 0;
        std::optional<double> median;
        row.values.for_each([&](const CountedValue &value) {
            for (; cut < _cuts.size() && _cuts[cut] < value.key; ++cut) {
                shares[cut] = as_real(passed) / as_real(row.count);
            }
            passed = saturating_sum(passed, value.count);
            if (passed >= rank_of_median && !median) {
                median = value_of(value.key);
            }
        });
        for (; cut < _cuts.size(); ++cut) {
            shares[cut] = 1;
        }
        row.median = median.value_or(0);
    }
}

std::vector<CurvePoint> DeviceTable::curve(bool is_of_b) const {
    const std::size_t begin = is_of_b ? _measure.devices_a : 0;
    const std::size_t end = is_of_b ? _measure.rows.size() : _measure.devices_a;
    std::vector<Entry> entries;
    for (std::size_t row = begin; row < end; ++row) {
        _measure.rows[row].values.for_each([&](const CountedValue &value) {
            entries.push_back({value.key, value.count, static_cast<std::uint32_t>(row)});
        });
    }
    std::ranges::sort(entries, {}, &Entry::key);
    std::vector<CurvePoint> points;
    double share = 0;
    for (std::size_t index = 0; index < entries.size(); ++index) {
        share +=
            as_real(entries[index].count) / (as_real(_measure.rows[entries[index].row].count) * as_real(end - begin));
        if (index + 1 == entries.size() || entries[index + 1].key != entries[index].key) {
            points.push_back({value_of(entries[index].key), std::min(share, 1.0)});
        }
    }
    if (points.size() <= ComparisonResult::kMostPoints) {
        return points;
    }
    // The ends stay, and between them steps of the same height where there are many.
    std::vector<CurvePoint> thinned = {points.front()};
    const double step = 1 / as_real(ComparisonResult::kMostPoints - 2);
    for (const CurvePoint &point : points) {
        if (point.share >= thinned.back().share + step && thinned.size() + 1 < ComparisonResult::kMostPoints) {
            thinned.push_back(point);
        }
    }
    thinned.push_back(points.back());
    return thinned;
}

} // namespace cli
