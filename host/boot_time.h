/** When the kernel booted, the same in every process until the next boot. */
#pragma once

#include <cstdint>
#include <optional>

namespace host {

/**
 * The boot time in microseconds since the epoch.
 *
 * The seconds are the kernel's own: the line "btime" of its statistics. The kernel counts them from the wall clock, so
 * they move when that clock is set, and boots of a device that loses its time may share them. Therefore the
 * microseconds are not a measurement but a number of the boot, computed from its identifier: all processes of one boot
 * have the same, also after the clock was set, and two boots in the same second hardly ever do.
 *
 * @param statistics   the kernel's statistics, `/proc/stat`.
 * @param identifier   the boot's identifier, `/proc/sys/kernel/random/boot_id`; without it the microseconds are 0.
 * @return nothing when the statistics cannot be read or do not have the time.
 */
std::optional<std::int64_t> read_boot_time(const char *statistics, const char *identifier);

} // namespace host
