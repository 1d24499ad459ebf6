#include "cli/contract/setting.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

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
namespace {

/** Registry IDs of played entries; far from those that people choose. */
std::uint64_t next_registry_id() {
    static std::uint64_t last = 0x51'0000;
    return ++last;
}

platform::OwnedValue string_value(const char *text) {
    return platform::OwnedValue(TvStringCreateWithCString(text, kTvStringEncodingUTF8));
}

/** A report of the control category, with a sequence number; its line names no text of the firmware's. */
void write_report(std::span<std::byte> out, std::size_t number) {
    constexpr std::size_t kCategory = 3;
    constexpr std::size_t kSequence = 4;
    out[kCategory] = std::byte{8};
    out[kSequence] = static_cast<std::byte>(number);
}

} // namespace

void *CountingArena::allocate(std::size_t size) const {
    ++_allocations;
    void *storage = _is_dry ? nullptr : std::malloc(size);
    if (storage != nullptr) {
        _blocks.insert(storage);
    }
    return storage;
}

void CountingArena::deallocate(void *storage) const {
    if (_blocks.erase(storage) == 0) {
        ++_strangers; // not freed: whose it is nobody knows
        return;
    }
    std::free(storage);
}

std::size_t CountingArena::take_back() {
    const std::size_t left = _blocks.size();
    for (const void *block : _blocks) {
        std::free(const_cast<void *>(block));
    }
    _blocks.clear();
    return left;
}

PlayedQor::PlayedQor() {
    driver->command = [this](host::DriverCommand &command) {
        commands.push_back(command.selector);
        std::fill(command.out.begin(), command.out.end(), std::byte{0});
        command.out_size = claimed_size.value_or(command.out.size());
        return status;
    };
    host::RegistryEntryDescription device_part{.name = "QOR device"};
    device_part.plug_ins.push_back(host::device_plug_in(device));
    device_entry = add(std::move(device_part), 0);
    interface_entry = add({.name = "QOR interface"}, device_entry);
    host::RegistryEntryDescription driver_part{.name = "QOR driver"};
    driver_part.plug_ins.push_back(host::driver_plug_in(driver));
    driver_entry = add(std::move(driver_part), interface_entry);
    add({.name = "QOR user client"}, driver_entry);
    for (const char *name : {"ZEL_profile", "OndreQORProfileDriver"}) {
        add({.name = name, .user_client = report_source()}, 0);
    }
}

PlayedQor::~PlayedQor() {
    // Children before their parents.
    for (; !_entries.empty(); _entries.pop_back()) {
        host::device_registry::remove(_entries.back());
    }
}

host::UserClient PlayedQor::report_source() {
    host::UserClient client;
    client.call_method = [this](host::MethodCall &call) {
        ++report_calls;
        const std::size_t written = std::min(call.out.size(), bytes.value_or(reports * kQorProfileReportSize));
        std::fill_n(call.out.begin(), written, std::byte{0});
        for (std::size_t number = 0; (number + 1) * kQorProfileReportSize <= written; ++number) {
            write_report(call.out.subspan(number * kQorProfileReportSize), number);
        }
        call.out_size = claimed_size.value_or(written);
        return status;
    };
    return client;
}

RvRegistryEntry PlayedQor::add(host::RegistryEntryDescription entry, RvRegistryEntry parent) {
    entry.registry_id = next_registry_id();
    if (entry.name == "QOR driver") {
        _driver_id = entry.registry_id;
    }
    if (parent != 0) {
        entry.parents.emplace(kRvServicePlane, parent);
    }
    _entries.push_back(host::device_registry::add(std::move(entry)));
    return _entries.back();
}

RvHIDService PlayedQor::service(const Usages &usages) const {
    RvHIDService service;
    service.name = "QOR service";
    service.properties.emplace("Transport", string_value("QOR"));
    service.usages = usages;
    service.registry_id = platform::OwnedValue(TvNumberCreateSInt64(static_cast<std::int64_t>(_driver_id)));
    return service;
}

RvHIDService PlayedQor::tallybook_service(const Usages &usages) const {
    RvHIDService result = service(usages);
    result.properties.emplace("ZELSupportsTallybook", platform::OwnedValue(TvRetain(TvBooleanGet(true))));
    return result;
}

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

std::vector<std::string> captured_titles(std::uint32_t kind) {
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
    // Another allocator may have taken the C library's place, whose books then stay as they are.
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
