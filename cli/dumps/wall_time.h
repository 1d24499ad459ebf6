/** Wall-clock time: firmware time as programs read it, and the times that people write. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "cli/arguments/time_text.h"
#include "decoder/device_clock.h"

namespace cli {

/** The room that `put_iso_wall_time` needs. */
inline constexpr std::size_t kIsoWallTimeRoom = 72;

/**
 * Writes a firmware time (microseconds) in ISO 8601, in the process's time zone: "2026-11-05T09:03:07.250000+01:00".
 * Writes nothing when there is no such local time. Any thread. @return the end of the text.
 */
char *put_iso_wall_time(char *out, std::uint64_t timestamp, const decoder::time_sync &sync);

/** The same as a string. */
std::string iso_wall_time(std::uint64_t timestamp, const decoder::time_sync &sync);

/**
 * Converts a time that people write to microseconds since the epoch; without a distance from UTC it is in the process's
 * time zone. Any thread.
 * @throws WrongUse when that zone's clocks skip it or show it twice, and when it is before 1970.
 */
std::uint64_t since_epoch(const WallTime &time);

} // namespace cli
