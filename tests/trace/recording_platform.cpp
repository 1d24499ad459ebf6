#include "tests/trace/recording_platform.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/RvAllocator.h"
#include "platform/RvConnection.h"
#include "platform/RvHID.h"
#include "platform/RvKernel.h"
#include "platform/RvNotify.h"
#include "platform/TallybookStore.h"

struct TvValue {
    enum Kind : TvTypeID { kString = 1, kNumber, kBoolean, kData, kArray, kDictionary } kind;
    std::string name; ///< as listed
    bool is_listed;   ///< whether its release is listed
    int references = 1;
    std::string text{};
    std::int64_t number = 0;
    std::map<std::string, TvRef> entries{};
    std::vector<TvRef> items{};
};

struct RvUUID {
    RvUUIDBytes bytes;
    bool is_constant;
};

struct RvAllocator {};
struct RvQueue {};
struct RvLog {};
struct RvHIDDevice {};

namespace trace {
namespace {

Stage *stage = nullptr;

RvAllocator the_allocator;
RvQueue the_queue;
RvLog the_log;
RvHIDDevice the_hid_device;
std::map<std::string, int> counts; ///< of the objects made so far, and of the calls of operations that may fail

std::string quoted(const std::string &text) {
    constexpr std::size_t kMost = 120;
    std::string result = "\"";
    for (const char character : text.substr(0, kMost)) {
        result += character == '\n' ? std::string("\\n") : std::string(1, character);
    }
    return result + (text.size() > kMost ? "…\"" : "\"");
}

std::string hex(std::uint32_t number) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%X", number);
    return text;
}

void line(const std::string &text) {
    if (stage != nullptr) {
        stage->line("    " + text);
    }
}

void hold(const std::string &name, int count) {
    if (stage != nullptr) {
        stage->held[name] += count;
        if (stage->held[name] < 0) {
            line("RELEASED MORE OFTEN THAN HELD: " + name);
        }
    }
}

/** The status with which this call fails, if it does. */
std::optional<RvStatus> failure(const std::string &operation) {
    dirty_stack();
    const std::string call = operation + " " + std::to_string(++counts[operation]);
    if (stage == nullptr) {
        return std::nullopt;
    }
    const auto found = stage->failing.find(call);
    return found == stage->failing.end() ? std::nullopt : std::optional(found->second);
}

std::string numbered(const std::string &kind) { return kind + " " + std::to_string(++counts[kind]); }

// ---- values

const std::string &holding(const TvValue *value) {
    static const std::string kUnlisted = "strings and numbers";
    return value->is_listed ? value->name : kUnlisted;
}

TvValue *make(TvValue::Kind kind, const std::string &name, bool is_listed) {
    auto *made = new TvValue{.kind = kind, .name = name, .is_listed = is_listed};
    hold(holding(made), 1);
    return made;
}

TvValue *mutable_value(TvRef value) { return const_cast<TvValue *>(value); }

/** Takes the first reference from the module's holdings: it is the stage's. */
void disown(const TvValue *value) { hold(holding(value), -1); }

TvRef retain(TvRef value) {
    if (value != nullptr) {
        ++mutable_value(value)->references;
        hold(holding(value), 1);
    }
    return value;
}

void release(TvRef value) {
    hold(holding(value), -1);
    if (--mutable_value(value)->references > 0) {
        return;
    }
    for (const auto &[key, entry] : value->entries) {
        release(entry);
    }
    for (TvRef item : value->items) {
        release(item);
    }
    delete value;
}

std::string name_of(TvRef value) { return value == nullptr ? "null" : value->name; }

bool is(TvRef value, TvValue::Kind kind) { return value != nullptr && value->kind == kind; }

TvRef make_string(const std::string &text, const char *encoding) {
    TvValue *value = make(TvValue::kString, std::string(encoding) + " " + quoted(text), false);
    value->text = text;
    return value;
}

TvValue *make_number(std::int64_t number, int bits) {
    char text[32];
    const bool is_wide = number != static_cast<std::int32_t>(number);
    std::snprintf(text, sizeof text, is_wide ? "0x%016llX" : "%lld", static_cast<long long>(number));
    TvValue *value = make(TvValue::kNumber, std::to_string(bits) + "-bit " + text, false);
    value->number = number;
    return value;
}

/** What an operation that makes an empty array or dictionary does. Null if this call is to fail. */
TvValue *make_container(const std::string &operation, TvValue::Kind kind, const std::string &name) {
    if (failure(operation)) {
        line(operation + "() = null");
        return nullptr;
    }
    TvValue *made = make(kind, numbered(name), true);
    line(operation + "() = " + made->name);
    return made;
}

const char *name_of(TvStringEncoding encoding) { return encoding == kTvStringEncodingASCII ? "ASCII" : "UTF-8"; }

// ---- interfaces

/** An interface: a pointer to a pointer to its table. */
struct Com {
    void *const *table;
    std::string name;
};

std::uint32_t add_reference(void *self) {
    const auto *interface = static_cast<const Com *>(self);
    line(interface->name + " slot 2 (AddRef)");
    hold(interface->name, 1);
    return 2;
}

std::uint32_t release_interface(void *self) {
    const auto *interface = static_cast<const Com *>(self);
    line(interface->name + " slot 3 (Release)");
    hold(interface->name, -1);
    return 0;
}

template <std::size_t slot>
std::uint32_t unexpected(void *self) {
    line(static_cast<const Com *>(self)->name + " slot " + std::to_string(slot) + ", WHICH IS NOT USED");
    return 0;
}

template <typename Function>
void *slot(Function *function) {
    return reinterpret_cast<void *>(function);
}

RvStatus start(void *self, std::uint32_t options) {
    dirty_stack();
    const std::string &name = static_cast<const Com *>(self)->name;
    const auto found = stage->starts.find(name);
    const RvStatus status = found == stage->starts.end() ? 0 : found->second;
    line(name + " slot 8 (options " + std::to_string(options) + ") = " + hex(status));
    return status;
}

std::string room(const void *out, std::size_t size) {
    const auto *bytes = static_cast<const std::uint8_t *>(out);
    if (out == nullptr) {
        return "out null";
    }
    const bool is_zero = std::all_of(bytes, bytes + size, [](std::uint8_t byte) { return byte == 0; });
    return "out " + std::to_string(size) + (is_zero ? " zeros" : " BYTES THAT ARE NOT ALL ZERO");
}

std::string input(const void *in, std::size_t size) {
    return in == nullptr ? "in null, " + std::to_string(size) + " bytes" : "in " + std::to_string(size) + " bytes";
}

/** Copies a reply into the caller's room. Returns what the line says of it. */
std::string give(const Reply &reply, void *out, std::size_t *size) {
    const std::size_t taken = std::min(reply.bytes.size(), *size);
    if (taken > 0) {
        std::memcpy(out, reply.bytes.data(), taken);
    }
    *size = reply.reported.value_or(taken);
    return " = " + hex(reply.status) + ", size " + std::to_string(*size);
}

RvStatus command(void *, std::uint32_t selector, const void *in, std::size_t in_size, void *out, std::size_t *size) {
    dirty_stack();
    Reply reply{.status = kRvStatusNotFound};
    std::string text = "driver interface slot 10 (selector " + std::to_string(selector);
    std::uint32_t property = 0;
    const bool reads_property = selector == 10 && in_size == sizeof property;
    if (reads_property) {
        std::memcpy(&property, in, sizeof property);
        text += ", in 4 bytes: " + std::to_string(property);
    } else {
        text += ", " + input(in, in_size);
    }
    const std::map<std::uint32_t, Reply> &replies = reads_property ? stage->properties : stage->commands;
    if (const auto found = replies.find(reads_property ? property : selector); found != replies.end()) {
        reply = found->second;
    }
    text += ", " + room(out, *size) + ", size " + std::to_string(*size) + ")";
    text += give(reply, out, size);
    line(text);
    return reply.status;
}

void install_callback(void *, void (*callback)(void *, const void *, std::uint64_t), void *target) {
    dirty_stack();
    line(std::string("device interface slot 17 (") + (callback != nullptr ? "a function" : "null") + ", " +
         (target == stage->object ? "the object" : "ANOTHER POINTER") + ")");
    stage->callback = callback;
    stage->target = target;
}

void set_queue(void *, RvQueueRef given) {
    dirty_stack();
    line(std::string("device interface slot 18 (") + (given == &the_queue ? "the queue" : "null") + ")");
}

HRESULT query(void *self, RvUUIDBytes type, void **out);

void *const kPlugInTable[] = {nullptr, slot(query), slot(add_reference), slot(release_interface)};

/** A table with the slots that both interfaces use. Every other one writes a line that says so. */
template <std::size_t... slots>
std::array<void *, sizeof...(slots)> interface_table(std::index_sequence<slots...>) {
    std::array<void *, sizeof...(slots)> table{slot(unexpected<slots>)...};
    table[0] = nullptr;
    table[2] = slot(add_reference);
    table[3] = slot(release_interface);
    table[8] = slot(start);
    return table;
}

std::array<void *, 11> driver_table() {
    auto table = interface_table(std::make_index_sequence<11>());
    table[10] = slot(command);
    return table;
}

std::array<void *, 19> device_table() {
    auto table = interface_table(std::make_index_sequence<19>());
    table[17] = slot(install_callback);
    table[18] = slot(set_queue);
    return table;
}

const std::array<void *, 11> kDriverTable = driver_table();
const std::array<void *, 19> kDeviceTable = device_table();

Com driver_plug_in{kPlugInTable, "driver plug-in"};
Com device_plug_in{kPlugInTable, "device plug-in"};
Com driver_interface{kDriverTable.data(), "driver interface"};
Com device_interface{kDeviceTable.data(), "device interface"};

// Identifiers and names by which the module reaches the QOR, written down here.
constexpr char kDriverPlugInType[] = "3BC5CC87-845E-48AB-A9C2-9436001BA68A";
constexpr char kDriverInterface[] = "5979993C-85F5-4D59-8593-FF9215DA47AD";
constexpr char kDevicePlugInType[] = "7ACF5332-1A35-4893-87CB-BA64E1887FAE";
constexpr char kDeviceInterface[] = "016469D8-773B-46AC-909E-F90C4A6E7577";
constexpr char kPlugInInterface[] = "C244E858-109C-11D4-91D4-0050E4C6426F";

HRESULT query(void *self, RvUUIDBytes type, void **out) {
    dirty_stack();
    const bool is_driver = self == &driver_plug_in;
    Com &interface = is_driver ? driver_interface : device_interface;
    const bool is_known = text_of(type) == (is_driver ? kDriverInterface : kDeviceInterface);
    const auto found = stage->queries.find(interface.name);
    const HRESULT result = !is_known ? kRvResultNoInterface : found == stage->queries.end() ? 0 : found->second;
    const bool gives = is_known && !stage->refused_interfaces.contains(interface.name);
    if (gives) {
        *out = &interface;
        hold(interface.name, 1);
    }
    line(static_cast<const Com *>(self)->name + " slot 1 (QueryInterface " + text_of(type) +
         ") = " + hex(static_cast<std::uint32_t>(result)) + ", " + (gives ? interface.name : "nothing stored"));
    return result;
}

// ---- the registry

const char *name_of(RvRegistryEntry entry) {
    switch (entry) {
    case 0:
        return "no entry";
    case kDevice:
        return "device entry";
    case kInterface:
        return "interface entry";
    case kDriver:
        return "driver entry";
    case kClient:
        return "client entry";
    case kProfileService:
        return "ZEL_profile";
    case kProfileDriver:
        return "OndreQORProfileDriver";
    case kTimeSync:
        return "time synchronisation";
    default:
        return "AN UNKNOWN ENTRY";
    }
}

/** The entry, with a reference for the caller, or none if it is missing. */
RvRegistryEntry look_up(RvRegistryEntry entry) {
    if (entry == 0 || stage->missing.contains(entry)) {
        return 0;
    }
    hold(name_of(entry), 1);
    return entry;
}

RvStatus copy_relative(const char *operation, RvRegistryEntry entry, const char *plane, RvRegistryEntry relative,
                       RvRegistryEntry *out) {
    const std::optional<RvStatus> failed = failure(operation);
    *out = failed ? 99 : look_up(relative); // a failed call may store any number
    line(std::string(operation) + "(" + name_of(entry) + ", " + plane +
         ") = " + (failed ? hex(*failed) : std::string("0x0, ") + name_of(*out)));
    return failed.value_or(0);
}

/** The numbers in assertion lines that are fixed. Every other one is that of a source line and changes with it. */
const std::set<std::string> kFixedLines = {"434", "532", "613", "616", "637",  "641",  "707",  "710",  "916",
                                           "919", "922", "926", "927", "1012", "1072", "1077", "1082", "1093"};

std::string without_source_line(const std::string &text) {
    constexpr char kBefore[] = ", line: ";
    const std::size_t at = text.find(kBefore);
    if (at == std::string::npos) {
        return text;
    }
    const std::size_t number = at + std::strlen(kBefore);
    const std::size_t end = text.find(' ', number);
    return kFixedLines.contains(text.substr(number, end - number)) ? text
                                                                   : text.substr(0, number) + "N" + text.substr(end);
}

const char *name_of(RvLogLevel level) {
    return level == kRvLogLevelDefault ? "default" : level == kRvLogLevelError ? "error" : "fault";
}

} // namespace

