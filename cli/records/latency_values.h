/** The values of a record of latency statistics, in the order in which people read them. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cli/records/dictionary_reader.h"
#include "platform/TvValues.h"

namespace cli {

/** A name, and a time stamp, a latency or a count. Time is in the firmware's unsigned ticks. */
struct LatencyValue {
    std::string name;
    std::uint64_t value;
};

/** A latency of a press, and the range that it belongs to. */
struct PressLatency {
    std::string name;
    std::uint64_t ticks;
    std::string_view range; ///< the name of a `LatencyRange`
};

/** The least and the greatest latency of one kind. */
struct LatencyRange {
    std::string_view name;
    std::uint64_t minimum;
    std::uint64_t maximum;

    bool is_upside_down() const { return minimum > maximum; }
};

/** The last press. Missing entries are left out. */
struct PressValues {
    std::vector<LatencyValue> counts;
    std::vector<LatencyValue> stamps; ///< in ascending order, none of them 0
    std::vector<std::string> absent;  ///< the time stamps that are 0
    std::vector<PressLatency> latencies;
};

/** A dictionary of a press and those of its clicks, which remember what was not taken. */
struct PressReader {
    /** Borrows the dictionary, which may be null. */
    explicit PressReader(TvDictionaryRef dictionary);

    PressValues take();

    DictionaryReader press;
    std::vector<DictionaryReader> clicks;
};

/** Takes the ranges of which both ends are there. */
std::vector<LatencyRange> take_ranges(DictionaryReader &bounds);

} // namespace cli
