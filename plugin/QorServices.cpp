#include "plugin/QorServices.h"

#include "platform/TvValues.h"

namespace {

struct Usage {
    uint32_t page;
    uint32_t usage;
};

constexpr Usage kConsumerControl{0x000C, 0x0001};
constexpr Usage kTelephony{0x000B, 0x0001};
constexpr Usage kVendorUsage{0xFF00, 0x0029};

constexpr Usage kSensorUsages[] = {
    {0xFF00, 0x0003},
    {0xFF00, 0x0009},
    {0xFF00, 0x000A},
    {0x0020, 0x0031},
};

bool conformsTo(RvHIDServiceRef service, Usage usage) {
    return RvHIDServiceConformsTo(service, usage.page, usage.usage);
}

} // namespace

bool RvHIDServiceSupportsTallybook(RvHIDServiceRef service) {
    return TvBooleanGetValue(RvHIDServiceGetProperty(service, "ZELSupportsTallybook"));
}

uint64_t getRvHIDServiceRegistryID(RvHIDServiceRef service) {
    int64_t registryID = 0;
    TvNumberGetSInt64(RvHIDServiceGetRegistryID(service), &registryID);
    return static_cast<uint64_t>(registryID);
}

bool isConsumerControl(RvHIDServiceRef service) { return conformsTo(service, kConsumerControl); }

std::optional<ServiceGroups> groupsOfService(RvHIDServiceRef service) {
    ServiceGroups groups{};
    groups.supportsTallybook = RvHIDServiceSupportsTallybook(service);

    // Every test is made, in this order, whatever the results of the earlier ones.
    const bool consumerControl = isConsumerControl(service);
    const bool telephony = conformsTo(service, kTelephony);
    for (const Usage &usage : kSensorUsages) {
        groups.sensor |= conformsTo(service, usage);
    }
    groups.vendor = conformsTo(service, kVendorUsage);

    groups.button = consumerControl || groups.supportsTallybook || telephony;
    if (!groups.button && !groups.sensor && !groups.vendor) {
        return std::nullopt;
    }
    return groups;
}