Stage::Stage() {
    counts.clear();
    stage = this;
}

Stage::~Stage() {
    for (const Handler &handler : handlers) {
        if (handler.release != nullptr) {
            handler.release(handler.context);
        }
    }
    for (TvRef value : _owned) {
        release(value);
    }
    stage = nullptr;
}

void Stage::line(const std::string &text) {
    if (lists_calls) {
        lines.push_back(text);
    }
}

void Stage::list_holdings() {
    std::string text;
    for (const auto &[name, count] : held) {
        if (count != _held_before[name]) {
            text += (text.empty() ? "" : ", ") + name + " " + std::to_string(count);
        }
    }
    _held_before = held;
    if (!text.empty()) {
        line("  held now: " + text);
    }
}

TvValue *Stage::own(TvValue *value) {
    disown(value);
    _owned.push_back(value);
    return value;
}

TvRef Stage::string(const std::string &name, const std::string &text) {
    TvValue *made = own(make(TvValue::kString, name, true));
    made->text = text;
    return made;
}

TvRef Stage::number(const std::string &name, std::int64_t value) {
    TvValue *made = own(make(TvValue::kNumber, name, true));
    made->number = value;
    return made;
}

TvRef Stage::boolean(const std::string &name, bool value) {
    TvValue *made = own(make(TvValue::kBoolean, name, true));
    made->number = value ? 1 : 0;
    return made;
}

