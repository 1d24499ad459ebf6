/**
 * The user-space plug-ins of a QOR driver and a QOR device, played by functions: COM-style objects with the
 * tables of `qor/interfaces.h`.
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
    std::span<std::byte> out; ///< as large as the caller's capacity
    std::size_t out_size;     ///< in: the capacity; out: what the driver reports, true or not
};

/**
 * What a query for the driver or device interface answers; the defaults are those of a healthy plug-in. A
 * failing result may come with an interface all the same, and a good one without.
 */
struct QueryAnswer {
    HRESULT result = kRvResultOK;
    bool gives_interface = true;
};

/** A driver's behaviour, asked on the plug-in's queue. Shared by every object made for the service. */
struct DriverBehaviour {
    QueryAnswer query;
    RvStatus start_status = kRvStatusSuccess;
    std::function<RvStatus(DriverCommand &command)> command; ///< empty: every command is `kRvStatusNotFound`
    const SerialQueue *entered_on = nullptr;                 ///< when set, calls elsewhere are caught in debug builds
};

class DeviceObject;

/** A device's behaviour and what was installed in it. Shared by every object made for the service. */
class DeviceBehaviour {
public:
    QueryAnswer query;
    RvStatus start_status = kRvStatusSuccess;
    const SerialQueue *entered_on = nullptr; ///< when set, calls elsewhere are caught in debug builds

    /**
     * Calls the installed callback on the installed queue and waits for it. What it does to the analytics store is
     * one batch, written when this returns. Any thread.
     * @param entries  whole entries of 7 bytes; a rest below 7 bytes is left out.
     * @return false when no callback or no queue is installed, also when the queue has been closed since.
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

/** The registry's factory of driver plug-in objects. */
std::pair<RvUUIDBytes, PlugInFactory> driver_plug_in(std::shared_ptr<DriverBehaviour> behaviour);

/** The registry's factory of device plug-in objects. */
std::pair<RvUUIDBytes, PlugInFactory> device_plug_in(std::shared_ptr<DeviceBehaviour> behaviour);

/** How many references to plug-in objects and their interfaces are alive, of both kinds together. */
std::size_t live_plug_in_references();

} // namespace host
