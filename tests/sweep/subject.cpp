#include "tests/sweep/subject.h"

#include <set>

#include "host/RvConnection.h"
#include "host/RvNotify.h"
#include "host/RvPlugIn.h"
#include "host/RvRegistry.h"
#include "host/RvStateCapture.h"
#include "host/TallybookStore.h"
#include "host/TvValues.h"
#include "host/device/description.h"
#include "host/device/qor_plug_ins.h"
#include "qor/analytics.h"
#include "tests/sweep/module_memory.h"

namespace sweep {
namespace {

constexpr RvUUIDBytes kType = kOndreQORHIDStatisticsPlugInTypeBytes;
constexpr RvUUIDBytes kInterface = kOndreQORHIDStatisticsInterface1Bytes;
constexpr RvUUIDBytes kFactory = kOndreQORHIDStatisticsFactoryBytes;
constexpr char kFaultNotification[] = "com.ondre.ondreqorhidstatistics.fault";

template <typename Replies>
void make_blocks(Replies &replies) {
    for (auto &[key, reply] : replies) {
        reply.kind = host::ByteSource::Kind::Block;
    }
}

host::DeviceDescription description_with_blocks(const std::string &path) {
    host::DeviceDescription description = host::read_device_description(path);
    for (auto &[name, driver] : description.drivers) {
        make_blocks(driver.properties);
        make_blocks(driver.commands);
    }
    for (auto &[name, client] : description.user_clients) {
        make_blocks(client.methods);
    }
    return description;
}

/** The registry's handle of an entry; not counted as a reference. */
RvRegistryEntry handle_of(std::uint64_t registry_id) {
    return platform::OwnedEntry(RvRegistryCopyServiceMatchingID(registry_id)).get();
}

} // namespace

std::string to_string(const Holdings &holdings) {
    std::string text =
        "values " + std::to_string(holdings.values) + ", connections " + std::to_string(holdings.connections) +
        ", plug-in references " + std::to_string(holdings.plug_in_references) + ", HID devices " +
        std::to_string(holdings.hid_devices) + ", blocks of the module " + std::to_string(holdings.module_blocks) +
        ", of its allocator " + std::to_string(holdings.allocator_blocks) + ", references to entries";
    for (const std::size_t references : holdings.entry_references) {
        text += " " + std::to_string(references);
    }
    return text;
}

Subject::Subject(const host::Module &module, const std::string &description)
    : _module(module), _type(RvUUIDCreateWithBytes(kType)), _handlers_before(host::state_capture_handler_count()) {
    host::DeviceDescription read = description_with_blocks(description);
    std::vector<std::uint64_t> ids;
    for (const host::EntryDescription &entry : read.entries) {
        ids.push_back(entry.registry_id);
    }
    _device = std::make_unique<host::DescribedDevice>(std::move(read), _queue);
    for (const std::uint64_t id : ids) {
        _entries.push_back(handle_of(id));
    }
}

Subject::~Subject() { end(); }

void Subject::start() {
    _queue.run([&] {
        _object = static_cast<OndreQORHIDStatisticsRef>(_module.factory()(&_allocator, _type.get()));
        if (_object != nullptr && query_interface()) {
            register_services();
        }
    });
}

void Subject::start_again() {
    if (_object == nullptr) {
        start();
        return;
    }
    _queue.run([&] {
        if (_has_interface || query_interface()) {
            register_services();
        }
    });
}

bool Subject::query_interface() {
    void *interface = nullptr;
    const HRESULT result = (*_object)->QueryInterface(_object, kInterface, &interface);
    _has_interface = result == kRvResultOK && interface == _object;
    if (_has_interface) {
        (*_object)->Release(_object);
        (*_object)->open(_object, nullptr, 0);
        (*_object)->scheduleWithDispatchQueue(_object, _queue.handle());
    }
    return _has_interface;
}

void Subject::register_services() {
    for (const auto &service : _device->services()) {
        (*_object)->registerService(_object, service.get());
    }
}

Records Subject::capture(std::uint32_t kind) const { return by_title(host::capture_state(kind, "sweep")); }

bool Subject::deliver() const {
    bool all = true;
    for (const host::AnalyticsDescription &batch : _device->analytics()) {
        all = _device->device(batch.device).deliver_batch(batch.entries) && all;
    }
    return all;
}

std::vector<std::byte> Subject::analytics_entries() const {
    std::vector<std::byte> entries;
    for (const host::AnalyticsDescription &batch : _device->analytics()) {
        entries.insert(entries.end(), batch.entries.begin(), batch.entries.end());
    }
    return entries;
}

void Subject::shut_down() {
    if (_object == nullptr) {
        return;
    }
    _queue.run([&] {
        (*_object)->unscheduleFromDispatchQueue(_object, _queue.handle());
        (*_object)->close(_object, nullptr, 0);
        _last_count = (*_object)->Release(_object);
        _object = nullptr;
        _has_interface = false;
    });
}

void Subject::end() {
    shut_down();
    _queue.close();
    _device.reset();
}

/** Sets every key to its index and reads the keys back from the store. */
void Subject::note_keys(const std::string &device, Facts &facts) const {
    std::vector<std::byte> entries;
    for (unsigned key = 0; key < qor::analytics::kKeyCount; ++key) {
        const unsigned bytes[] = {qor::analytics::kVersion, qor::analytics::kSetScalar, key, key, 0, 0, 0};
        for (const unsigned byte : bytes) {
            entries.push_back(static_cast<std::byte>(byte));
        }
    }
    host::clear_store();
    _device->device(device).deliver_batch(entries);
    const auto scalars = host::store_contents().scalars;
    host::clear_store();
    for (unsigned key = 0; key < qor::analytics::kKeyCount; ++key) {
        const auto found = scalars.find(qor::analytics::kKeys[key]);
        if (found != scalars.end()) {
            facts["key " + std::to_string(key)] = std::to_string(found->second);
        }
    }
}

Facts Subject::facts() {
    Facts facts;
    if (_object != nullptr) {
        facts["object"] = "there";
    }
    if (_has_interface) {
        facts["interface"] = "there";
    }
    facts["factory instances"] = std::to_string(host::factory_instance_count(kFactory));
    facts["kept services"] = std::to_string(kept_services());

    take_lines();
    host::deliver_notification(kFaultNotification);
    _queue.run([] {});
    for (const std::string &line : take_lines()) {
        facts["notification"] += line;
    }

    std::set<std::string> devices;
    for (const host::AnalyticsDescription &batch : _device->analytics()) {
        devices.insert(batch.device);
    }
    for (const std::string &device : devices) {
        if (_device->device(device).has_callback()) {
            facts["callback of " + device] = "there";
            note_keys(device, facts);
        }
    }
    take_lines();
    return facts;
}

Holdings Subject::process_holdings() {
    return {
        .values = static_cast<std::int64_t>(host::live_values()),
        .connections = static_cast<std::int64_t>(host::open_connection_count()),
        .plug_in_references = static_cast<std::int64_t>(host::live_plug_in_references()),
        .hid_devices = static_cast<std::int64_t>(host::live_hid_devices()),
        .module_blocks = module_memory::live_blocks(),
        .allocator_blocks = 0,
        .entry_references = {},
    };
}

Holdings Subject::holdings() const {
    Holdings holdings = process_holdings();
    holdings.values -= _before.values;
    holdings.connections -= _before.connections;
    holdings.plug_in_references -= _before.plug_in_references;
    holdings.hid_devices -= _before.hid_devices;
    holdings.module_blocks -= _before.module_blocks;
    holdings.allocator_blocks = _allocator.live();
    for (const RvRegistryEntry entry : _entries) {
        holdings.entry_references.push_back(host::device_registry::reference_count(entry));
    }
    return holdings;
}

std::vector<std::string> Subject::take_lines() {
    std::vector<std::string> lines = _log.lines();
    _log.clear();
    return lines;
}

/** Handler entries and contexts are the only things that the module allocates with `new` and keeps. */
std::int64_t Subject::kept_services() const {
    const auto handlers = static_cast<std::int64_t>(host::state_capture_handler_count() - _handlers_before);
    return holdings().module_blocks - handlers;
}

} // namespace sweep
