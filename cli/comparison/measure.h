/** What recordings of two sides are compared by: each measure has a counted distribution per device. */
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/dumps/owner_names.h"

namespace cli {

/** The kinds of measures, in the order in which equal findings are ranked. */
enum class MeasureKind : std::uint8_t {
    MissingNumbers,
    Restarts,
    Gaps,
    FunctionDuration,
    EventShare,
    EventRate,
    WakeReason,
    Distribution,
    Scalar,
    Latency,
    PayloadField,
    Interval,
    FunctionNesting,
    Setting ///< a text per device, which has no distribution
};

inline constexpr std::size_t kMeasureKinds = 14;

/** Such as "function duration": `what` of a finding. */
std::string_view name_of(MeasureKind kind);

/** Whether a measure follows from how many reports of a device there are: a share or a rate, not collected values. */
bool follows_from_counts(MeasureKind kind);

/** Whether each device has exactly one value of such a measure. */
bool has_one_value(MeasureKind kind);

/** A measure. What its kind has nothing of is empty. */
struct MeasureId {
    MeasureKind kind;
    std::optional<std::uint32_t> path{};   ///< category, component, event and type, from the highest byte to the lowest
    std::optional<std::uint64_t> number{}; ///< the function's id; the wake's reason
    std::string layout{};                  ///< of a payload's field
    std::string text{}; ///< the function's text; the name of a field, a latency or a setting; a store's key. Any bytes

    friend bool operator==(const MeasureId &, const MeasureId &) = default;
    friend std::strong_ordering operator<=>(const MeasureId &, const MeasureId &) = default;
};

/** One thing that a measure is about, such as the id of a function. */
struct AboutEntry {
    std::string key;                     ///< as JSON has it
    std::optional<std::uint64_t> number; ///< an id; nothing for a text
    std::string text;                    ///< UTF-8

    friend bool operator==(const AboutEntry &, const AboutEntry &) = default;
};

/**
 * What a measure is about: ids and names. Texts that are not UTF-8 are hexadecimal digits.
 * @param names  the owner's.
 */
std::vector<AboutEntry> describe(const MeasureId &measure, const OwnerNames &names);

/** The same as people read it on one line, such as "exec function 9001". UTF-8. */
std::string label_of(const MeasureId &measure, const OwnerNames &names);

/** "us", "ticks" or "per second"; empty for a number without a unit. Shares are numbers from 0 to 1. */
std::string_view unit_of(MeasureKind kind);

} // namespace cli
