#include "host/device/described_device.h"

#include <cstring>
#include <map>
#include <optional>
#include <utility>

#include "host/RvKernel.h"
#include "host/RvRegistry.h"
#include "host/device/byte_source.h"
#include "host/error.h"
#include "qor/driver.h"

namespace host {
namespace {

/** A driver's reply to one kind of request, with the read position in its bytes. */
class Reply {
public:
    explicit Reply(ReplyDescription description)
        : _status(description.status), _reported_size(description.reported_size),
          _source(description.kind, std::move(description.bytes)) {}

    /** @param size  set to the size that the driver reports; unchanged by a failure that reports none. */
    RvStatus write(std::span<std::byte> out, std::size_t &size) {
        if (_status == kRvStatusSuccess) {
            size = _source.read(out);
        }
        if (_reported_size) {
            size = static_cast<std::size_t>(*_reported_size);
        }
        return _status;
    }

private:
    RvStatus _status;
    std::optional<std::uint64_t> _reported_size;
    ByteSource _source;
};

template <typename Key>
using Replies = std::map<Key, Reply>;

template <typename Key>
Replies<Key> make_replies(std::map<Key, ReplyDescription> descriptions) {
    Replies<Key> replies;
    for (auto &[key, description] : descriptions) {
        replies.emplace(key, Reply(std::move(description)));
    }
    return replies;
}

/** The driver behind a QOR driver's user-space plug-in. */
class Driver {
public:
    explicit Driver(DriverDescription description)
        : _properties(make_replies(std::move(description.properties))),
          _commands(make_replies(std::move(description.commands))) {}

    RvStatus answer(DriverCommand &command) {
        if (command.selector == qor::driver::kGetPropertyCommand) {
            std::uint32_t id = 0;
            if (command.in.size() != sizeof id) {
                return kRvStatusBadArgument;
            }
            std::memcpy(&id, command.in.data(), sizeof id);
            return answer_from(_properties, id, command);
        }
        return answer_from(_commands, command.selector, command);
    }

private:
    static RvStatus answer_from(Replies<std::uint32_t> &replies, std::uint32_t key, DriverCommand &command) {
        const auto found = replies.find(key);
        return found == replies.end() ? kRvStatusNotFound : found->second.write(command.out, command.out_size);
    }

    Replies<std::uint32_t> _properties;
    Replies<std::uint32_t> _commands;
};

/** The driver behind user-client connections. */
class UserClientDriver {
public:
    UserClientDriver(UserClientDescription description, const SerialQueue &queue)
        : _open_status(description.open_status), _methods(make_replies(std::move(description.methods))), _queue(queue) {
    }

    RvStatus open() const {
        check_on_queue(&_queue, "RvConnectionOpen");
        return _open_status;
    }

    RvStatus answer(MethodCall &call) {
        check_on_queue(&_queue, "RvConnectionCallMethod");
        const auto found = find_reply(call);
        if (found == _methods.end()) {
            return kRvStatusNotFound;
        }
        call.scalars_out_count = 0;
        return found->second.write(call.out, call.out_size);
    }

private:
    /** The reply for the requested property, or else the one for the whole method. */
    Replies<MethodKey>::iterator find_reply(const MethodCall &call) {
        if (call.scalars_in.size() == 1) {
            const auto found = _methods.find({call.method, call.scalars_in.front()});
            if (found != _methods.end()) {
                return found;
            }
        }
        return _methods.find({call.method, std::nullopt});
    }

    RvStatus _open_status;
    Replies<MethodKey> _methods;
    const SerialQueue &_queue;
};

std::shared_ptr<DriverBehaviour> make_driver_behaviour(DriverDescription description, const SerialQueue &queue) {
    auto behaviour = std::make_shared<DriverBehaviour>();
    behaviour->query = description.plug_in.query;
    behaviour->start_status = description.plug_in.start_status;
    behaviour->entered_on = &queue;
    behaviour->command = [driver = std::make_shared<Driver>(std::move(description))](DriverCommand &command) {
        return driver->answer(command);
    };
    return behaviour;
}

std::shared_ptr<DeviceBehaviour> make_device_behaviour(const PlugInDescription &description, const SerialQueue &queue) {
    auto behaviour = std::make_shared<DeviceBehaviour>();
    behaviour->query = description.query;
    behaviour->start_status = description.start_status;
    behaviour->entered_on = &queue;
    return behaviour;
}

UserClient make_user_client(UserClientDescription description, const SerialQueue &queue) {
    const auto driver = std::make_shared<UserClientDriver>(std::move(description), queue);
    return {
        .open = [driver](std::uint32_t) { return driver->open(); },
        .call_method = [driver](MethodCall &call) { return driver->answer(call); },
    };
}

std::unique_ptr<RvHIDService> make_hid_service(ServiceDescription description) {
    auto service = std::make_unique<RvHIDService>();
    service->name = std::move(description.name);
    service->usages = std::move(description.usages);
    for (auto &[key, value] : description.properties) {
        service->properties.emplace(key, std::move(value));
    }
    if (description.registry_id) {
        service->registry_id.reset(TvNumberCreateSInt64(static_cast<std::int64_t>(*description.registry_id)));
    }
    return service;
}

/** The registry entries of one device; removed in reverse order. */
class RegisteredEntries {
public:
    RegisteredEntries() = default;
    RegisteredEntries(const RegisteredEntries &) = delete;
    RegisteredEntries &operator=(const RegisteredEntries &) = delete;
    ~RegisteredEntries() {
        for (; !_entries.empty(); _entries.pop_back()) {
            device_registry::remove(_entries.back()); // 0, of an entry that was refused, is no entry
            allow_hid_device(_entries.back(), true);
        }
    }

