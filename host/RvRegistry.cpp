#include "host/RvRegistry.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <limits>
#include <mutex>
#include <new>
#include <optional>
#include <string_view>
#include <unordered_map>

#include "host/TvValues.h"
#include "host/error.h"
#include "host/fault_points.h"

namespace host {
namespace {

using platform::OwnedValue;

struct Entry {
    std::uint64_t registry_id = 0;
    std::string name;
    std::string class_name;
    std::map<std::string, OwnedValue, std::less<>> properties;
    std::map<std::string, RvRegistryEntry, std::less<>> parents;
    std::map<std::string, std::vector<RvRegistryEntry>, std::less<>> children;
    std::shared_ptr<const UserClient> user_client;
    std::vector<std::pair<RvUUIDBytes, PlugInFactory>> plug_ins;
    std::size_t references = 0;
};

struct Connection {
    RvRegistryEntry service;
    std::shared_ptr<const UserClient> user_client;
};

/** A C string, copied to be compared with later ones; remembers nothing of one that is too long. */
class RememberedText {
public:
    bool remember(const char *text) {
        const std::size_t size = strnlen(text, _text.size());
        if (size == _text.size()) {
            return false;
        }
        std::memcpy(_text.data(), text, size + 1);
        return true;
    }
    bool operator==(const char *text) const { return std::strcmp(_text.data(), text) == 0; }

private:
    std::array<char, 64> _text{};
};

/**
 * What a thread was last answered, which holds as long as nothing in the registry has changed since. Describing a
 * report asks the same two questions every time; answered under the lock they cost half as much as the whole line.
 *
 * The thread owns one reference to the service beforehand, which is handed out and taken back without the lock.
 */
struct LastAnswers {
    std::uint64_t service_version = 0; ///< the registry's at the answer; 0: no answer
    RememberedText class_name;
    RvRegistryEntry service = 0; ///< 0 also for a class that no service has
    /** Whether the reference is not handed out. Written by the thread, read by others under the registry's mutex. */
    std::atomic<bool> has_spare = false;

    std::uint64_t property_version = 0;
    RvRegistryEntry entry = 0;
    RememberedText key;
    TvRef value = nullptr; ///< kept as the thread's spare value
};

/** Found without a call, since the library is loaded with the program or the module. */
[[gnu::tls_model("initial-exec")]] thread_local constinit LastAnswers answers;

/** Goes up with every change of what the registry would answer. */
constinit std::atomic<std::uint64_t> registry_version{1};

using EntryWithHandle = std::pair<const RvRegistryEntry, Entry>;

struct HashOfText {
    using is_transparent = void;

    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};

/**
 * Entries stand in the order of their handles, which is the order in which they were added; a handle number is
 * never used twice. `mutex` guards everything; what belongs to drivers is called, and released, without it.
 */
struct Registry {
    std::mutex mutex;
    std::map<RvRegistryEntry, Entry> entries;
    /**
     * Entries that were removed while references were handed out, empty but for their count. They stand apart, since
     * there may be many: the plug-in never gives back what a kept service's context refers to.
     */
    std::map<RvRegistryEntry, Entry> removed_entries;
    /**
     * The registered entries of each class, in order. Describing a report asks for a class every time, and with
     * twenty services in the registry walking all entries was half of what reading the clock cost.
     */
    std::unordered_map<std::string, std::vector<EntryWithHandle *>, HashOfText, std::equal_to<>> entries_of_class;
    RvRegistryEntry next_entry = 1;
    std::map<RvConnection, Connection> connections;
    RvConnection next_connection = 1;
    /** Those of every thread that has one. */
    std::vector<const LastAnswers *> answers_of_threads;

    Entry *registered(RvRegistryEntry handle) {
        const auto found = entries.find(handle);
        return found != entries.end() ? &found->second : nullptr;
    }

