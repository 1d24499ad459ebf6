// The clock that the platform publishes. Nothing else in the decoder of lines calls the platform, so a program that
// gives the clock itself links without one.

#include "decoder/device_clock.h"
#include "platform/Owned.h"
#include "platform/RvKernel.h"
#include "platform/RvRegistry.h"
#include "platform/TvValues.h"
#include "qor/driver.h"

namespace decoder {

namespace {

constexpr std::uint64_t kMicrosecondsPerSecond = 1'000'000;

std::optional<std::uint64_t> number_of(TvDictionaryRef dictionary, const char *key) {
    std::int64_t number = 0;
    if (!TvNumberGetSInt64(TvDictionaryGetValue(dictionary, key), &number)) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(number);
}

} // namespace

std::optional<time_sync> read_time_sync() {
    platform::OwnedEntry service(RvRegistryCopyServiceMatchingClass(qor::driver::kTimeSyncClass));
    if (!service) {
        return std::nullopt;
    }
    platform::OwnedValue property(RvRegistryEntryCopyProperty(service.get(), qor::driver::kTimeSync));
    std::optional<std::uint64_t> qor = number_of(property.get(), qor::driver::kTimeSyncQor);
    std::optional<std::uint64_t> calendar = number_of(property.get(), qor::driver::kTimeSyncCalendar);
    if (!qor || !calendar) {
        return std::nullopt;
    }
    return time_sync{*qor, *calendar};
}

std::optional<std::uint64_t> read_boot_time() {
    std::int64_t seconds = 0;
    std::int32_t microseconds = 0;
    if (!RvKernelGetBootTime(&seconds, &microseconds)) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(seconds) * kMicrosecondsPerSecond +
           static_cast<std::uint64_t>(static_cast<std::int64_t>(microseconds));
}

device_clock read_device_clock() { return {read_time_sync(), read_boot_time()}; }

} // namespace decoder
