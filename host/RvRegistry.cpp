#include "host/RvRegistry.h"

#include <cstdio>
#include <cstring>
#include <mutex>
#include <set>
#include <string_view>

#include <pthread.h>

#include "host/error.h"
#include "host/fault_points.h"

namespace host {
namespace {

using platform::OwnedValue;

/** Entries in the order in which they were added. */
using Entries = std::set<RvRegistryEntry>;

/** Entries by a text that several of them may share. */
using EntriesByText = std::map<std::string, Entries, std::less<>>;

struct Entry {
    std::uint64_t registry_id = 0;
    std::string name;
    std::string class_name;
    std::map<std::string, OwnedValue, std::less<>> properties;
    std::map<std::string, RvRegistryEntry, std::less<>> parents;
    EntriesByText children; ///< by plane
    std::shared_ptr<const UserClient> user_client;
    std::vector<std::pair<RvUUIDBytes, PlugInFactory>> plug_ins;
    std::size_t references = 0;
};

/**
 * Entries are ordered by handle, which is the order in which they were added; a handle number is never used twice.
 * `mutex` guards everything; drivers are called, and their functions destroyed, without it.
 */
struct Registry {
    std::mutex mutex;
    std::map<RvRegistryEntry, Entry> entries;
    /** How many references are left to each entry that was removed while some were held. */
    std::map<RvRegistryEntry, std::size_t> references_to_removed;
    std::map<std::uint64_t, RvRegistryEntry> entry_of_id;
    EntriesByText entries_of_class;
    EntriesByText entries_of_name;
    RvRegistryEntry next_entry = 1;

