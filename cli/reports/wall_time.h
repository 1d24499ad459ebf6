/** Firmware time as wall-clock time for programs. */
#pragma once

#include <cstdint>
#include <string>

#include "decoder/device_clock.h"

namespace cli {

/**
 * A firmware time (microseconds) in ISO 8601, in the process's time zone: "2026-11-05T09:03:07.250000+01:00". Empty
 * when there is no such local time. Any thread.
 */
std::string iso_wall_time(std::uint64_t timestamp, const decoder::time_sync &sync);

} // namespace cli
