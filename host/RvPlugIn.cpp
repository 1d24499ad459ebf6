#include "host/RvPlugIn.h"

#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>

#include "host/RvRegistry.h"
#include "host/fault_points.h"

/** A UUID object; constant ones are never freed. */
struct RvUUID {
    RvUUIDBytes value;
    bool constant;
};

namespace host {
namespace {

using UUIDKey = std::array<std::uint8_t, sizeof(RvUUIDBytes)>;

UUIDKey key_of(const RvUUIDBytes &value) {
    UUIDKey key;
    std::memcpy(key.data(), value.bytes, key.size());
    return key;
}

struct PlugInRegistry {
    std::mutex mutex;
    std::map<UUIDKey, std::unique_ptr<const RvUUID>> constants;
    std::map<UUIDKey, std::size_t> factory_instances;
};

/** Never destroyed: constant UUIDs live as long as the process. */
PlugInRegistry &plug_in_registry() {
    static PlugInRegistry &instance = *new PlugInRegistry;
    return instance;
}

FaultPoint uuid_create{"RvUUIDCreateWithBytes"};
FaultPoint uuid_get_constant{"RvUUIDGetConstantWithBytes"};
FaultPoint create_for_service{"RvPlugInCreateForService"};

} // namespace

std::size_t factory_instance_count(const RvUUIDBytes &factory) {
    PlugInRegistry &registry = plug_in_registry();
    const std::lock_guard lock(registry.mutex);
    const auto found = registry.factory_instances.find(key_of(factory));
    return found == registry.factory_instances.end() ? 0 : found->second;
}

} // namespace host

RvUUIDRef RvUUIDCreateWithBytes(RvUUIDBytes bytes) {
    if (host::uuid_create.strikes()) {
        return nullptr;
    }
    return new (std::nothrow) RvUUID{bytes, false};
}

RvUUIDRef RvUUIDGetConstantWithBytes(RvUUIDBytes bytes) {
    if (host::uuid_get_constant.strikes()) {
        return nullptr;
    }
    try {
        host::PlugInRegistry &registry = host::plug_in_registry();
        const std::lock_guard lock(registry.mutex);
        std::unique_ptr<const RvUUID> &constant = registry.constants[host::key_of(bytes)];
        if (constant == nullptr) {
            constant = std::make_unique<const RvUUID>(RvUUID{bytes, true});
        }
        return constant.get();
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

bool RvUUIDEqual(RvUUIDRef a, RvUUIDRef b) {
    return a != nullptr && b != nullptr && host::key_of(a->value) == host::key_of(b->value);
}

void RvUUIDRelease(RvUUIDRef uuid) {
    if (uuid != nullptr && !uuid->constant) {
        delete uuid;
    }
}

void RvPlugInAddInstanceForFactory(RvUUIDRef factory) {
    if (factory == nullptr) {
        return;
    }
    host::PlugInRegistry &registry = host::plug_in_registry();
    const std::lock_guard lock(registry.mutex);
    try {
        ++registry.factory_instances[host::key_of(factory->value)];
    } catch (const std::bad_alloc &) {
        // The count only informs the host: an instance is left out when memory is exhausted.
    }
}

void RvPlugInRemoveInstanceForFactory(RvUUIDRef factory) {
    if (factory == nullptr) {
        return;
    }
    host::PlugInRegistry &registry = host::plug_in_registry();
    const std::lock_guard lock(registry.mutex);
    const auto found = registry.factory_instances.find(host::key_of(factory->value));
    if (found != registry.factory_instances.end() && --found->second == 0) {
        registry.factory_instances.erase(found);
    }
}

RvStatus RvPlugInCreateForService(RvRegistryEntry service, RvUUIDRef plug_in, RvUUIDRef interface,
                                  RvInterfaceRef *out) {
    if (host::create_for_service.strikes()) {
        return kRvStatusError;
    }
    if (service == 0 || plug_in == nullptr || interface == nullptr || out == nullptr) {
        return kRvStatusBadArgument;
    }
    try {
        const host::PlugInFactory factory = host::device_registry::plug_in_factory(service, plug_in->value);
        if (!factory) {
            return kRvStatusNotFound;
        }
        RvInterfaceRef created = nullptr;
        const RvStatus status = factory(interface->value, &created);
        if (status == kRvStatusSuccess) {
            *out = created;
        }
        return status;
    } catch (const std::bad_alloc &) {
        return kRvStatusNoMemory;
    }
}
