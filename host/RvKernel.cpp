#include "platform/RvKernel.h"

#include <atomic>
#include <cstdint>
#include <limits>
#include <optional>

#include "host/boot_time.h"
#include "host/fault_points.h"

namespace {

constexpr std::int64_t kMicrosecondsPerSecond = 1'000'000;

constexpr std::int64_t kNotRead = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kUnknown = kNotRead + 1;

host::FaultPoint boot_time_fault("RvKernelGetBootTime");

/**
 * In microseconds, or `kUnknown`. The first reading counts for the whole process, even if the wall clock is set later.
 * No thread waits for another that reads: such a wait would never end in a child forked at that moment.
 */
std::int64_t boot_time() {
    static constinit std::atomic<std::int64_t> first_reading{kNotRead};
    std::int64_t boot = first_reading.load(std::memory_order_relaxed);
    if (boot == kNotRead) {
        const std::int64_t reading =
            host::read_boot_time("/proc/stat", "/proc/sys/kernel/random/boot_id").value_or(kUnknown);
        boot = first_reading.compare_exchange_strong(boot, reading) ? reading : boot;
    }
    return boot;
}

} // namespace

bool RvKernelGetBootTime(int64_t *seconds, int32_t *microseconds) {
    const std::int64_t boot = boot_time();
    if (boot_time_fault.strikes() || boot == kUnknown || seconds == nullptr || microseconds == nullptr) {
        return false;
    }
    *seconds = boot / kMicrosecondsPerSecond;
    *microseconds = static_cast<std::int32_t>(boot % kMicrosecondsPerSecond);
    return true;
}
