/** HID services as the host makes them, behind `platform/RvHID.h`. */
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

/** A HID service; a plug-in borrows it for the call that hands it over. */
struct RvHIDService {
    std::string name; ///< for messages
    std::map<std::string, platform::OwnedValue, std::less<>> properties;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> usages; ///< (usage page, usage)
    platform::OwnedValue registry_id;                            ///< null: the service has none
};

namespace host {

/** Whether `RvHIDDeviceCreate` works on this registry entry; every entry can until told otherwise. */
void allow_hid_device(RvRegistryEntry entry, bool allowed);

/** How many HID device objects are alive. */
std::size_t live_hid_devices();

} // namespace host
