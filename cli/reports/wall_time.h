/** Firmware time as wall-clock time for programs. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

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

} // namespace cli
