#include "plugin/QorServices.h"

#include "platform/TvValues.h"
#include "qor/services.h"

namespace services = qor::services;

namespace {

bool conformsTo(RvHIDServiceRef service, services::Usage usage) {
    return RvHIDServiceConformsTo(service, usage.first, usage.second);
}

} // namespace

bool RvHIDServiceSupportsTallybook(RvHIDServiceRef service) {
    return TvBooleanGetValue(RvHIDServiceGetProperty(service, services::kSupportsTallybook));
}

uint64_t getRvHIDServiceRegistryID(RvHIDServiceRef service) {
    int64_t registryID = 0;
    TvNumberGetSInt64(RvHIDServiceGetRegistryID(service), &registryID);
    return static_cast<uint64_t>(registryID);
}

bool isConsumerControl(RvHIDServiceRef service) { return conformsTo(service, services::kConsumerControl); }

std::optional<ServiceGroups> groupsOfService(RvHIDServiceRef service) {
    ServiceGroups groups{};
    groups.supportsTallybook = RvHIDServiceSupportsTallybook(service);

    // Every test is made, in this order, whatever the results of the earlier ones.
    const bool consumerControl = isConsumerControl(service);
    const bool telephony = conformsTo(service, services::kTelephony);
    for (const services::Usage &usage : services::kSensors) {
        groups.sensor |= conformsTo(service, usage);
    }
    groups.vendor = conformsTo(service, services::kVendor);

    groups.button = consumerControl || groups.supportsTallybook || telephony;
    if (!groups.button && !groups.sensor && !groups.vendor) {
        return std::nullopt;
    }
    return groups;
}
