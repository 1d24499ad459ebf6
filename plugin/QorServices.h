/** Selects the HID services that the plug-in keeps, and sorts them into groups. */
#pragma once

#include <cstdint>
#include <optional>

#include "platform/RvHID.h"

/** True only when the service's property "ZELSupportsTallybook" is the boolean true. */
bool RvHIDServiceSupportsTallybook(RvHIDServiceRef service);

/** The service's registry ID; 0 if it has none, or if it is not a number that fits into 64 signed bits. */
uint64_t getRvHIDServiceRegistryID(RvHIDServiceRef service);

/** Whether the service is a consumer control: the usage with a HID device object and the button's handlers. */
bool isConsumerControl(RvHIDServiceRef service);

/** The purposes of a QOR service. At least one of button, sensor and vendor is true. */
struct ServiceGroups {
    bool supportsTallybook;
    bool button;
    bool sensor;
    bool vendor;
};

/** The groups of a service whose transport is the QOR; nothing if it belongs to none of them. */
std::optional<ServiceGroups> groupsOfService(RvHIDServiceRef service);
