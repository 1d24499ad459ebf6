/** The device registry behind `platform/RvRegistry.h`, `RvConnection.h` and `RvPlugIn.h`. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/Owned.h"
#include "platform/RvConnection.h"
#include "platform/RvPlugIn.h"
#include "platform/RvRegistry.h"

namespace host {

/** One call of a user-client method, as the driver sees it. */
struct MethodCall {
    std::uint32_t method;
    std::span<const std::uint64_t> scalars_in;
    std::span<const std::byte> in;
    std::span<std::uint64_t> scalars_out;
    std::size_t scalars_out_count; ///< in: the capacity; out: what the driver reports
    std::span<std::byte> out;
    std::size_t out_size; ///< in: the capacity; out: what the driver reports, true or not
};

/** How a service answers user clients. */
struct UserClient {
    std::function<RvStatus(std::uint32_t type)> open;      ///< empty: every type is accepted
    std::function<RvStatus(MethodCall &call)> call_method; ///< empty: no method is known
};

/** Makes one user-space plug-in object, with one reference, that answers `interface`. */
using PlugInFactory = std::function<RvStatus(const RvUUIDBytes &interface, RvInterfaceRef *out)>;

/** One entry to be added. */
struct RegistryEntryDescription {
    std::uint64_t registry_id = 0; ///< unique in the registry
    std::string name{};
    std::string class_name{};
    std::map<std::string, platform::OwnedValue> properties{};
    std::map<std::string, RvRegistryEntry> parents{}; ///< plane to parent; an entry becomes its parent's last child
    std::optional<UserClient> user_client{};          ///< absent: connections are refused with `kRvStatusNotFound`
    std::vector<std::pair<RvUUIDBytes, PlugInFactory>> plug_ins{}; ///< by plug-in type
};

/**
 * The process's registry. Look-ups answer in the order in which entries were added. All members may be called
 * from any thread.
 */
namespace device_registry {

/**
 * Adds an entry. @return its handle number, not counted as a reference: it names the entry as long as the
 * entry is registered. @throws Error for a registry ID that is taken or a parent that is not there.
 */
RvRegistryEntry add(RegistryEntryDescription description);

/** Puts or replaces a property of a live entry; null removes it. */
void set_property(RvRegistryEntry handle, const std::string &key, platform::OwnedValue value);

/**
 * Takes an entry out. Handles that others hold stay valid numbers and answer `kRvStatusNotFound`; the storage
 * goes with the last of them.
 */
void remove(RvRegistryEntry handle);

/** Whether the handle names an entry that is in the registry. */
bool is_registered(RvRegistryEntry handle);

/** The factory of the entry's user-space plug-in of this type; empty when there is none. */
PlugInFactory plug_in_factory(RvRegistryEntry handle, const RvUUIDBytes &type);

/** How many references to the entry have been given and not given back. */
std::size_t reference_count(RvRegistryEntry handle);

/** How many connections are open. */
std::size_t open_connection_count();

/** How many live objects a factory has registered. */
std::size_t factory_instance_count(const RvUUIDBytes &factory);

} // namespace device_registry

} // namespace host