    /** Registered, or referred to though it is no longer. */
    Entry *known(RvRegistryEntry handle) {
        const auto found = removed_entries.find(handle);
        return found != removed_entries.end() ? &found->second : registered(handle);
    }

    /** The references that are handed out, of the `all` that are counted. */
    std::size_t handed_out(RvRegistryEntry handle, std::size_t all) const {
        return all - static_cast<std::size_t>(std::count_if(
                         answers_of_threads.begin(), answers_of_threads.end(), [&](const LastAnswers *of_thread) {
                             return of_thread->service == handle &&
                                    of_thread->has_spare.load(std::memory_order_relaxed);
                         }));
    }

    void give_back(RvRegistryEntry handle) {
        Entry *const entry = known(handle);
        if (entry == nullptr || handed_out(handle, entry->references) == 0) {
            return;
        }
        if (--entry->references == 0) {
            removed_entries.erase(handle);
        }
    }

    void has_changed() { registry_version.fetch_add(1, std::memory_order_release); }
};

/** Never destroyed: look-ups are allowed at any time, also while the process ends. */
Registry &registry() {
    static Registry &instance = *new Registry;
    return instance;
}

/** Under the registry's mutex. */
void forget_service(Registry &reg) {
    answers.service_version = 0;
    if (answers.has_spare.load(std::memory_order_relaxed)) {
        answers.has_spare.store(false, std::memory_order_relaxed);
        reg.give_back(answers.service);
    }
    answers.service = 0;
}

/** Makes a thread's answers known to the registry, and ends them before the thread does. */
class AnswersOfThread {
public:
    /** Under the registry's mutex. @throws std::bad_alloc */
    explicit AnswersOfThread(Registry &reg) { reg.answers_of_threads.push_back(&answers); }
    AnswersOfThread(const AnswersOfThread &) = delete;
    AnswersOfThread &operator=(const AnswersOfThread &) = delete;
    ~AnswersOfThread() {
        Registry &reg = registry();
        {
            const std::lock_guard lock(reg.mutex);
            forget_service(reg);
            std::erase(reg.answers_of_threads, &answers);
        }
        answers.property_version = 0;
        keep_spare_value(nullptr);
        _thread_ends = true;
    }

