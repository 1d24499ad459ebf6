/** Which HID services the plug-in keeps, and in which groups they are. */
#pragma once

#include <cstdint>
#include <optional>

#include "platform/RvHID.h"

/** True only when the service's property "ZELSupportsTallybook" is the boolean true. */
bool RvHIDServiceSupportsTallybook(RvHIDServiceRef service);

/** The service's registry ID; 0 when it has none or it is no signed 64-bit number. */
uint64_t getRvHIDServiceRegistryID(RvHIDServiceRef service);

/** Consumer control: the usage that needs a HID device object and has the button's own handlers. */
bool isConsumerControl(RvHIDServiceRef service);

/** What a QOR service is for. At least one of button, sensor and vendor holds. */
struct ServiceGroups {
    bool supportsTallybook;
    bool button;
    bool sensor;
    bool vendor;
};

/** The groups of a service whose transport is the QOR; nothing for a service that is in none of them. */
std::optional<ServiceGroups> groupsOfService(RvHIDServiceRef service);
