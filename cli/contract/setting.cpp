#include "cli/contract/setting.h"

#include <cstdlib>

#include <malloc.h>

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the sanitizers' name for it, there only in a
// program built with one
extern "C" std::size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

namespace cli {

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
    std::vector<std::string> titles;
    for (const qor::driver::ReportSource *source : qor::driver::kReportSources) {
        for (std::uint32_t index = 0; index < source->entries; ++index) {
            titles.push_back("ZEL Profile " + std::to_string(index) + " ;count=" + std::to_string(reports) +
                             " ;type=" + source->type);
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
