#include "platform/RvKernel.h"

#include <ctime>
#include <optional>

#include "host/fault_points.h"

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::int64_t kNanosecondsPerMicrosecond = 1'000;
constexpr int kMaxReadings = 1'000;

host::FaultPoint boot_time_fault("RvKernelGetBootTime");

std::optional<std::int64_t> nanoseconds(clockid_t clock) {
    timespec now{};
    if (clock_gettime(clock, &now) != 0) {
        return std::nullopt;
    }
    return now.tv_sec * kNanosecondsPerSecond + now.tv_nsec;
}

/**
 * The wall clock minus the time since boot, in nanoseconds. The two clocks cannot be read at the same instant, so the
 * wall clock is read between two readings of the other one, until these are at most a microsecond apart. On a busy
 * machine, the reading with the smallest gap counts.
 */
std::optional<std::int64_t> measure_boot_time() {
    std::optional<std::int64_t> boot;
    std::int64_t tightest = 0;
    for (int reading = 0; reading < kMaxReadings; ++reading) {
        const auto before = nanoseconds(CLOCK_BOOTTIME);
        const auto wall = nanoseconds(CLOCK_REALTIME);
        const auto after = nanoseconds(CLOCK_BOOTTIME);
        if (!before || !wall || !after) {
            return std::nullopt;
        }
        const std::int64_t window = *after - *before;
        if (!boot || window < tightest) {
            tightest = window;
            boot = *wall - (*before + window / 2);
        }
        if (tightest <= kNanosecondsPerMicrosecond) {
            break;
        }
    }
    return boot;
}

struct BootTime {
    std::int64_t seconds;
    std::int32_t microseconds;
};

/** Rounded down, so that the microseconds are not negative even for a clock set before the epoch. */
std::optional<BootTime> boot_time() {
    const std::optional<std::int64_t> boot = measure_boot_time();
    if (!boot) {
        return std::nullopt;
    }
    std::int64_t whole = *boot / kNanosecondsPerSecond;
    std::int64_t rest = *boot % kNanosecondsPerSecond;
    if (rest < 0) {
        rest += kNanosecondsPerSecond;
        --whole;
    }
    return BootTime{whole, static_cast<std::int32_t>(rest / kNanosecondsPerMicrosecond)};
}

} // namespace

bool RvKernelGetBootTime(int64_t *seconds, int32_t *microseconds) {
    static const std::optional<BootTime> boot = boot_time();
    if (boot_time_fault.strikes() || !boot || seconds == nullptr || microseconds == nullptr) {
        return false;
    }
    *seconds = boot->seconds;
    *microseconds = boot->microseconds;
    return true;
}
