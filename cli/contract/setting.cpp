#include "cli/contract/setting.h"

#include <cstdlib>

#include <malloc.h>

#include "decoder/ProfileDescription.h"
#include "host/RvRegistry.h"
#include "host/state_records.h"
#include "platform/Owned.h"

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the sanitizers' name for it, there only in a
// program built with one
extern "C" std::size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

namespace cli {

std::vector<std::byte> batch_of(const std::vector<AnalyticsEntry> &entries) {
    std::vector<std::byte> bytes;
    for (const AnalyticsEntry &entry : entries) {
        for (const std::uint8_t byte : {entry.version, entry.operation, entry.key}) {
            bytes.push_back(std::byte{byte});
        }
        for (int shift = 0; shift < 32; shift += 8) {
            bytes.push_back(static_cast<std::byte>(static_cast<std::uint32_t>(entry.value) >> shift));
        }
    }
    return bytes;
}

ScheduledObject::ScheduledObject(CheckedModule &module, RvAllocatorRef allocator) : _object(module.create(allocator)) {
    _queue.run([this] {
        (*_object)->open(_object, nullptr, 0);
        (*_object)->scheduleWithDispatchQueue(_object, _queue.handle());
    });
}

void ScheduledObject::hand_over(const RvHIDService &service) {
    _queue.run([&] { (*_object)->registerService(_object, &service); });
}

void ScheduledObject::stop() {
    if (_is_stopped) {
        return;
    }
    _is_stopped = true;
    _queue.run([this] {
        (*_object)->unscheduleFromDispatchQueue(_object, _queue.handle());
        (*_object)->close(_object, nullptr, 0);
        (*_object)->Release(_object);
        _queue.close();
    });
    _queue.close();
}

std::vector<host::StateRecord> capture(std::uint32_t kind) {
    std::vector<std::byte> all;
    for (const host::RecordBytes &record : host::capture_state(kind, "qorstat validate")) {
        all.insert(all.end(), record.begin(), record.end());
    }
    return host::parse_records(all, "captured records");
}

std::vector<std::string> capture_titles(std::uint32_t kind) {
    std::vector<std::string> titles;
    for (const host::StateRecord &record : capture(kind)) {
        titles.push_back(record.title);
    }
    return titles;
}

std::vector<std::string> raw_debug_titles(std::size_t reports) {
    const std::pair<const char *, int> sources[] = {{"fw", 48}, {"drvx", 8}, {"err", 48}};
    std::vector<std::string> titles;
    for (const auto &[type, entries] : sources) {
        for (int index = 0; index < entries; ++index) {
            titles.push_back("ZEL Profile " + std::to_string(index) + " ;count=" + std::to_string(reports) +
                             " ;type=" + type);
        }
    }
    return titles;
}

std::optional<std::size_t> held_bytes() {
    const auto measure = [] {
        return __sanitizer_get_current_allocated_bytes != nullptr ? __sanitizer_get_current_allocated_bytes()
                                                                  : mallinfo2().uordblks;
    };
    // Another allocator may have replaced that of the C library, whose figures do not change then.
    const std::size_t before = measure();
    void *volatile probe = std::malloc(4096);
    const bool counts = measure() > before;
    std::free(probe);
    return counts ? std::optional(measure()) : std::nullopt;
}

std::vector<std::pair<std::string, std::string>> exact_memory_environment() {
    constexpr const char *kName = "GLIBC_TUNABLES";
    const char *given = std::getenv(kName); // NOLINT(concurrency-mt-unsafe): nothing changes the environment
    const std::string kept = given == nullptr || *given == '\0' ? std::string() : std::string(given) + ":";
    return {{kName, kept + "glibc.malloc.tcache_count=0:glibc.malloc.arena_max=1"}};
}

} // namespace cli