    /** Null for an entry that is not registered. */
    Entry *find(RvRegistryEntry handle) {
        const auto found = entries.find(handle);
        return found != entries.end() ? &found->second : nullptr;
    }
};

/** Never destroyed: look-ups are allowed at any time, even while the process exits. */
Registry &registry() {
    static Registry &instance = *new Registry;
    return instance;
}

/**
 * A child process must be able to look things up even if another thread of its parent did so at the moment of the
 * fork: no thread holds the lock then. Registered when the library is loaded, so that no fork comes before it.
 */
[[maybe_unused]] const int kForkHandlers = pthread_atfork(
    [] { registry().mutex.lock(); }, [] { registry().mutex.unlock(); }, [] { registry().mutex.unlock(); });

/** The first entry of this text, with a reference added; 0 when there is none. */
RvRegistryEntry copy_first(EntriesByText Registry::*index, const char *text) {
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    const auto found = (reg.*index).find(std::string_view(text));
    if (found == (reg.*index).end()) {
        return 0;
    }
    const RvRegistryEntry first = *found->second.begin();
    ++reg.entries.at(first).references;
    return first;
}

/** Does nothing for an entry that is not in the index. */
void remove_from(EntriesByText &index, const std::string &text, RvRegistryEntry handle) {
    const auto found = index.find(text);
    if (found == index.end()) {
        return;
    }
    found->second.erase(handle);
    if (found->second.empty()) {
        index.erase(found);
    }
}

/** Stores an owned handle of `neighbour(entry)`; 0 when there is none. */
template <typename Neighbour>
RvStatus copy_neighbour(RvRegistryEntry handle, const char *plane, RvRegistryEntry *out, const Neighbour &neighbour) {
    if (handle == 0 || plane == nullptr || out == nullptr) {
        return kRvStatusBadArgument;
    }
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    const Entry *entry = reg.find(handle);
    if (entry == nullptr) {
        return kRvStatusNotFound;
    }
    const RvRegistryEntry found = neighbour(*entry);
    if (Entry *target = reg.find(found)) {
        ++target->references;
    }
    *out = found;
    return kRvStatusSuccess;
}

void check_addition(Registry &reg, const RegistryEntryDescription &description) {
    if (const auto taken = reg.entry_of_id.find(description.registry_id); taken != reg.entry_of_id.end()) {
        char id[24];
        std::snprintf(id, sizeof id, "0x%llX", static_cast<unsigned long long>(description.registry_id));
        throw Error("", "registry entry " + in_quotes(description.name),
                    std::string("registry ID ") + id + " is taken by entry " +
                        in_quotes(reg.entries.at(taken->second).name));
    }
    for (const auto &[plane, parent] : description.parents) {
        if (reg.find(parent) == nullptr) {
            throw Error("", "registry entry " + in_quotes(description.name),
                        "its parent in plane " + in_quotes(plane) + " is not in the registry");
        }
    }
}

/** Makes an entry known by its ID, its class, its name and its parents. */
void link(Registry &reg, RvRegistryEntry handle, const Entry &entry) {
    reg.entry_of_id.emplace(entry.registry_id, handle);
    reg.entries_of_class[entry.class_name].insert(handle);
    reg.entries_of_name[entry.name].insert(handle);
    for (const auto &[plane, parent] : entry.parents) {
        reg.entries.at(parent).children[plane].insert(handle);
    }
}

/** Undoes `link`, also one that memory did not suffice for, and makes orphans of the children. */
void unlink(Registry &reg, RvRegistryEntry handle, Entry &entry) {
    reg.entry_of_id.erase(entry.registry_id);
    remove_from(reg.entries_of_class, entry.class_name, handle);
    remove_from(reg.entries_of_name, entry.name, handle);
    for (const auto &[plane, parent] : entry.parents) {
        remove_from(reg.entries.at(parent).children, plane, handle);
    }
    for (const auto &[plane, children] : entry.children) {
        for (const RvRegistryEntry child : children) {
            reg.entries.at(child).parents.erase(plane);
        }
    }
    entry.parents.clear();
    entry.children.clear();
}

FaultPoint copy_service_matching_id{"RvRegistryCopyServiceMatchingID"};
FaultPoint copy_service_matching_class{"RvRegistryCopyServiceMatchingClass"};
FaultPoint copy_service_matching_name{"RvRegistryCopyServiceMatchingName"};
FaultPoint copy_parent{"RvRegistryEntryCopyParent"};
FaultPoint copy_child{"RvRegistryEntryCopyChild"};
FaultPoint get_name{"RvRegistryEntryGetName"};
FaultPoint copy_property{"RvRegistryEntryCopyProperty"};

} // namespace

namespace device_registry {

RvRegistryEntry add(RegistryEntryDescription description) {
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    check_addition(reg, description);

    Entry entry;
    entry.registry_id = description.registry_id;
    entry.name = std::move(description.name);
    entry.class_name = std::move(description.class_name);
    for (auto &[key, value] : description.properties) {
        if (value) {
            entry.properties.emplace(key, std::move(value));
        }
    }
    entry.parents.insert(description.parents.begin(), description.parents.end());
    if (description.user_client) {
        entry.user_client = std::make_shared<UserClient>(std::move(*description.user_client));
    }
    entry.plug_ins = std::move(description.plug_ins);

    const RvRegistryEntry handle = reg.next_entry++;
    const auto added = reg.entries.emplace(handle, std::move(entry)).first;
    try {
        link(reg, handle, added->second);
    } catch (...) {
        unlink(reg, handle, added->second);
        reg.entries.erase(added);
        throw;
    }
    return handle;
}

void set_property(RvRegistryEntry handle, const std::string &key, OwnedValue value) {
    OwnedValue replaced;
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    Entry *entry = reg.find(handle);
    if (entry == nullptr) {
        return;
    }
    if (!value) {
        entry->properties.erase(key);
        return;
    }
    replaced = std::exchange(entry->properties[key], std::move(value));
}

void remove(RvRegistryEntry handle) {
    std::map<RvRegistryEntry, Entry>::node_type removed; // destroyed after the lock is released
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    const auto found = reg.entries.find(handle);
    if (found == reg.entries.end()) {
        return;
    }
    if (found->second.references > 0) {
        reg.references_to_removed.emplace(handle, found->second.references);
    }
    unlink(reg, handle, found->second);
    removed = reg.entries.extract(found);
}

bool is_registered(RvRegistryEntry handle) {
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    return reg.find(handle) != nullptr;
}

std::shared_ptr<const UserClient> user_client(RvRegistryEntry handle) {
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    const Entry *entry = reg.find(handle);
    return entry == nullptr ? nullptr : entry->user_client;
}

PlugInFactory plug_in_factory(RvRegistryEntry handle, const RvUUIDBytes &type) {
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    if (const Entry *entry = reg.find(handle)) {
        for (const auto &[candidate, factory] : entry->plug_ins) {
            if (std::memcmp(candidate.bytes, type.bytes, sizeof type.bytes) == 0) {
                return factory;
            }
        }
    }
    return {};
}

std::size_t reference_count(RvRegistryEntry handle) {
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    if (const Entry *entry = reg.find(handle)) {
        return entry->references;
    }
    const auto removed = reg.references_to_removed.find(handle);
    return removed == reg.references_to_removed.end() ? 0 : removed->second;
}

} // namespace device_registry
} // namespace host