    /** Whether the calling thread may remember answers; under the registry's mutex. */
    static bool may_remember(Registry &reg) {
        if (_thread_ends) {
            return false;
        }
        try {
            thread_local AnswersOfThread of_thread(reg);
            return true;
        } catch (const std::bad_alloc &) {
            return false;
        }
    }

private:
    static thread_local constinit bool _thread_ends;
};

thread_local constinit bool AnswersOfThread::_thread_ends = false;

/** Under the registry's mutex; `service` may be null. */
void remember_service(Registry &reg, const char *class_name, EntryWithHandle *service) {
    forget_service(reg);
    if (!AnswersOfThread::may_remember(reg) || !answers.class_name.remember(class_name)) {
        return;
    }
    if (service != nullptr) {
        ++service->second.references;
        answers.service = service->first;
        answers.has_spare.store(true, std::memory_order_relaxed);
    }
    answers.service_version = registry_version.load(std::memory_order_relaxed);
}

/** The handle that was asked for last time, if it still holds and can be had without the lock. */
std::optional<RvRegistryEntry> remembered_service(const char *class_name) {
    if (answers.service_version != registry_version.load(std::memory_order_acquire) ||
        !(answers.class_name == class_name)) {
        return std::nullopt;
    }
    if (answers.service != 0) {
        if (!answers.has_spare.load(std::memory_order_relaxed)) {
            return std::nullopt;
        }
        answers.has_spare.store(false, std::memory_order_relaxed);
    }
    return answers.service;
}

/** Makes the reference to the last service the thread's spare one again. */
bool spare_taken_back(RvRegistryEntry entry) {
    if (entry == 0 || answers.service != entry || answers.has_spare.load(std::memory_order_relaxed) ||
        answers.service_version != registry_version.load(std::memory_order_acquire)) {
        return false;
    }
    answers.has_spare.store(true, std::memory_order_relaxed);
    return true;
}

/** Under the registry's mutex. Values free nothing that takes it. */
void remember_property(Registry &reg, RvRegistryEntry entry, const char *key, TvRef value) {
    answers.property_version = 0;
    if (!AnswersOfThread::may_remember(reg) || !answers.key.remember(key)) {
        return;
    }
    keep_spare_value(value);
    answers.value = value;
    answers.entry = entry;
    answers.property_version = registry_version.load(std::memory_order_relaxed);
}

/** Owned; null when it was not asked for last time, or no longer holds. */
TvRef remembered_property(RvRegistryEntry entry, const char *key) {
    if (answers.property_version != registry_version.load(std::memory_order_acquire) || answers.entry != entry ||
        !(answers.key == key)) {
        return nullptr;
    }
    const TvRef spare = spare_value_taken(answers.value);
    return spare != nullptr ? spare : TvRetain(answers.value);
}

// What follows is kept out of the operations, whose usual path is short without its registers.

[[gnu::noinline]] RvRegistryEntry looked_up_service(const char *class_name) {
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    const auto same_class = reg.entries_of_class.find(std::string_view(class_name));
    EntryWithHandle *const service = same_class == reg.entries_of_class.end() ? nullptr : same_class->second.front();
    remember_service(reg, class_name, service);
    if (service == nullptr) {
        return 0;
    }
    ++service->second.references;
    return service->first;
}

[[gnu::noinline]] TvRef looked_up_property(RvRegistryEntry entry, const char *key) {
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    const Entry *found = reg.registered(entry);
    if (found == nullptr) {
        return nullptr;
    }
    const auto property = found->properties.find(std::string_view(key));
    if (property == found->properties.end()) {
        return nullptr;
    }
    remember_property(reg, entry, key, property->second.get());
    return TvRetain(property->second.get());
}

[[gnu::noinline]] void give_back(RvRegistryEntry entry) {
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    reg.give_back(entry);
}

template <typename Matches>
RvRegistryEntry copy_first(const Matches &matches) {
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    for (auto &[handle, entry] : reg.entries) {
        if (matches(entry)) {
            ++entry.references;
            return handle;
        }
    }
    return 0;
}

/** Stores an owned handle of `neighbour(entry)`, which is 0 for none. */
template <typename Neighbour>
RvStatus copy_neighbour(RvRegistryEntry handle, const char *plane, RvRegistryEntry *out, const Neighbour &neighbour) {
    if (handle == 0 || plane == nullptr || out == nullptr) {
        return kRvStatusBadArgument;
    }
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    const Entry *entry = reg.registered(handle);
    if (entry == nullptr) {
        return kRvStatusNotFound;
    }
    const RvRegistryEntry found = neighbour(*entry);
    if (Entry *target = reg.registered(found)) {
        ++target->references;
    }
    *out = found;
    return kRvStatusSuccess;
}

void check_addition(Registry &reg, const RegistryEntryDescription &description) {
    for (const auto &[handle, entry] : reg.entries) {
        if (entry.registry_id == description.registry_id) {
            char id[24];
            std::snprintf(id, sizeof id, "0x%llX", static_cast<unsigned long long>(description.registry_id));
            throw Error("", "registry entry " + in_quotes(description.name),
                        std::string("registry ID ") + id + " is taken by entry " + in_quotes(entry.name));
        }
    }
    for (const auto &[plane, parent] : description.parents) {
        if (reg.registered(parent) == nullptr) {
            throw Error("", "registry entry " + in_quotes(description.name),
                        "its parent in plane " + in_quotes(plane) + " is not in the registry");
        }
    }
}

/** Cuts the ties of an entry that leaves, so that neither its class nor a neighbour leads to it. */
void untie(Registry &reg, RvRegistryEntry handle, Entry &entry) {
    const auto same_class = reg.entries_of_class.find(entry.class_name);
    std::erase_if(same_class->second, [&](const EntryWithHandle *other) { return other->first == handle; });
    if (same_class->second.empty()) {
        reg.entries_of_class.erase(same_class);
    }
    for (const auto &[plane, parent] : entry.parents) {
        std::erase(reg.entries.at(parent).children.find(plane)->second, handle);
    }
    for (const auto &[plane, children] : entry.children) {
        for (const RvRegistryEntry child : children) {
            reg.entries.at(child).parents.erase(plane);
        }
    }
    entry.parents.clear();
    entry.children.clear();
}

RvStatus register_connection(RvRegistryEntry service, std::shared_ptr<const UserClient> driver,
                             RvConnection *connection) {
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    try {
        reg.connections.emplace(reg.next_connection, Connection{service, std::move(driver)});
    } catch (const std::bad_alloc &) {
        return kRvStatusNoMemory;
    }
    *connection = reg.next_connection++;
    return kRvStatusSuccess;
}

/** The connection's driver, while its service is registered. */
RvStatus driver_of(RvConnection connection, std::shared_ptr<const UserClient> &driver) {
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    const auto found = reg.connections.find(connection);
    if (found == reg.connections.end()) {
        return kRvStatusBadArgument;
    }
    if (reg.registered(found->second.service) == nullptr) {
        return kRvStatusNotFound;
    }
    driver = found->second.user_client;
    return kRvStatusSuccess;
}

std::uint32_t clamped_to_32_bits(std::size_t count) {
    return static_cast<std::uint32_t>(std::min<std::size_t>(count, std::numeric_limits<std::uint32_t>::max()));
}

FaultPoint copy_service_matching_id{"RvRegistryCopyServiceMatchingID"};
FaultPoint copy_service_matching_class{"RvRegistryCopyServiceMatchingClass"};
FaultPoint copy_service_matching_name{"RvRegistryCopyServiceMatchingName"};
FaultPoint copy_parent{"RvRegistryEntryCopyParent"};
FaultPoint copy_child{"RvRegistryEntryCopyChild"};
FaultPoint get_name{"RvRegistryEntryGetName"};
FaultPoint copy_property{"RvRegistryEntryCopyProperty"};
FaultPoint connection_open{"RvConnectionOpen"};
FaultPoint connection_close{"RvConnectionClose"};
FaultPoint connection_call_method{"RvConnectionCallMethod"};

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
    for (const auto &[plane, parent] : entry.parents) {
        reg.entries.at(parent).children[plane].push_back(handle);
    }
    EntryWithHandle &added = *reg.entries.emplace(handle, std::move(entry)).first;
    reg.entries_of_class[added.second.class_name].push_back(&added);
    reg.has_changed();
    return handle;
}

void set_property(RvRegistryEntry handle, const std::string &key, OwnedValue value) {
    OwnedValue replaced;
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    Entry *entry = reg.registered(handle);
    if (entry == nullptr) {
        return;
    }
    reg.has_changed();
    if (!value) {
        entry->properties.erase(key);
        return;
    }
    replaced = std::exchange(entry->properties[key], std::move(value));
}

void remove(RvRegistryEntry handle) {
    Entry removed; // its drivers' functions go after the lock
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    const auto found = reg.entries.find(handle);
    if (found == reg.entries.end()) {
        return;
    }
    reg.has_changed();
    untie(reg, handle, found->second);
    removed = std::exchange(found->second, Entry{});
    if (removed.references == 0) {
        reg.entries.erase(found);
        return;
    }
    found->second.references = removed.references;
    reg.removed_entries.insert(reg.entries.extract(found));
}

bool is_registered(RvRegistryEntry handle) {
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    return reg.registered(handle) != nullptr;
}

PlugInFactory plug_in_factory(RvRegistryEntry handle, const RvUUIDBytes &type) {
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    if (const Entry *entry = reg.registered(handle)) {
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
    const Entry *entry = reg.known(handle);
    return entry == nullptr ? 0 : reg.handed_out(handle, entry->references);
}

std::size_t open_connection_count() {
    Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    return reg.connections.size();
}

} // namespace device_registry
} // namespace host

