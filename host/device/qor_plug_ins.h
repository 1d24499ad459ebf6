/**
 * The user-space plug-ins of a QOR driver and a QOR device: COM-style objects with the tables of
 * `qor/interfaces.h`, whose behaviour is given as functions.
 */
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>

#include "host/RvQueue.h"
#include "host/RvRegistry.h"
#include "qor/interfaces.h"

namespace host {

/** One call of the driver's command entry. */
struct DriverCommand {
    std::uint32_t selector;
    std::span<const std::byte> in;
    std::span<std::byte> out; ///< the caller's room
    std::size_t out_size;     ///< in: the capacity; out: the size that the driver reports, true or not
};

/**
 * The answer to a query for the driver or device interface; the defaults are those of a healthy plug-in. A failing
 * result may come with an interface, and a good one without.
 */
struct QueryAnswer {
    HRESULT result = kRvResultOK;
    bool gives_interface = true;
};

/** A driver's behaviour, called on the plug-in's queue. Shared by all objects created for the service. */
struct DriverBehaviour {
    QueryAnswer query;
    RvStatus start_status = kRvStatusSuccess;
    std::function<RvStatus(DriverCommand &command)> command; ///< empty: every command is `kRvStatusNotFound`
    const SerialQueue *entered_on = nullptr;                 ///< when set, calls elsewhere are caught in debug builds
};

class DeviceObject;

/** A device's behaviour and the callback installed in it. Shared by all objects created for the service. */
class DeviceBehaviour {
public:
    QueryAnswer query;
    RvStatus start_status = kRvStatusSuccess;
    const SerialQueue *entered_on = nullptr; ///< when set, calls elsewhere are caught in debug builds

    /**
     * Calls the installed callback on the installed queue and waits for it. Its changes to the analytics store are one
     * batch, written when this returns. Any thread.
     * @param entries  entries of 7 bytes each; fewer than 7 bytes at the end are ignored.
     * @return false when no callback or no queue is installed, or the queue has been closed since.
     */
    bool deliver_batch(std::span<const std::byte> entries);

    bool has_callback() const { return _callback != nullptr; }
    QorAnalyticsCallback analytics_callback() const { return _callback; }
    RvQueueRef queue() const { return _queue; }
    void *target() const { return _target; }

private:
    friend class DeviceObject;
    std::atomic<QorAnalyticsCallback> _callback = nullptr;
    std::atomic<void *> _target = nullptr;
    std::atomic<RvQueueRef> _queue = nullptr;
};

/** A registry entry's factory of driver plug-in objects. */
std::pair<RvUUIDBytes, PlugInFactory> driver_plug_in(std::shared_ptr<DriverBehaviour> behaviour);

/** A registry entry's factory of device plug-in objects. */
std::pair<RvUUIDBytes, PlugInFactory> device_plug_in(std::shared_ptr<DeviceBehaviour> behaviour);

/** The number of live references to plug-in objects and their interfaces, of drivers and devices together. */
std::size_t live_plug_in_references();

} // namespace host