    RvRegistryEntry add(RegistryEntryDescription description) {
        _entries.push_back(0); // so that there is room for the handle
        _entries.back() = device_registry::add(std::move(description));
        return _entries.back();
    }

private:
    std::vector<RvRegistryEntry> _entries;
};

/** The devices behind user-space plug-ins, by name. */
using Devices = std::map<std::string, std::shared_ptr<DeviceBehaviour>>;

} // namespace

struct DescribedDevice::State {
    std::string name;
    std::vector<std::unique_ptr<RvHIDService>> services;
    std::vector<AnalyticsDescription> analytics;
    Devices devices;
    RegisteredEntries entries;
    std::optional<DescribedBootTime> boot_time; ///< empty: the machine's
};

namespace {

/** Registers the entries of a description. */
class Registrar {
public:
    Registrar(DeviceDescription &description, const SerialQueue &queue, Devices &devices, RegisteredEntries &entries)
        : _description(description), _devices(devices), _entries(entries) {
        for (auto &[name, driver] : description.drivers) {
            _drivers.emplace(name, make_driver_behaviour(std::move(driver), queue));
        }
        for (auto &[name, device] : description.devices) {
            _devices.emplace(name, make_device_behaviour(device, queue));
        }
        for (auto &[name, client] : description.user_clients) {
            _user_clients.emplace(name, make_user_client(std::move(client), queue));
        }
    }

    void register_entries() {
        for (EntryDescription &entry : _description.entries) {
            const RvRegistryEntry handle = add(entry);
            _handles.emplace(entry.registry_id, handle);
            allow_hid_device(handle, entry.carries_hid_device);
        }
    }

private:
    RvRegistryEntry add(EntryDescription &entry) {
        RegistryEntryDescription description;
        description.registry_id = entry.registry_id;
        description.name = entry.name;
        description.class_name = entry.class_name;
        description.properties = std::move(entry.properties);
        if (entry.parent) {
            description.parents.emplace(kRvServicePlane, _handles.at(*entry.parent));
        }
        if (entry.user_client) {
            description.user_client = _user_clients.at(*entry.user_client);
        }
        if (entry.driver) {
            description.plug_ins.push_back(driver_plug_in(_drivers.at(*entry.driver)));
        }
        if (entry.device) {
            description.plug_ins.push_back(device_plug_in(_devices.at(*entry.device)));
        }
        try {
            return _entries.add(std::move(description));
        } catch (const Error &error) {
            throw Error(_description.file, entry.place, error.reason());
        }
    }

    DeviceDescription &_description;
    Devices &_devices;
    RegisteredEntries &_entries;
    std::map<std::string, std::shared_ptr<DriverBehaviour>> _drivers;
    std::map<std::string, UserClient> _user_clients;
    std::map<std::uint64_t, RvRegistryEntry> _handles; ///< by registry ID
};

} // namespace

DescribedDevice::DescribedDevice(const std::string &path, const SerialQueue &queue)
    : DescribedDevice(read_device_description(path), queue) {}

DescribedDevice::DescribedDevice(DeviceDescription description, const SerialQueue &queue)
    : _state(std::make_unique<State>()) {
    _state->name = std::move(description.name);
    _state->analytics = std::move(description.analytics);
    for (ServiceDescription &service : description.services) {
        _state->services.push_back(make_hid_service(std::move(service)));
    }
    Registrar(description, queue, _state->devices, _state->entries).register_entries();
    if (description.boot_time) {
        _state->boot_time.emplace(*description.boot_time);
    }
}

DescribedDevice::~DescribedDevice() = default;

const std::string &DescribedDevice::name() const { return _state->name; }

const std::vector<std::unique_ptr<RvHIDService>> &DescribedDevice::services() const { return _state->services; }

const std::vector<AnalyticsDescription> &DescribedDevice::analytics() const { return _state->analytics; }

DeviceBehaviour &DescribedDevice::device(const std::string &name) const { return *_state->devices.at(name); }

} // namespace host
