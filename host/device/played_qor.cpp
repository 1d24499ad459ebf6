#include "host/device/played_qor.h"

#include <algorithm>
#include <utility>

#include "platform/Owned.h"
#include "qor/categories.h"
#include "qor/driver.h"
#include "qor/report.h"

namespace host {
namespace {

/** Registry IDs far from those that people choose. */
std::uint64_t next_registry_id() {
    static std::uint64_t last = 0x51'0000;
    return ++last;
}

} // namespace

std::vector<std::uint8_t> control_report(std::uint8_t sequence_number) {
    std::vector<std::uint8_t> bytes(qor::kReportSize);
    bytes[qor::header::kCategoryId.offset] = qor::kControl;
    bytes[qor::header::kSequenceNum.offset] = sequence_number;
    return bytes;
}

std::vector<std::uint8_t> control_reports(std::size_t count) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t number = 0; number < count; ++number) {
        const std::vector<std::uint8_t> report = control_report(static_cast<std::uint8_t>(number));
        bytes.insert(bytes.end(), report.begin(), report.end());
    }
    return bytes;
}

PlayedReportService::PlayedReportService(std::uint64_t registry_id, const char *name) {
    UserClient client;
    client.call_method = [this](MethodCall &call) {
        methods.push_back(call.method);
        scalars.assign(call.scalars_in.begin(), call.scalars_in.end());
        capacity = call.out_size;
        const std::size_t size = std::min(bytes.size(), call.out.size());
        std::copy_n(std::as_bytes(std::span(bytes)).begin(), size, call.out.begin());
        call.out_size = reported_size.value_or(bytes.size());
        return status;
    };
    _entry = device_registry::add({.registry_id = registry_id, .name = name, .user_client = std::move(client)});
}

PlayedQor::PlayedQor(PlayedQorOptions options)
    : firmware_reports(next_registry_id(), qor::driver::kFirmwareReports.service),
      driver_reports(next_registry_id(), qor::driver::kDriverReports.service) {
    firmware_reports.bytes = driver_reports.bytes = control_reports(options.reports);
    driver->command = [this](DriverCommand &command) { return answer_with_zeros(command); };
    if (options.ancestors >= 2) {
        RegistryEntryDescription entry{.name = "QOR device"};
        if (options.device_plug_in) {
            entry.plug_ins.push_back(device_plug_in(device));
        }
        device_entry = add(std::move(entry), 0);
    }
    if (options.ancestors >= 1) {
        interface_entry = add({.name = "QOR interface"}, device_entry);
    }
    RegistryEntryDescription entry{.name = "QOR driver"};
    if (options.driver_plug_in) {
        entry.plug_ins.push_back(driver_plug_in(driver));
    }
    _driver_id = next_registry_id();
    entry.registry_id = _driver_id;
    driver_entry = add(std::move(entry), interface_entry);
    client_entry = add({.name = "QOR user client"}, driver_entry);
}

PlayedQor::~PlayedQor() {
    // Children before their parents.
    for (; !_entries.empty(); _entries.pop_back()) {
        device_registry::remove(_entries.back());
    }
}

RvStatus PlayedQor::answer_with_zeros(DriverCommand &command) {
    commands.push_back(command.selector);
    std::fill(command.out.begin(), command.out.end(), std::byte{0});
    command.out_size = reported_size.value_or(command.out.size());
    return status;
}

RvRegistryEntry PlayedQor::add(RegistryEntryDescription entry, RvRegistryEntry parent) {
    if (entry.registry_id == 0) {
        entry.registry_id = next_registry_id();
    }
    if (parent != 0) {
        entry.parents.emplace(kRvServicePlane, parent);
    }
    _entries.push_back(device_registry::add(std::move(entry)));
    return _entries.back();
}

RvHIDService PlayedQor::service(const Usages &usages) const {
    RvHIDService service;
    service.name = "QOR service";
    service.properties.emplace(qor::services::kTransportKey, platform::OwnedValue(TvStringCreateWithCString(
                                                                 qor::services::kTransport, kTvStringEncodingUTF8)));
    service.usages = usages;
    service.registry_id = platform::OwnedValue(TvNumberCreateSInt64(static_cast<std::int64_t>(_driver_id)));
    return service;
}

RvHIDService PlayedQor::tallybook_service(const Usages &usages) const {
    RvHIDService result = service(usages);
    result.properties.emplace(qor::services::kSupportsTallybook, platform::OwnedValue(TvRetain(TvBooleanGet(true))));
    return result;
}

} // namespace host
