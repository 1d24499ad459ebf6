/** Said times, measured against one input and its clock. */
#pragma once

#include <cstdint>
#include <limits>
#include <optional>

#include "cli/arguments/time_text.h"
#include "decoder/device_clock.h"
#include "qor/report.h"

namespace cli {

/** What some times are measured from, in firmware microseconds. What no time needs may have any value. */
struct TimeOrigins {
    std::uint64_t first = 0; ///< the time stamp of the input's first report
    std::uint64_t last = 0;  ///< and of its last one
};

/** A said time on one of the two clocks. */
struct Instant {
    /** A time that its clock cannot show lies before all or behind all that it can. */
    enum class Place { BeforeAll, Shown, AfterAll };

    std::uint64_t microseconds = 0; ///< the nearest that the clock can show
    bool is_wall_time = false;      ///< since the epoch, not firmware time
    Place place = Place::Shown;

    /** How far the report is from here; nothing when the instant is a wall-clock time and the clock is unknown. */
    std::optional<std::uint64_t> distance_to(const _QorProfileReport &report,
                                             const std::optional<decoder::time_sync> &sync) const;
};

/** @throws WrongUse as `since_epoch`. */
Instant instant_of(const SaidTime &time, const TimeOrigins &origins);

/** What has to be known before a time can be measured. */
struct TimeNeeds {
    bool first_report = false;
    bool last_report = false;
    bool clock = false;

    void add(const std::optional<SaidTime> &time);
};

/** The limits of `--since` and `--until` in one input; both are included. */
struct TimeLimits {
    static constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();

    std::uint64_t since = 0; ///< in firmware time
    std::uint64_t until = kMost;
    bool has_wall_times = false; ///< whether the next two are limits as well
    std::uint64_t wall_since = 0;
    std::uint64_t wall_until = kMost;

    /** @param sync  of the report. A report whose wall-clock time is not known is not within limits of that clock. */
    bool include(std::uint64_t timestamp, const std::optional<decoder::time_sync> &sync) const {
        return since <= timestamp && timestamp <= until && (!has_wall_times || include_wall_time(timestamp, sync));
    }

private:
    bool include_wall_time(std::uint64_t timestamp, const std::optional<decoder::time_sync> &sync) const;
};

/** @throws WrongUse as `since_epoch`. */
TimeLimits time_limits(const std::optional<SaidTime> &since, const std::optional<SaidTime> &until,
                       const TimeOrigins &origins);

} // namespace cli