TvRef Stage::dictionary(const std::string &name, const std::map<std::string, std::int64_t> &numbers) {
    TvValue *made = own(make(TvValue::kDictionary, name, true));
    for (const auto &[key, number] : numbers) {
        TvValue *entry = make_number(number, 64);
        disown(entry);
        made->entries[key] = entry;
    }
    return made;
}

RvAllocatorRef host_allocator() { return &the_allocator; }
RvQueueRef host_queue() { return &the_queue; }

__attribute__((noinline)) void dirty_stack() {
    char unused[32 * 1024];
    std::memset(unused, 0xA5, sizeof unused);
    asm volatile("" : : "r"(unused) : "memory"); // for the compiler the bytes are used
}

std::string text_of(const RvUUIDBytes &uuid) {
    std::string text;
    for (std::size_t i = 0; i < sizeof uuid.bytes; ++i) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02X", uuid.bytes[i]);
        text += (i == 4 || i == 6 || i == 8 || i == 10 ? "-" : "") + std::string(digits);
    }
    return text;
}

RvUUIDBytes uuid_of(const std::string &text) {
    RvUUIDBytes uuid{};
    std::size_t digit = 0;
    for (const char character : text) {
        if (character != '-') {
            const std::string one(1, character);
            const auto value = static_cast<std::uint8_t>(std::stoul(one, nullptr, 16));
            uuid.bytes[digit / 2] = static_cast<std::uint8_t>(uuid.bytes[digit / 2] << 4 | value);
            ++digit;
        }
    }
    return uuid;
}

} // namespace trace

