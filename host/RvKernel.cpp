#include "host/RvKernel.h"

#include <atomic>
#include <cstdint>
#include <limits>
#include <optional>

#include "host/boot_time.h"
#include "host/fault_points.h"
#include "platform/RvKernel.h"

namespace {

constexpr std::int64_t kMicrosecondsPerSecond = 1'000'000;

constexpr std::int64_t kNotRead = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kUnknown = kNotRead + 1;

host::FaultPoint boot_time_fault("RvKernelGetBootTime");

/** The boot time of a described device in microseconds, or `kNotRead`. */
constinit std::atomic<std::int64_t> described_boot_time{kNotRead};

/**
 * The machine's, in microseconds, or `kUnknown`. The first reading counts for the whole process, even if the wall clock
 * is set later. No thread waits for another that reads: such a wait would never end in a child forked at that moment.
 */
std::int64_t machine_boot_time() {
    static constinit std::atomic<std::int64_t> first_reading{kNotRead};
    std::int64_t boot = first_reading.load(std::memory_order_relaxed);
    if (boot == kNotRead) {
        const std::int64_t reading =
            host::read_boot_time("/proc/stat", "/proc/sys/kernel/random/boot_id").value_or(kUnknown);
        boot = first_reading.compare_exchange_strong(boot, reading) ? reading : boot;
    }
    return boot;
}

std::int64_t boot_time() {
    const std::int64_t described = described_boot_time.load(std::memory_order_relaxed);
    return described != kNotRead ? described : machine_boot_time();
}

} // namespace

namespace host {

DescribedBootTime::DescribedBootTime(std::int64_t microseconds) : _former(described_boot_time.exchange(microseconds)) {}

DescribedBootTime::~DescribedBootTime() { described_boot_time = _former; }

} // namespace host

bool RvKernelGetBootTime(int64_t *seconds, int32_t *microseconds) {
    const std::int64_t boot = boot_time();
    if (boot_time_fault.strikes() || boot == kUnknown || seconds == nullptr || microseconds == nullptr) {
        return false;
    }
    *seconds = boot / kMicrosecondsPerSecond;
    *microseconds = static_cast<std::int32_t>(boot % kMicrosecondsPerSecond);
    return true;
}