using host::registry;

RvRegistryEntry RvRegistryCopyServiceMatchingID(uint64_t registry_id) {
    if (host::copy_service_matching_id.strikes()) {
        return 0;
    }
    return host::copy_first([&](const host::Entry &entry) { return entry.registry_id == registry_id; });
}

RvRegistryEntry RvRegistryCopyServiceMatchingClass(const char *class_name) {
    if (host::copy_service_matching_class.strikes() || class_name == nullptr) {
        return 0;
    }
    if (const auto remembered = host::remembered_service(class_name)) {
        return *remembered;
    }
    return host::looked_up_service(class_name);
}

RvRegistryEntry RvRegistryCopyServiceMatchingName(const char *name) {
    if (host::copy_service_matching_name.strikes() || name == nullptr) {
        return 0;
    }
    return host::copy_first([&](const host::Entry &entry) { return entry.name == name; });
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
        return found == of.children.end() || found->second.empty() ? 0 : found->second.front();
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
    const host::Entry *found = reg.registered(entry);
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
    if (const TvRef remembered = host::remembered_property(entry, key)) {
        return remembered;
    }
    return host::looked_up_property(entry, key);
}

void RvRegistryEntryRelease(RvRegistryEntry entry) {
    if (!host::spare_taken_back(entry)) {
        host::give_back(entry);
    }
}

