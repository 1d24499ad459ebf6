#include "host/RvHID.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <new>
#include <set>

#include "host/RvRegistry.h"
#include "host/fault_points.h"
#include "platform/RvAllocator.h"

/** A HID device object. It holds no reference to its entry, because plug-ins only create and release it. */
struct RvHIDDevice {
    RvRegistryEntry entry;
};

namespace host {
namespace {

struct RefusedEntries {
    std::mutex mutex;
    std::set<RvRegistryEntry> entries;
};

RefusedEntries &refused_entries() {
    static RefusedEntries &instance = *new RefusedEntries;
    return instance;
}

std::atomic<std::size_t> live_devices{0};

bool is_allowed(RvRegistryEntry entry) {
    RefusedEntries &refused = refused_entries();
    const std::lock_guard lock(refused.mutex);
    return !refused.entries.contains(entry);
}

TvRef property(RvHIDServiceRef service, const char *key) {
    if (service == nullptr || key == nullptr) {
        return nullptr;
    }
    const auto found = service->properties.find(std::string_view(key));
    return found == service->properties.end() ? nullptr : found->second.get();
}

FaultPoint copy_property{"RvHIDServiceCopyProperty"};
FaultPoint get_property{"RvHIDServiceGetProperty"};
FaultPoint get_registry_id{"RvHIDServiceGetRegistryID"};
FaultPoint device_create{"RvHIDDeviceCreate"};

} // namespace

void allow_hid_device(RvRegistryEntry entry, bool allowed) {
    RefusedEntries &refused = refused_entries();
    const std::lock_guard lock(refused.mutex);
    if (allowed) {
        refused.entries.erase(entry);
    } else {
        refused.entries.insert(entry);
    }
}

std::size_t live_hid_devices() { return live_devices; }

} // namespace host

TvRef RvHIDServiceCopyProperty(RvHIDServiceRef service, const char *key) {
    return host::copy_property.strikes() ? nullptr : TvRetain(host::property(service, key));
}

TvRef RvHIDServiceGetProperty(RvHIDServiceRef service, const char *key) {
    return host::get_property.strikes() ? nullptr : host::property(service, key);
}

bool RvHIDServiceConformsTo(RvHIDServiceRef service, uint32_t usage_page, uint32_t usage) {
    return service != nullptr &&
           std::ranges::find(service->usages, std::pair(usage_page, usage)) != service->usages.end();
}

TvRef RvHIDServiceGetRegistryID(RvHIDServiceRef service) {
    return host::get_registry_id.strikes() || service == nullptr ? nullptr : service->registry_id.get();
}

RvHIDDeviceRef RvHIDDeviceCreate(RvRegistryEntry service) {
    if (host::device_create.strikes() || !host::device_registry::is_registered(service) || !host::is_allowed(service)) {
        return nullptr;
    }
    void *storage = RvAllocatorAllocate(RvAllocatorGetDefault(), sizeof(RvHIDDevice));
    if (storage == nullptr) {
        return nullptr;
    }
    ++host::live_devices;
    return new (storage) RvHIDDevice{service};
}

void RvHIDDeviceRelease(RvHIDDeviceRef device) {
    if (device == nullptr) {
        return;
    }
    RvAllocatorDeallocate(RvAllocatorGetDefault(), device);
    --host::live_devices;
}
