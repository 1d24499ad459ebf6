#include "host/device/qor_plug_ins.h"

#include <cstring>
#include <new>

#include "host/TallybookStore.h"
#include "host/fault_points.h"
#include "qor/analytics.h"

namespace host {
namespace {

constexpr RvUUIDBytes kUnknownInterface = kRvUnknownInterfaceBytes;
constexpr RvUUIDBytes kPlugInInterface = kRvPlugInInterfaceBytes;
constexpr RvUUIDBytes kDriverPlugInType = kQorDriverPlugInTypeBytes;
constexpr RvUUIDBytes kDriverInterface = kQorDriverInterfaceBytes;
constexpr RvUUIDBytes kDevicePlugInType = kQorDevicePlugInTypeBytes;
constexpr RvUUIDBytes kDeviceInterface = kQorDeviceInterfaceBytes;

FaultPoint driver_query{"QorDriverQueryInterface"};
FaultPoint driver_start{"QorDriverStart"};
FaultPoint driver_command{"QorDriverCommand"};
FaultPoint device_query{"QorDeviceQueryInterface"};
FaultPoint device_start{"QorDeviceStart"};

std::atomic<std::size_t> live_references{0};

bool equal(const RvUUIDBytes &a, const RvUUIDBytes &b) { return std::memcmp(a.bytes, b.bytes, sizeof a.bytes) == 0; }

/**
 * One face of an object: a pointer to it is the interface that callers hold. All faces of an object share its count
 * and answer `QueryInterface` alike, so the object keeps one identity.
 */
template <typename Table, typename Object>
struct Face {
    const Table *table;
    Object *object;

    static Object &of(void *self) { return *static_cast<Face *>(self)->object; }
    static HRESULT query(void *self, RvUUIDBytes type, void **interface) { return of(self).query(type, interface); }
    static std::uint32_t add_reference(void *self) { return of(self).add_reference(); }
    static std::uint32_t release(void *self) { return of(self).release(); }

    static constexpr RvInterfaceTable kCom{nullptr, query, add_reference, release};
};

/** The common part of driver and device objects. `Derived` is the object, `Table` its own interface. */
template <typename Derived, typename Table, typename Behaviour>
class PlugInObject {
public:
    explicit PlugInObject(std::shared_ptr<Behaviour> behaviour)
        : _behaviour(std::move(behaviour)), _generic{&GenericFace::kCom, static_cast<Derived *>(this)},
          _own{&Derived::kTable, static_cast<Derived *>(this)} {
        ++live_references;
    }

    HRESULT query(const RvUUIDBytes &type, void **interface) {
        if (interface == nullptr) {
            return kRvResultNoInterface;
        }
        *interface = nullptr;
        if (equal(type, kUnknownInterface) || equal(type, kPlugInInterface)) {
            add_reference();
            *interface = &_generic;
            return kRvResultOK;
        }
        if (!equal(type, Derived::kInterface) || Derived::query_fault().strikes()) {
            return kRvResultNoInterface;
        }
        const QueryAnswer answer = _behaviour->query;
        if (answer.gives_interface) {
            add_reference();
            *interface = &_own;
        }
        return answer.result;
    }

    std::uint32_t add_reference() {
        ++live_references;
        return ++_references;
    }

    std::uint32_t release() {
        const std::uint32_t left = --_references;
        --live_references;
        if (left == 0) {
            delete static_cast<Derived *>(this);
        }
        return left;
    }

protected:
    using OwnFace = Face<Table, Derived>;
    using GenericFace = Face<RvInterfaceTable, Derived>;

    Behaviour &behaviour() { return *_behaviour; }
    const std::shared_ptr<Behaviour> &shared_behaviour() { return _behaviour; }

private:
    std::shared_ptr<Behaviour> _behaviour;
    GenericFace _generic;
    OwnFace _own;
    std::atomic<std::uint32_t> _references{1};
};

class DriverObject : public PlugInObject<DriverObject, QorDriverInterfaceTable, DriverBehaviour> {
public:
    using PlugInObject::PlugInObject;

    static constexpr const RvUUIDBytes &kInterface = kDriverInterface;
    static FaultPoint &query_fault() { return driver_query; }
    static const QorDriverInterfaceTable kTable;

private:
    static RvStatus start(void *self, std::uint32_t options);
    static RvStatus command(void *self, std::uint32_t selector, const void *in, std::size_t in_size, void *out,
                            std::size_t *out_size);
};

RvStatus DriverObject::start(void *self, std::uint32_t) {
    DriverBehaviour &behaviour = OwnFace::of(self).behaviour();
    check_on_queue(behaviour.entered_on, "start of the driver interface");
    return driver_start.strikes() ? kRvStatusError : behaviour.start_status;
}

RvStatus DriverObject::command(void *self, std::uint32_t selector, const void *in, std::size_t in_size, void *out,
                               std::size_t *out_size) {
    DriverBehaviour &behaviour = OwnFace::of(self).behaviour();
    check_on_queue(behaviour.entered_on, "command entry of the driver interface");
    if (driver_command.strikes()) {
        return kRvStatusError;
    }
    if (in == nullptr && in_size != 0) {
        return kRvStatusBadArgument;
    }
    if (!behaviour.command) {
        return kRvStatusNotFound;
    }
    const std::size_t capacity = out != nullptr && out_size != nullptr ? *out_size : 0;
    DriverCommand call{
        .selector = selector,
        .in = {static_cast<const std::byte *>(in), in_size},
        .out = {static_cast<std::byte *>(out), capacity},
        .out_size = capacity,
    };
    const RvStatus status = behaviour.command(call);
    if (out_size != nullptr) {
        *out_size = call.out_size;
    }
    return status;
}

constexpr QorDriverInterfaceTable DriverObject::kTable{
    .com = OwnFace::kCom, .slots_4_to_7 = {}, .start = start, .slot_9 = nullptr, .command = command};

} // namespace

class DeviceObject : public PlugInObject<DeviceObject, QorDeviceInterfaceTable, DeviceBehaviour> {
public:
    using PlugInObject::PlugInObject;

