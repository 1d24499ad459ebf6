#include "cli/records/latency_values.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <utility>

#include "qor/latency.h"

namespace cli {
namespace {

namespace latency = qor::latency;

struct Named {
    std::string_view name;
    const char *key;
};

constexpr std::array<Named, 3> kStampsBeforeClicks{{
    {"finger on", latency::kFingerOn.key()},
    {"start haptic", latency::kStartHaptic.key()},
    {"second scan", latency::kSecondScan.key()},
}};
constexpr std::array<Named, 3> kClickStamps{{
    {"down", latency::kClickFields[latency::kDown].key()},
    {"up", latency::kClickFields[latency::kUp].key()},
    {"play asset", latency::kClickFields[latency::kUpPlayAsset].key()},
}};
constexpr std::array<Named, 1> kStampsAfterClicks{{{"finger off", latency::kFingerOff.key()}}};

constexpr std::array<const char *, 2> kClickLatencies{latency::kClickFields[latency::kDownLatency].key(),
                                                      latency::kClickFields[latency::kUpLatency].key()};

/** Of the latencies with bounds, in their order. */
constexpr std::array<std::string_view, std::size(latency::kBounds)> kRangeNames{latency::kFingerDetectToButtonDown.name,
                                                                                "button click to play asset", "total"};

/** Ticks are unsigned and stored bit for bit. */
std::uint64_t ticks(std::int64_t stored) { return static_cast<std::uint64_t>(stored); }

void take_stamp(PressValues &values, DictionaryReader &from, const char *key, std::string name) {
    const std::optional<std::int64_t> stamp = from.take_number(key);
    if (!stamp) {
        return;
    }
    if (*stamp == 0) {
        values.absent.push_back(std::move(name));
    } else {
        values.stamps.push_back({std::move(name), ticks(*stamp)});
    }
}

void take_stamps(PressValues &values, PressReader &from) {
    for (const Named &row : kStampsBeforeClicks) {
        take_stamp(values, from.press, row.key, std::string(row.name));
    }
    for (std::size_t i = 0; i < latency::kClicks; ++i) {
        for (const Named &row : kClickStamps) {
            take_stamp(values, from.clicks[i], row.key, latency::kClickKeys[i] + (" " + std::string(row.name)));
        }
    }
    for (const Named &row : kStampsAfterClicks) {
        take_stamp(values, from.press, row.key, std::string(row.name));
    }
    std::stable_sort(values.stamps.begin(), values.stamps.end(),
                     [](const LatencyValue &a, const LatencyValue &b) { return a.value < b.value; });
}

void take_latencies(PressValues &values, PressReader &from) {
    constexpr const char *kFingerToButton = latency::kFingerDetectToButtonDown.key();
    if (const std::optional<std::int64_t> latency = from.press.take_number(kFingerToButton)) {
        values.latencies.push_back({kFingerToButton, ticks(*latency), kRangeNames[0]});
    }
    for (std::size_t i = 0; i < latency::kClicks; ++i) {
        for (const char *const key : kClickLatencies) {
            if (const std::optional<std::int64_t> latency = from.clicks[i].take_number(key)) {
                values.latencies.push_back(
                    {latency::kClickKeys[i] + (" " + std::string(key)), ticks(*latency), kRangeNames[1]});
            }
        }
    }
}

} // namespace

PressReader::PressReader(TvDictionaryRef dictionary) : press(dictionary) {
    for (const char *const key : latency::kClickKeys) {
        clicks.emplace_back(press.take_dictionary(key));
    }
}

PressValues PressReader::take() {
    PressValues values;
    for (const char *const key : {latency::kClickWord.key(), latency::kTurtleScans.key()}) {
        if (const std::optional<std::int32_t> count = press.take_number_32(key)) {
            values.counts.push_back({key, static_cast<std::uint32_t>(*count)});
        }
    }
    take_stamps(values, *this);
    take_latencies(values, *this);
    return values;
}

std::vector<LatencyRange> take_ranges(DictionaryReader &bounds) {
    std::vector<LatencyRange> ranges;
    for (std::size_t i = 0; i < kRangeNames.size(); ++i) {
        const char *const minimum_key = latency::kBounds[i].minimum.key();
        const char *const maximum_key = latency::kBounds[i].maximum.key();
        const std::optional<std::int64_t> minimum = bounds.number(minimum_key);
        const std::optional<std::int64_t> maximum = bounds.number(maximum_key);
        if (minimum && maximum) {
            bounds.take(minimum_key);
            bounds.take(maximum_key);
            ranges.push_back({kRangeNames[i], ticks(*minimum), ticks(*maximum)});
        }
    }
    return ranges;
}

} // namespace cli
