/** One measure over the devices of both sides, brought together for a comparison. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "cli/comparison/result.h"
#include "cli/comparison/side.h"
#include "cli/comparison/statistics.h"

namespace cli {

/** A device that takes part. */
struct TableRow {
    std::uint32_t device; ///< of its side
    CountedValues values;
    double divisor = 0;      ///< what a share or a rate was divided by; 0 for values that are not
    std::uint64_t count = 0; ///< of values
    double median = 0;
};

/** A measure of both sides: rows of a, then rows of b, each in the order of its side's devices. */
struct MeasureRows {
    MeasureId id{};
    std::size_t devices_a = 0; ///< of the rows
    std::vector<TableRow> rows{};

    bool has_both_sides() const { return devices_a != 0 && devices_a != rows.size(); }
};

/** All measures of two sides, in ascending order of their ids. Rows are made when they are asked for. */
class MeasureList {
public:
    /** Both sides outlive the list. */
    MeasureList(const Side &a, const Side &b);

    std::size_t size() const { return _ids.size(); }
    MeasureRows rows(std::size_t index) const;
    /** Whether devices of both sides have it; does not make its rows. */
    bool has_both_sides(std::size_t index) const;

private:
    const Side &_a;
    const Side &_b;
    std::vector<MeasureId> _ids;
};

/** The distributions of a measure, each device of a side weighing the same. */
class DeviceTable {
public:
    /** @param measure  of both sides. */
    explicit DeviceTable(MeasureRows measure);

    const MeasureRows &measure() const { return _measure; }
    const ShareMatrix &shares() const { return _shares; }
    /** The greatest difference of the sides' distribution functions, over all values. */
    double distance() const { return _distance; }
    const SideValues &a() const { return _a; }
    const SideValues &b() const { return _b; }

    /** Places of one side's distribution function where it grows, thinned to `ComparisonResult::kMostPoints`. */
    std::vector<CurvePoint> curve(bool is_of_b) const;

private:
    struct Entry {
        std::uint64_t key;
        std::uint64_t count;
        std::uint32_t row;
    };

    double value_of(std::uint64_t key) const;
    std::vector<Entry> sorted_entries();
    void take_statistics(std::span<const Entry> entries);
    void choose_cuts(std::span<const Entry> entries);
    void fill_shares();

    MeasureRows _measure;
    MeasureForm _form;
    SideValues _a;
    SideValues _b;
    double _distance = 0;
    std::vector<std::uint64_t> _cuts; ///< keys
    ShareMatrix _shares;
};

} // namespace cli