// ---- the operations

using namespace trace; // NOLINT(google-build-using-namespace): the operations below are global by their nature

extern "C" {

// ---- allocator

RvAllocatorRef RvAllocatorGetDefault(void) { return &the_allocator; }

void *RvAllocatorAllocate(RvAllocatorRef, size_t size) {
    const bool fails = failure("RvAllocatorAllocate").has_value();
    line("RvAllocatorAllocate(" + std::to_string(size) + ")" + (fails ? " = null" : ""));
    if (fails) {
        return nullptr;
    }
    hold("blocks of the allocator", 1);
    void *storage = std::malloc(size);
    std::memset(storage, 0xA5, size);
    return storage;
}

void RvAllocatorDeallocate(RvAllocatorRef, void *storage) {
    line(std::string("RvAllocatorDeallocate(") + (storage == stage->object ? "the object)"
                                                  : storage == nullptr     ? "null)"
                                                                           : "another block)"));
    hold("blocks of the allocator", storage == nullptr ? 0 : -1);
    std::free(storage);
}

// ---- UUIDs and factory instances

RvUUIDRef RvUUIDCreateWithBytes(RvUUIDBytes bytes) {
    dirty_stack();
    line("RvUUIDCreateWithBytes(" + text_of(bytes) + ")");
    hold("UUIDs", 1);
    return new RvUUID{bytes, false};
}

RvUUIDRef RvUUIDGetConstantWithBytes(RvUUIDBytes bytes) {
    static std::map<std::string, RvUUID> constants;
    return &constants.try_emplace(text_of(bytes), RvUUID{bytes, true}).first->second;
}

bool RvUUIDEqual(RvUUIDRef a, RvUUIDRef b) {
    dirty_stack();
    const bool is_equal = a != nullptr && b != nullptr && std::memcmp(&a->bytes, &b->bytes, sizeof a->bytes) == 0;
    line("RvUUIDEqual(" + text_of(a->bytes) + ", " + text_of(b->bytes) + ") = " + (is_equal ? "true" : "false"));
    return is_equal;
}

void RvUUIDRelease(RvUUIDRef uuid) {
    line("RvUUIDRelease(" + text_of(uuid->bytes) + ")" + (uuid->is_constant ? ", WHICH IS A CONSTANT" : ""));
    if (!uuid->is_constant) {
        hold("UUIDs", -1);
        delete uuid;
    }
}

void RvPlugInAddInstanceForFactory(RvUUIDRef factory) {
    dirty_stack();
    line("RvPlugInAddInstanceForFactory(" + text_of(factory->bytes) + ")");
}

void RvPlugInRemoveInstanceForFactory(RvUUIDRef factory) {
    line("RvPlugInRemoveInstanceForFactory(" + text_of(factory->bytes) + ")");
}

RvStatus RvPlugInCreateForService(RvRegistryEntry service, RvUUIDRef plug_in, RvUUIDRef interface,
                                  RvInterfaceRef *out) {
    dirty_stack();
    const std::string type = text_of(plug_in->bytes);
    const std::string asked = text_of(interface->bytes);
    const bool is_driver = service == kDriver && type == kDriverPlugInType;
    const bool is_device = service == kDevice && type == kDevicePlugInType;
    RvStatus status = kRvStatusNotFound;
    if ((is_driver || is_device) && asked == kPlugInInterface &&
        !stage->missing_plug_ins.contains(is_driver ? "driver" : "device")) {
        Com &made = is_driver ? driver_plug_in : device_plug_in;
        *out = reinterpret_cast<RvInterfaceRef>(&made);
        hold(made.name, 1);
        status = 0;
    }
    line(std::string("RvPlugInCreateForService(") + name_of(service) + ", " + type + ", " + asked +
         ") = " + hex(status));
    return status;
}

// ---- HID

TvRef RvHIDServiceCopyProperty(RvHIDServiceRef service, const char *key) {
    dirty_stack();
    TvRef value = std::strcmp(key, "Transport") == 0 ? retain(service->transport) : nullptr;
    line(std::string("RvHIDServiceCopyProperty(") + key + ") = " + name_of(value));
    return value;
}

TvRef RvHIDServiceGetProperty(RvHIDServiceRef service, const char *key) {
    dirty_stack();
    TvRef value = std::strcmp(key, "ZELSupportsTallybook") == 0 ? service->supports_tallybook : nullptr;
    line(std::string("RvHIDServiceGetProperty(") + key + ") = " + name_of(value));
    return value;
}

bool RvHIDServiceConformsTo(RvHIDServiceRef service, uint32_t usage_page, uint32_t usage) {
    dirty_stack();
    const bool conforms = service->usages.contains({usage_page, usage});
    char pair[32];
    std::snprintf(pair, sizeof pair, "0x%04X, 0x%04X", usage_page, usage);
    line(std::string("RvHIDServiceConformsTo(") + pair + ") = " + (conforms ? "true" : "false"));
    return conforms;
}

TvRef RvHIDServiceGetRegistryID(RvHIDServiceRef service) {
    line("RvHIDServiceGetRegistryID() = " + name_of(service->registry_id));
    return service->registry_id;
}

RvHIDDeviceRef RvHIDDeviceCreate(RvRegistryEntry service) {
    const bool fails = failure("RvHIDDeviceCreate").has_value();
    line(std::string("RvHIDDeviceCreate(") + name_of(service) + ")" + (fails ? " = null" : ""));
    hold("HID devices", fails ? 0 : 1);
    return fails ? nullptr : &the_hid_device;
}

// ---- registry

RvRegistryEntry RvRegistryCopyServiceMatchingID(uint64_t registry_id) {
    dirty_stack();
    const RvRegistryEntry entry = look_up(registry_id == kDriverID ? RvRegistryEntry{kDriver} : 0);
    line("RvRegistryCopyServiceMatchingID(" + std::to_string(registry_id) + ") = " + name_of(entry));
    return entry;
}

RvRegistryEntry RvRegistryCopyServiceMatchingClass(const char *class_name) {
    dirty_stack();
    const RvRegistryEntry entry =
        look_up(std::strcmp(class_name, "OndreQORTimesync") == 0 ? RvRegistryEntry{kTimeSync} : 0);
    line(std::string("RvRegistryCopyServiceMatchingClass(") + class_name + ") = " + name_of(entry));
    return entry;
}

RvRegistryEntry RvRegistryCopyServiceMatchingName(const char *name) {
    dirty_stack();
    RvRegistryEntry entry = 0;
    for (const RvRegistryEntry service : {kProfileService, kProfileDriver}) {
        if (std::strcmp(name, name_of(service)) == 0) {
            entry = look_up(service);
        }
    }
    line(std::string("RvRegistryCopyServiceMatchingName(") + name + ") = " + name_of(entry));
    return entry;
}

RvStatus RvRegistryEntryCopyParent(RvRegistryEntry entry, const char *plane, RvRegistryEntry *parent) {
    const bool has_parent = entry > kDevice && entry <= kClient;
    return copy_relative("RvRegistryEntryCopyParent", entry, plane, has_parent ? entry - 1 : 0, parent);
}

RvStatus RvRegistryEntryCopyChild(RvRegistryEntry entry, const char *plane, RvRegistryEntry *child) {
    const bool has_child = entry >= kDevice && entry < kClient;
    return copy_relative("RvRegistryEntryCopyChild", entry, plane, has_child ? entry + 1 : 0, child);
}

RvStatus RvRegistryEntryGetName(RvRegistryEntry entry, char name[kRvRegistryNameSize]) {
    const std::optional<RvStatus> failed = failure("RvRegistryEntryGetName");
    if (!failed) {
        // All of the room belongs to the platform.
        std::memset(name, 0, kRvRegistryNameSize);
        std::strcpy(name, "accel");
    }
    line(std::string("RvRegistryEntryGetName(") + name_of(entry) + ") = " + hex(failed.value_or(0)));
    return failed.value_or(0);
}

TvRef RvRegistryEntryCopyProperty(RvRegistryEntry entry, const char *key) {
    dirty_stack();
    const auto &properties = stage->entry_properties[name_of(entry)];
    const auto property = properties.find(key);
    TvRef value = property == properties.end() ? nullptr : retain(property->second);
    line(std::string("RvRegistryEntryCopyProperty(") + name_of(entry) + ", " + key + ") = " + name_of(value));
    return value;
}

void RvRegistryEntryRelease(RvRegistryEntry entry) {
    line(std::string("RvRegistryEntryRelease(") + name_of(entry) + ")");
    hold(name_of(entry), -1);
}

// ---- connections

RvStatus RvConnectionOpen(RvRegistryEntry service, uint32_t type, RvConnection *connection) {
    const RvStatus status = failure("RvConnectionOpen").value_or(0);
    if (status == 0) {
        *connection = service;
        hold("connections", 1);
    }
    line(std::string("RvConnectionOpen(") + name_of(service) + ", type " + std::to_string(type) + ") = " + hex(status));
    return status;
}

RvStatus RvConnectionClose(RvConnection connection) {
    line(std::string("RvConnectionClose(") + name_of(connection) + ")");
    hold("connections", -1);
    return 0;
}

RvStatus RvConnectionCallMethod(RvConnection connection, uint32_t method, const uint64_t *scalars_in,
                                uint32_t scalars_in_count, const void *in, size_t in_size, uint64_t *scalars_out,
                                uint32_t *scalars_out_count, void *out, size_t *out_size) {
    dirty_stack();
    std::string text = std::string("RvConnectionCallMethod(") + name_of(connection) + ", method " +
                       std::to_string(method) + ", " + std::to_string(scalars_in_count) + " scalars";
    for (uint32_t i = 0; i < scalars_in_count; ++i) {
        text += " " + std::to_string(scalars_in[i]);
    }
    text += ", " + input(in, in_size) + ", scalars out " +
            (scalars_out == nullptr && scalars_out_count == nullptr ? "null" : "WANTED") + ", " + room(out, *out_size) +
            ", size " + std::to_string(*out_size) + ")";
    if (scalars_out != nullptr && scalars_out_count != nullptr) {
        std::fill_n(scalars_out, *scalars_out_count, 0);
        *scalars_out_count = 0;
    }
    Reply reply{.status = kRvStatusNotFound};
    const std::uint64_t number = connection == kProfileService && scalars_in_count == 1 ? scalars_in[0] : method;
    if (const auto found = stage->named.find(number); found != stage->named.end()) {
        reply = found->second;
    }
    line(text + give(reply, out, out_size));
    return reply.status;
}

// ---- state capture, notifications, log, kernel

uint64_t RvStateCaptureAddHandler(RvQueueRef queue, RvStateCaptureHandler handler, void *context,
                                  void (*release_context)(void *context)) {
    dirty_stack();
    if (queue == nullptr) {
        line("RvStateCaptureAddHandler(null) = 0");
        release_context(context);
        return 0;
    }
    stage->handlers.push_back({handler, context, release_context});
    line(std::string("RvStateCaptureAddHandler(") + (queue == &the_queue ? "the queue" : "ANOTHER QUEUE") +
         ") = handler " + std::to_string(stage->handlers.size()));
    return stage->handlers.size();
}

RvStatus RvNotifyRegister(const char *name, RvQueueRef queue, int32_t *token, RvNotifyHandler handler, void *context,
                          void (*release_context)(void *context)) {
    dirty_stack();
    line(std::string("RvNotifyRegister(") + name + ", " + (queue == &the_queue ? "the queue" : "null") + ")");
    *token = 7;
    if (context != nullptr || release_context != nullptr) {
        line("  WITH A CONTEXT");
    }
    stage->notified = handler;
    return 0;
}

RvLogRef RvLogCreate(const char *subsystem, const char *category) {
    line(std::string("RvLogCreate(") + subsystem + ", " + category + ")");
    return &the_log;
}

bool RvLogIsEnabled(RvLogRef log, RvLogLevel level) {
    dirty_stack();
    const bool is_enabled = log != nullptr && !stage->disabled_levels.contains(level);
    line(std::string("RvLogIsEnabled(") + (log == nullptr ? "null, " : "") + name_of(level) +
         ") = " + (is_enabled ? "true" : "false"));
    return is_enabled;
}

void RvLogWrite(RvLogRef, RvLogLevel level, const char *text) {
    line(std::string("RvLogWrite(") + name_of(level) + ", " + quoted(without_source_line(text)) + ")");
}

void RvLogRelease(RvLogRef) { line("RvLogRelease()"); }

const char *RvStatusGetText(RvStatus status) {
    line("RvStatusGetText(" + hex(status) + ")");
    return status == kRvStatusError ? "general error" : nullptr;
}

bool RvKernelGetBootTime(int64_t *seconds, int32_t *microseconds) {
    const bool fails = failure("RvKernelGetBootTime").has_value();
    line(std::string("RvKernelGetBootTime()") + (fails ? " = false" : ""));
    if (!fails) {
        *seconds = 1'700'000'000;
        *microseconds = 250'000;
    }
    return !fails;
}

// ---- the analytics store

void TallybookScalarClear(TvStringRef key) { line("TallybookScalarClear(" + name_of(key) + ")"); }
void TallybookScalarSet(TvStringRef key, int64_t value) {
    line("TallybookScalarSet(" + name_of(key) + ", " + std::to_string(value) + ")");
}
void TallybookScalarAdd(TvStringRef key, int64_t delta) {
    line("TallybookScalarAdd(" + name_of(key) + ", " + std::to_string(delta) + ")");
}
void TallybookDistributionClear(TvStringRef key) { line("TallybookDistributionClear(" + name_of(key) + ")"); }
void TallybookDistributionSet(TvStringRef key, double value) {
    line("TallybookDistributionSet(" + name_of(key) + ", " + std::to_string(value) + ")");
}
void TallybookDistributionPush(TvStringRef key, double value) {
    line("TallybookDistributionPush(" + name_of(key) + ", " + std::to_string(value) + ")");
}

// ---- values

void TvRelease(TvRef value) {
    if (value != nullptr) {
        if (value->is_listed) {
            line("TvRelease(" + value->name + ")");
        }
        release(value);
    }
}

TvTypeID TvGetTypeID(TvRef value) { return value == nullptr ? TvTypeID{0} : TvTypeID{value->kind}; }
TvTypeID TvStringGetTypeID(void) { return TvValue::kString; }

TvStringRef TvStringCreateWithCString(const char *text, TvStringEncoding encoding) {
    dirty_stack();
    if (stage->lists_strings) {
        line(std::string("TvStringCreateWithCString(") + name_of(encoding) + " " + quoted(text) + ")");
    }
    return make_string(text, name_of(encoding));
}

TvStringRef TvStringCreateWithBytes(const void *bytes, size_t length, TvStringEncoding encoding) {
    dirty_stack();
    return make_string(std::string(static_cast<const char *>(bytes), length), name_of(encoding));
}

const char *TvStringGetCString(TvStringRef string) {
    return is(string, TvValue::kString) ? string->text.c_str() : nullptr;
}

TvNumberRef TvNumberCreateSInt32(int32_t value) { return make_number(value, 32); }
TvNumberRef TvNumberCreateSInt64(int64_t value) { return make_number(value, 64); }

bool TvNumberGetSInt32(TvNumberRef number, int32_t *out) {
    const bool is_number = is(number, TvValue::kNumber);
    if (is_number) {
        *out = static_cast<int32_t>(number->number);
    }
    return is_number;
}

bool TvNumberGetSInt64(TvNumberRef number, int64_t *out) {
    const bool is_number = is(number, TvValue::kNumber);
    if (is_number) {
        *out = number->number;
    }
    return is_number;
}

bool TvBooleanGetValue(TvBooleanRef boolean) { return is(boolean, TvValue::kBoolean) && boolean->number != 0; }

TvMutableDictionaryRef TvDictionaryCreateMutable(void) {
    return make_container("TvDictionaryCreateMutable", TvValue::kDictionary, "dictionary");
}

bool TvDictionarySetValue(TvMutableDictionaryRef dictionary, TvStringRef key, TvRef value) {
    dirty_stack();
    line("TvDictionarySetValue(" + name_of(dictionary) + ", " + name_of(key) + ", " + name_of(value) + ")");
    if (dictionary == nullptr || key == nullptr || value == nullptr) {
        return false;
    }
    TvRef &entry = dictionary->entries[key->text];
    if (entry != nullptr) {
        release(entry);
    }
    entry = retain(value);
    return true;
}

TvRef TvDictionaryGetValue(TvDictionaryRef dictionary, const char *key) {
    if (!is(dictionary, TvValue::kDictionary)) {
        return nullptr;
    }
    const auto entry = dictionary->entries.find(key);
    return entry == dictionary->entries.end() ? nullptr : entry->second;
}

TvMutableArrayRef TvArrayCreateMutable(void) {
    return make_container("TvArrayCreateMutable", TvValue::kArray, "array");
}

bool TvArrayAppend(TvMutableArrayRef array, TvRef value) {
    dirty_stack();
    line("TvArrayAppend(" + name_of(array) + ", " + name_of(value) + ")");
    if (array == nullptr || value == nullptr) {
        return false;
    }
    array->items.push_back(retain(value));
    return true;
}

TvDataRef TvCreateBinaryEncoding(TvRef value) {
    const bool fails = failure("TvCreateBinaryEncoding").has_value();
    line("TvCreateBinaryEncoding(" + name_of(value) + ")" + (fails ? " = null" : ""));
    if (fails) {
        return nullptr;
    }
    TvValue *made = make(TvValue::kData, "encoding of " + name_of(value), true);
    made->text = "encoding";
    return made;
}

const uint8_t *TvDataGetBytes(TvDataRef data) { return reinterpret_cast<const uint8_t *>(data->text.data()); }
size_t TvDataGetLength(TvDataRef data) { return data->text.size(); }

} // extern "C"
