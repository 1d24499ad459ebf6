/** The port of the contract tests for the embedded host. */
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <map>
#include <memory>

#include "host/RvAllocator.h"
#include "host/RvConnection.h"
#include "host/RvHID.h"
#include "host/RvLog.h"
#include "host/RvNotify.h"
#include "host/RvPlugIn.h"
#include "host/RvQueue.h"
#include "host/RvRegistry.h"
#include "host/RvStateCapture.h"
#include "host/TallybookStore.h"
#include "host/device/qor_plug_ins.h"
#include "tests/contract/port.h"

namespace {

class HostAllocatorPort final : public contract::AllocatorPort {
public:
    RvAllocatorRef another_allocator() override { return &_counting; }
    RvAllocatorRef exhausted_allocator() override { return &_exhausted; }
    std::size_t pieces_in_use() override { return _counting.pieces; }

private:
    struct Counting final : RvAllocator {
        void *allocate(std::size_t size) const override {
            ++pieces;
            return std::malloc(size);
        }
        void deallocate(void *storage) const override {
            --pieces;
            std::free(storage);
        }

        mutable std::atomic<std::size_t> pieces{0};
    };

    struct Exhausted final : RvAllocator {
        void *allocate(std::size_t) const override { return nullptr; }
        void deallocate(void *) const override {}
    };

    Counting _counting;
    Exhausted _exhausted;
};

class HostLogPort final : public contract::LogPort {
public:
    void listen() override { _recorder = std::make_unique<host::LogRecorder>(); }
    void stop_listening() override { _recorder.reset(); }
    void enable(RvLogLevel level, bool enabled) override { host::enable_log_level(level, enabled); }

    std::vector<Message> messages() override {
        std::vector<Message> read;
        for (const host::LogMessage &message : _recorder->messages()) {
            read.push_back(Message{message.level, message.subsystem, message.category, message.text});
        }
        return read;
    }

private:
    std::unique_ptr<host::LogRecorder> _recorder;
};

class HostQueuePort final : public contract::QueuePort {
public:
    RvQueueRef open() override {
        auto queue = std::make_unique<host::SerialQueue>();
        RvQueueRef handle = queue->handle();
        _open[handle] = std::move(queue);
        return handle;
    }
    void run(RvQueueRef queue, const std::function<void()> &work) override { _open.at(queue)->run(work); }
    bool is_current(RvQueueRef queue) override { return host::SerialQueue::from_handle(queue)->is_current(); }
    void close(RvQueueRef queue) override { _open.erase(queue); }

    /** Returns when everything posted to any queue so far has run. */
    void drain() {
        for (auto &[handle, queue] : _open) {
            queue->run([] {});
        }
    }

private:
    std::map<RvQueueRef, std::unique_ptr<host::SerialQueue>> _open;
};

class HostNotifyPort final : public contract::NotifyPort {
public:
    explicit HostNotifyPort(HostQueuePort &queues) : _queues(queues) {}

    void post(const std::string &name) override {
        host::deliver_notification(name);
        _queues.drain();
    }

private:
    HostQueuePort &_queues;
};

class HostStateCapturePort final : public contract::StateCapturePort {
public:
    std::vector<std::string> capture(std::uint32_t kind, const std::string &requester) override {
        std::vector<std::string> captured;
        for (const host::RecordBytes &record : host::capture_state(kind, requester)) {
            captured.emplace_back(reinterpret_cast<const char *>(record.data()), record.size());
        }
        return captured;
    }
};

class HostStorePort final : public contract::StorePort {
public:
    void clear() override { host::clear_store(); }
    std::map<std::string, std::int64_t> scalars() override { return host::store_contents().scalars; }