using host::registry;

RvRegistryEntry RvRegistryCopyServiceMatchingID(uint64_t registry_id) {
    if (host::copy_service_matching_id.strikes()) {
        return 0;
    }
    host::Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    const auto found = reg.entry_of_id.find(registry_id);
    if (found == reg.entry_of_id.end()) {
        return 0;
    }
    ++reg.entries.at(found->second).references;
    return found->second;
}

RvRegistryEntry RvRegistryCopyServiceMatchingClass(const char *class_name) {
    if (host::copy_service_matching_class.strikes() || class_name == nullptr) {
        return 0;
    }
    return host::copy_first(&host::Registry::entries_of_class, class_name);
}

RvRegistryEntry RvRegistryCopyServiceMatchingName(const char *name) {
    if (host::copy_service_matching_name.strikes() || name == nullptr) {
        return 0;
    }
    return host::copy_first(&host::Registry::entries_of_name, name);
}

RvStatus RvRegistryEntryCopyParent(RvRegistryEntry entry, const char *plane, RvRegistryEntry *parent) {
    if (host::copy_parent.strikes()) {
        return kRvStatusError;
    }
    return host::copy_neighbour(entry, plane, parent, [&](const host::Entry &of) -> RvRegistryEntry {
        const auto found = of.parents.find(std::string_view(plane));
        return found == of.parents.end() ? 0 : found->second;
    });
}

RvStatus RvRegistryEntryCopyChild(RvRegistryEntry entry, const char *plane, RvRegistryEntry *child) {
    if (host::copy_child.strikes()) {
        return kRvStatusError;
    }
    return host::copy_neighbour(entry, plane, child, [&](const host::Entry &of) -> RvRegistryEntry {
        const auto found = of.children.find(std::string_view(plane));
        return found == of.children.end() ? 0 : *found->second.begin();
    });
}

RvStatus RvRegistryEntryGetName(RvRegistryEntry entry, char name[kRvRegistryNameSize]) {
    if (host::get_name.strikes()) {
        return kRvStatusError;
    }
    if (entry == 0 || name == nullptr) {
        return kRvStatusBadArgument;
    }
    host::Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    const host::Entry *found = reg.find(entry);
    if (found == nullptr) {
        return kRvStatusNotFound;
    }
    name[found->name.copy(name, kRvRegistryNameSize - 1)] = '\0';
    return kRvStatusSuccess;
}

TvRef RvRegistryEntryCopyProperty(RvRegistryEntry entry, const char *key) {
    if (host::copy_property.strikes() || key == nullptr) {
        return nullptr;
    }
    host::Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    const host::Entry *found = reg.find(entry);
    if (found == nullptr) {
        return nullptr;
    }
    const auto property = found->properties.find(std::string_view(key));
    return property == found->properties.end() ? nullptr : TvRetain(property->second.get());
}

void RvRegistryEntryRelease(RvRegistryEntry entry) {
    host::Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    if (host::Entry *found = reg.find(entry)) {
        if (found->references > 0) {
            --found->references;
        }
        return;
    }
    const auto removed = reg.references_to_removed.find(entry);
    if (removed != reg.references_to_removed.end() && --removed->second == 0) {
        reg.references_to_removed.erase(removed);
    }
}
