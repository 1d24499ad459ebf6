#include "cli/reports/time_limits.h"

#include <algorithm>
#include <variant>

#include "cli/dumps/wall_time.h"

namespace cli {
namespace {

using Place = Instant::Place;

/** Measures each kind of time. */
struct Measure {
    const TimeOrigins &origins;

    Instant operator()(const FirmwareTime &time) const { return {time.microseconds}; }

    Instant operator()(const AfterFirstReport &time) const {
        return time.microseconds > TimeLimits::kMost - origins.first
                   ? Instant{TimeLimits::kMost, false, Place::AfterAll}
                   : Instant{origins.first + time.microseconds};
    }

    Instant operator()(const BeforeLastReport &time) const {
        return time.microseconds > origins.last ? Instant{0, false, Place::BeforeAll}
                                                : Instant{origins.last - time.microseconds};
    }

    Instant operator()(const WallTime &time) const { return {since_epoch(time), true}; }
};

/** Excludes everything when no time is as late. */
void set_since(TimeLimits &limits, const Instant &instant) {
    (instant.is_wall_time ? limits.wall_since : limits.since) = instant.microseconds;
    if (instant.place == Place::AfterAll) {
        limits.until = 0;
    }
}

/** Excludes everything when no time is as early. */
void set_until(TimeLimits &limits, const Instant &instant) {
    std::uint64_t &until = instant.is_wall_time ? limits.wall_until : limits.until;
    until = std::min(until, instant.microseconds);
    if (instant.place == Place::BeforeAll) {
        limits.since = TimeLimits::kMost;
    }
}

} // namespace

std::optional<std::uint64_t> Instant::distance_to(const _QorProfileReport &report,
                                                  const std::optional<decoder::time_sync> &sync) const {
    if (is_wall_time && !sync) {
        return std::nullopt;
    }
    const std::uint64_t time = is_wall_time ? decoder::wall_time(report.timestamp(), *sync) : report.timestamp();
    return std::max(time, microseconds) - std::min(time, microseconds);
}

Instant instant_of(const SaidTime &time, const TimeOrigins &origins) { return std::visit(Measure{origins}, time); }

void TimeNeeds::add(const std::optional<SaidTime> &time) {
    if (time) {
        first_report |= std::holds_alternative<AfterFirstReport>(*time);
        last_report |= std::holds_alternative<BeforeLastReport>(*time);
        clock |= std::holds_alternative<WallTime>(*time);
    }
}

bool TimeLimits::include_wall_time(std::uint64_t timestamp, const std::optional<decoder::time_sync> &sync) const {
    if (!sync) {
        return false;
    }
    const std::uint64_t time = decoder::wall_time(timestamp, *sync);
    return wall_since <= time && time <= wall_until;
}

TimeLimits time_limits(const std::optional<SaidTime> &since, const std::optional<SaidTime> &until,
                       const TimeOrigins &origins) {
    TimeLimits limits;
    if (since) {
        const Instant instant = instant_of(*since, origins);
        limits.has_wall_times |= instant.is_wall_time;
        set_since(limits, instant);
    }
    if (until) {
        const Instant instant = instant_of(*until, origins);
        limits.has_wall_times |= instant.is_wall_time;
        set_until(limits, instant);
    }
    return limits;
}

} // namespace cli