    std::map<std::string, std::vector<double>> distributions() override {
        std::map<std::string, std::vector<double>> read;
        for (const auto &[key, distribution] : host::store_contents().distributions) {
            for (const auto &[value, times] : distribution) {
                read[key].insert(read[key].end(), times, value);
            }
        }
        return read;
    }
};

RvStatus answer_increment(host::MethodCall &call) {
    const std::size_t scalars = std::min(call.scalars_in.size(), call.scalars_out.size());
    std::transform(call.scalars_in.begin(), call.scalars_in.begin() + static_cast<std::ptrdiff_t>(scalars),
                   call.scalars_out.begin(), [](std::uint64_t scalar) { return scalar + 1; });
    call.scalars_out_count = scalars;
    call.out_size = std::min(call.in.size(), call.out.size());
    std::copy_n(call.in.begin(), call.out_size, call.out.begin());
    return kRvStatusSuccess;
}

RvStatus answer_boast(host::MethodCall &call) {
    std::ranges::fill(call.out.first(std::min<std::size_t>(call.out.size(), 64)), std::byte{0x5A});
    call.out_size = 64;
    return kRvStatusSuccess;
}

RvStatus answer_method(host::MethodCall &call) {
    switch (call.method) {
    case 1:
        return answer_increment(call);
    case 2:
        return answer_boast(call);
    case 3:
        call.out_size = 7;
        return 0xE0005678;
    default:
        return kRvStatusNotFound;
    }
}

class HostRegistryPort final : public contract::RegistryPort {
public:
    RvRegistryEntry add(const Entry &entry) override {
        host::RegistryEntryDescription description;
        description.registry_id = entry.registry_id;
        description.name = entry.name;
        description.class_name = entry.class_name;
        description.parents = entry.parents;
        if (entry.has_driver) {
            description.user_client = host::UserClient{
                .open = [](std::uint32_t type) -> RvStatus { return type == 9 ? 0xE0001234 : 0; },
                .call_method = answer_method,
            };
        }
        if (entry.has_plug_in) {
            description.plug_ins.push_back(host::driver_plug_in(std::make_shared<host::DriverBehaviour>()));
        }
        return host::device_registry::add(std::move(description));
    }

    void set_property(RvRegistryEntry entry, const std::string &key, TvRef value) override {
        host::device_registry::set_property(entry, key, platform::OwnedValue(TvRetain(value)));
    }

    void remove(RvRegistryEntry entry) override { host::device_registry::remove(entry); }

    std::size_t references(RvRegistryEntry entry) override { return host::device_registry::reference_count(entry); }
    std::size_t open_connections() override { return host::open_connection_count(); }
    std::size_t plug_in_references() override { return host::live_plug_in_references(); }
    std::size_t factory_instances(const RvUUIDBytes &factory) override { return host::factory_instance_count(factory); }
};

class HostHIDPort final : public contract::HIDPort {
public:
    RvHIDServiceRef make_service(const Service &service) override {
        auto made = std::make_unique<RvHIDService>();
        for (const auto &[key, value] : service.properties) {
            made->properties.emplace(key, platform::OwnedValue(TvRetain(value)));
        }
        made->usages = service.usages;
        made->registry_id.reset(TvRetain(service.registry_id));
        _services.push_back(std::move(made));
        return _services.back().get();
    }

    void forget_services() override { _services.clear(); }
    void refuse_device(RvRegistryEntry entry) override { host::allow_hid_device(entry, false); }
    std::size_t live_devices() override { return host::live_hid_devices(); }

private:
    std::vector<std::unique_ptr<RvHIDService>> _services;
};

class EmbeddedHostPort final : public contract::Port {
public:
    contract::AllocatorPort &allocator() override { return _allocator; }
    contract::LogPort &log() override { return _log; }
    contract::NotifyPort &notify() override { return _notify; }
    contract::QueuePort &queue() override { return _queue; }
    contract::StateCapturePort &state_capture() override { return _state_capture; }
    contract::StorePort &store() override { return _store; }
    contract::RegistryPort &registry() override { return _registry; }
    contract::HIDPort &hid() override { return _hid; }

private:
    HostAllocatorPort _allocator;
    HostLogPort _log;
    HostQueuePort _queue;
    HostNotifyPort _notify{_queue};
    HostStateCapturePort _state_capture;
    HostStorePort _store;
    HostRegistryPort _registry;
    HostHIDPort _hid;
};

} // namespace

contract::Port &contract::port() {
    static EmbeddedHostPort instance;
    return instance;
}
