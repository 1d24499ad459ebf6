#include "host/RvConnection.h"

#include <algorithm>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "host/RvRegistry.h"
#include "host/fault_points.h"

namespace host {
namespace {

struct Connection {
    RvRegistryEntry service;
    std::shared_ptr<const UserClient> driver;
};

/** `mutex` guards everything; drivers are called, and their functions destroyed, without it. */
struct Connections {
    std::mutex mutex;
    std::map<RvConnection, Connection> open;
    RvConnection next = 1;
};

/** Never destroyed: connections may be closed while the process exits. */
Connections &connections() {
    static Connections &instance = *new Connections;
    return instance;
}

RvStatus add_connection(RvRegistryEntry service, std::shared_ptr<const UserClient> driver, RvConnection *connection) {
    Connections &all = connections();
    const std::lock_guard lock(all.mutex);
    try {
        all.open.emplace(all.next, Connection{service, std::move(driver)});
    } catch (const std::bad_alloc &) {
        return kRvStatusNoMemory;
    }
    *connection = all.next++;
    return kRvStatusSuccess;
}

/** The driver of an open connection; `kRvStatusNotFound` once its service has left the registry. */
RvStatus find_driver(RvConnection connection, std::shared_ptr<const UserClient> &driver) {
    Connections &all = connections();
    const std::lock_guard lock(all.mutex);
    const auto found = all.open.find(connection);
    if (found == all.open.end()) {
        return kRvStatusBadArgument;
    }
    if (!device_registry::is_registered(found->second.service)) {
        return kRvStatusNotFound;
    }
    driver = found->second.driver;
    return kRvStatusSuccess;
}

std::uint32_t clamp_to_32_bits(std::size_t count) {
    return static_cast<std::uint32_t>(std::min<std::size_t>(count, std::numeric_limits<std::uint32_t>::max()));
}

FaultPoint open_fault{"RvConnectionOpen"};
FaultPoint close_fault{"RvConnectionClose"};
FaultPoint call_method_fault{"RvConnectionCallMethod"};

} // namespace

std::size_t open_connection_count() {
    Connections &all = connections();
    const std::lock_guard lock(all.mutex);
    return all.open.size();
}

} // namespace host

RvStatus RvConnectionOpen(RvRegistryEntry service, uint32_t type, RvConnection *connection) {
    if (host::open_fault.strikes()) {
        return kRvStatusError;
    }
    if (service == 0 || connection == nullptr) {
        return kRvStatusBadArgument;
    }
    std::shared_ptr<const host::UserClient> driver = host::device_registry::user_client(service);
    if (driver == nullptr) {
        return kRvStatusNotFound;
    }
    if (driver->open) {
        if (const RvStatus refusal = driver->open(type); refusal != kRvStatusSuccess) {
            return refusal;
        }
    }
    return host::add_connection(service, std::move(driver), connection);
}

RvStatus RvConnectionClose(RvConnection connection) {
    const bool fails = host::close_fault.strikes();
    std::shared_ptr<const host::UserClient> driver; // destroyed after the lock is released
    host::Connections &all = host::connections();
    const std::lock_guard lock(all.mutex);
    const auto found = all.open.find(connection);
    if (found == all.open.end()) {
        return kRvStatusBadArgument;
    }
    driver = std::move(found->second.driver);
    all.open.erase(found);
    return fails ? kRvStatusError : RvStatus{kRvStatusSuccess};
}

RvStatus RvConnectionCallMethod(RvConnection connection, uint32_t method, const uint64_t *scalars_in,
                                uint32_t scalars_in_count, const void *in, size_t in_size, uint64_t *scalars_out,
                                uint32_t *scalars_out_count, void *out, size_t *out_size) {
    if (host::call_method_fault.strikes()) {
        return kRvStatusError;
    }
    if ((scalars_in == nullptr && scalars_in_count != 0) || (in == nullptr && in_size != 0)) {
        return kRvStatusBadArgument;
    }
    std::shared_ptr<const host::UserClient> driver;
    if (const RvStatus status = host::find_driver(connection, driver); status != kRvStatusSuccess) {
        return status;
    }
    if (!driver->call_method) {
        return kRvStatusNotFound;
    }

    const std::size_t scalar_capacity =
        scalars_out != nullptr && scalars_out_count != nullptr ? *scalars_out_count : std::size_t{0};
    const std::size_t capacity = out != nullptr && out_size != nullptr ? *out_size : 0;
    host::MethodCall call{
        .method = method,
        .scalars_in = {scalars_in, scalars_in_count},
        .in = {static_cast<const std::byte *>(in), in_size},
        .scalars_out = {scalars_out, scalar_capacity},
        .scalars_out_count = scalar_capacity,
        .out = {static_cast<std::byte *>(out), capacity},
        .out_size = capacity,
    };
    const RvStatus status = driver->call_method(call);
    if (scalars_out_count != nullptr) {
        *scalars_out_count = host::clamp_to_32_bits(call.scalars_out_count);
    }
    if (out_size != nullptr) {
        *out_size = call.out_size;
    }
    return status;
}
