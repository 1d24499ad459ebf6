/** Times as people write them. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "cli/arguments/declaration.h"

namespace cli {

/** A time of the coprocessor's clock. */
struct FirmwareTime {
    std::uint64_t microseconds;
};

/** So long after the first report of the input. */
struct AfterFirstReport {
    std::uint64_t microseconds;
};

/** So long before the last report of the input. */
struct BeforeLastReport {
    std::uint64_t microseconds;
};

/** A date and a time of day, 1970 to 2261, in local time unless it has its own distance from UTC. */
struct WallTime {
    std::int64_t microseconds;                ///< since the epoch, if it were in UTC
    std::optional<std::int32_t> utc_distance; ///< seconds, positive in the east
};

/** A point in time, as the user says it. What it means may depend on the input and on its clock. */
using SaidTime = std::variant<FirmwareTime, AfterFirstReport, BeforeLastReport, WallTime>;

/** The microseconds of a second. */
inline constexpr std::uint64_t kMicrosecondsOfASecond = 1'000'000;

/**
 * Reads a number with a unit: us, ms, s, m, h or d, such as "7200s", "7200.5s" or "500ms".
 * @return microseconds, exactly. @throws std::invalid_argument with the reason: it is no such text, it is finer than a
 *         microsecond, or it has more microseconds than 64 bits hold.
 */
std::uint64_t parse_duration(std::string_view text);

/** Whether `text` begins like a date: with four digits and a hyphen. */
bool begins_like_a_date(std::string_view text);

/**
 * Reads a date and a time of day in ISO 8601, with "T" or a blank between them, such as "2025-10-09T08:53:21.25+02:00".
 * Seconds, their fraction and the zone ("Z" or a distance from UTC) may be missing.
 * @throws std::invalid_argument with the reason.
 */
WallTime parse_wall_time(std::string_view text);

/**
 * Reads a point in time: microseconds of firmware time without a unit, a duration (firmware time), "+" and a duration
 * (after the first report), "-" and a duration (before the last report), or a date and a time of day.
 * @throws std::invalid_argument with the reason.
 */
SaidTime parse_time(std::string_view text);

/**
 * The value is such a point in time.
 * @param time  stays empty when the option is not given.
 */
ValueReader time_reader(std::optional<SaidTime> &time);

} // namespace cli