RvStatus RvConnectionOpen(RvRegistryEntry service, uint32_t type, RvConnection *connection) {
    if (host::connection_open.strikes()) {
        return kRvStatusError;
    }
    if (service == 0 || connection == nullptr) {
        return kRvStatusBadArgument;
    }
    std::shared_ptr<const host::UserClient> driver;
    host::Registry &reg = registry();
    {
        const std::lock_guard lock(reg.mutex);
        if (const host::Entry *entry = reg.registered(service)) {
            driver = entry->user_client;
        }
    }
    if (driver == nullptr) {
        return kRvStatusNotFound;
    }
    if (driver->open) {
        if (const RvStatus refusal = driver->open(type); refusal != kRvStatusSuccess) {
            return refusal;
        }
    }
    return host::register_connection(service, std::move(driver), connection);
}

RvStatus RvConnectionClose(RvConnection connection) {
    const bool struck = host::connection_close.strikes();
    std::shared_ptr<const host::UserClient> driver; // goes after the lock
    host::Registry &reg = registry();
    const std::lock_guard lock(reg.mutex);
    const auto found = reg.connections.find(connection);
    if (found == reg.connections.end()) {
        return kRvStatusBadArgument;
    }
    driver = std::move(found->second.user_client);
    reg.connections.erase(found);
    return struck ? kRvStatusError : RvStatus{kRvStatusSuccess};
}

RvStatus RvConnectionCallMethod(RvConnection connection, uint32_t method, const uint64_t *scalars_in,
                                uint32_t scalars_in_count, const void *in, size_t in_size, uint64_t *scalars_out,
                                uint32_t *scalars_out_count, void *out, size_t *out_size) {
    if (host::connection_call_method.strikes()) {
        return kRvStatusError;
    }
    if ((scalars_in == nullptr && scalars_in_count != 0) || (in == nullptr && in_size != 0)) {
        return kRvStatusBadArgument;
    }
    std::shared_ptr<const host::UserClient> driver;
    if (const RvStatus status = host::driver_of(connection, driver); status != kRvStatusSuccess) {
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
        *scalars_out_count = host::clamped_to_32_bits(call.scalars_out_count);
    }
    if (out_size != nullptr) {
        *out_size = call.out_size;
    }
    return status;
}
