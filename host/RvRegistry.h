/** The device registry, behind `platform/RvRegistry.h`. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/RvConnection.h"
#include "host/RvPlugIn.h"
#include "platform/Owned.h"
#include "platform/RvRegistry.h"

namespace host {

/** An entry to add. */
struct RegistryEntryDescription {
    std::uint64_t registry_id = 0; ///< unique in the registry
    std::string name{};
    std::string class_name{};
    std::map<std::string, platform::OwnedValue> properties{};
    std::map<std::string, RvRegistryEntry> parents{}; ///< plane to parent; an entry becomes its parent's last child
    std::optional<UserClient> user_client{};          ///< absent: connections are refused with `kRvStatusNotFound`
    std::vector<std::pair<RvUUIDBytes, PlugInFactory>> plug_ins{}; ///< by plug-in type
};

/** The process's registry. Look-ups answer in the order in which entries were added. Any thread. */
namespace device_registry {

/**
 * Adds an entry.
 * @return its handle, which is not counted as a reference: it names the entry as long as the entry is registered.
 * @throws Error for a registry ID that is taken or a parent that is not in the registry.
 */
RvRegistryEntry add(RegistryEntryDescription description);

/** Sets or replaces a property of a registered entry; null removes it. Does nothing for any other handle. */
void set_property(RvRegistryEntry handle, const std::string &key, platform::OwnedValue value);

/**
 * Removes an entry. Handles that others hold may still be released; every other operation on them answers
 * `kRvStatusNotFound`. No handle number is ever used twice.
 */
void remove(RvRegistryEntry handle);

/** Whether the handle names an entry that is in the registry. */
bool is_registered(RvRegistryEntry handle);

/** The entry's driver for user clients; null when it has none. */
std::shared_ptr<const UserClient> user_client(RvRegistryEntry handle);

/** The factory of the entry's user-space plug-in of this type; empty when there is none. */
PlugInFactory plug_in_factory(RvRegistryEntry handle, const RvUUIDBytes &type);

/** The number of references to the entry, registered or not, that have been handed out and not released. */
std::size_t reference_count(RvRegistryEntry handle);

} // namespace device_registry

} // namespace host
