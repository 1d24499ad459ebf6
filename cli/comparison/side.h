/** What is kept of one side's recordings: of each device and measure the counts of its values. */
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "cli/comparison/counted_values.h"
#include "cli/comparison/measure.h"
#include "cli/comparison/result.h"

namespace cli {

/** How the values of a measure are kept. */
struct MeasureForm {
    ValueForm form;
    unsigned fraction_bits;
};

/** @return Real for a field that no layout has. */
MeasureForm form_of(const MeasureId &measure);

/** What is counted of a device's reports. */
struct SideDevice {
    std::string name; ///< UTF-8
    std::uint64_t recordings = 0;
    std::uint64_t reports = 0;
    std::uint64_t gaps = 0;
    std::uint64_t missing = 0;
    std::uint64_t restarts = 0;
    std::uint64_t firmware_time = 0; ///< microseconds, between the ends of each stretch without a restart
    std::uint64_t wakes = 0;         ///< wake requests
    std::map<std::uint32_t, std::uint64_t> paths{};   ///< reports by id path
    std::map<std::uint64_t, std::uint64_t> reasons{}; ///< wakes by reason
};

/** The values of one device, by its index in `Side::devices`. */
struct DeviceCounts {
    std::uint32_t device;
    CountedValues values;
};

/** A measure that is collected as values; shares, rates and losses follow from `SideDevice`. */
struct SideMeasure {
    MeasureId id;
    std::vector<DeviceCounts> devices; ///< in ascending order, each once
};

/** One side. */
struct Side {
    std::vector<SideDevice> devices;   ///< in ascending order of their names, byte for byte
    std::vector<SideMeasure> measures; ///< in ascending order of their ids
    /** The text of each setting by device, in ascending order of the devices. */
    std::map<std::string, std::vector<std::pair<std::uint32_t, std::string>>> settings;
    std::uint64_t not_compared = 0; ///< reports of id paths, functions and wake reasons beyond the limits

    SideSummary summary() const;
};

} // namespace cli