    static constexpr const RvUUIDBytes &kInterface = kDeviceInterface;
    static FaultPoint &query_fault() { return device_query; }
    static const QorDeviceInterfaceTable kTable;

private:
    static RvStatus start(void *self, std::uint32_t options);
    static void set_analytics_callback(void *self, QorAnalyticsCallback callback, void *target);
    static void set_dispatch_queue(void *self, RvQueueRef queue);
};

RvStatus DeviceObject::start(void *self, std::uint32_t) {
    DeviceBehaviour &behaviour = OwnFace::of(self).behaviour();
    check_on_queue(behaviour.entered_on, "start of the device interface");
    return device_start.strikes() ? kRvStatusError : behaviour.start_status;
}

void DeviceObject::set_analytics_callback(void *self, QorAnalyticsCallback callback, void *target) {
    DeviceBehaviour &behaviour = OwnFace::of(self).behaviour();
    check_on_queue(behaviour.entered_on, "installation of the analytics callback");
    behaviour._target = target;
    behaviour._callback = callback;
}

void DeviceObject::set_dispatch_queue(void *self, RvQueueRef queue) {
    DeviceObject &object = OwnFace::of(self);
    check_on_queue(object.behaviour().entered_on, "setting of the analytics queue");
    SerialQueue *const serial = SerialQueue::from_handle(queue);
    const auto drop = [queue, weak = std::weak_ptr(object.shared_behaviour())] {
        const std::shared_ptr<DeviceBehaviour> behaviour = weak.lock();
        if (behaviour != nullptr && behaviour->_queue == queue) {
            behaviour->_callback = nullptr;
            behaviour->_target = nullptr;
            behaviour->_queue = nullptr;
        }
    };
    const bool open = serial != nullptr && serial->at_close(drop);
    object.behaviour()._queue = open ? queue : nullptr;
}

constexpr QorDeviceInterfaceTable DeviceObject::kTable{.com = OwnFace::kCom,
                                                       .slots_4_to_7 = {},
                                                       .start = start,
                                                       .slots_9_to_16 = {},
                                                       .set_analytics_callback = set_analytics_callback,
                                                       .set_dispatch_queue = set_dispatch_queue};

bool DeviceBehaviour::deliver_batch(std::span<const std::byte> entries) {
    SerialQueue *const queue = SerialQueue::from_handle(_queue);
    if (queue == nullptr || _callback == nullptr) {
        return false;
    }
    bool delivered = false;
    queue->run_if_open([&] {
        if (const QorAnalyticsCallback callback = _callback) {
            const StoreBatch whole;
            callback(_target, entries.data(), entries.size() / qor::analytics::kEntrySize);
            delivered = true;
        }
    });
    return delivered;
}

namespace {

/** A factory of objects, handed out by their generic interface as platforms do. */
template <typename Object, typename Behaviour>
PlugInFactory factory_of(std::shared_ptr<Behaviour> behaviour) {
    return [behaviour = std::move(behaviour)](const RvUUIDBytes &interface, RvInterfaceRef *out) -> RvStatus {
        if (!equal(interface, kPlugInInterface) && !equal(interface, kUnknownInterface)) {
            return kRvStatusNotFound;
        }
        auto *object = new (std::nothrow) Object(behaviour);
        if (object == nullptr) {
            return kRvStatusNoMemory;
        }
        void *generic = nullptr;
        object->query(interface, &generic);
        object->release();
        *out = static_cast<RvInterfaceRef>(generic);
        return kRvStatusSuccess;
    };
}

} // namespace

std::pair<RvUUIDBytes, PlugInFactory> driver_plug_in(std::shared_ptr<DriverBehaviour> behaviour) {
    return {kDriverPlugInType, factory_of<DriverObject>(std::move(behaviour))};
}

std::pair<RvUUIDBytes, PlugInFactory> device_plug_in(std::shared_ptr<DeviceBehaviour> behaviour) {
    return {kDevicePlugInType, factory_of<DeviceObject>(std::move(behaviour))};
}

std::size_t live_plug_in_references() { return live_references; }

} // namespace host
