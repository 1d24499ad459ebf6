/** HID services, behind `platform/RvHID.h`. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/Owned.h"
#include "platform/RvHID.h"

/** A HID service. A plug-in may use it only during the call that passes it. */
struct RvHIDService {
    std::string name; ///< for messages
    std::map<std::string, platform::OwnedValue, std::less<>> properties;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> usages; ///< (usage page, usage)
    platform::OwnedValue registry_id;                            ///< null: the service has none
};

namespace host {

/** Allows or forbids `RvHIDDeviceCreate` on a registry entry. By default it is allowed on every entry. */
void allow_hid_device(RvRegistryEntry entry, bool allowed);

/** The number of live HID device objects. */
std::size_t live_hid_devices();

} // namespace host
