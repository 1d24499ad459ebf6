/** A plug-in module, loaded and hosted. */
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/hid_service.h"
#include "host/serial_queue.h"
#include "plugin/OndreQORHIDStatisticsInterface.h"

namespace host {

/** A loaded module. It stays mapped as long as the process. */
class Module {
public:
    /** @throws Error for a file that is missing, is no module, or exports no factory. */
    explicit Module(const std::string &path);

    const std::string &path() const { return _path; }
    OndreQORHIDStatisticsFactoryFunction factory() const { return _factory; }

private:
    std::string _path;
    OndreQORHIDStatisticsFactoryFunction _factory;
};

/** One plug-in object, taken through its life in the order that it relies on; every call on the queue. */
class HostedPlugIn {
public:
    /** Factory, `QueryInterface`, `open`, `scheduleWithDispatchQueue`. @throws Error when one refuses. */
    HostedPlugIn(const Module &module, SerialQueue &queue);
    /** Stops, if that has not happened. */
    ~HostedPlugIn();
    HostedPlugIn(const HostedPlugIn &) = delete;
    HostedPlugIn &operator=(const HostedPlugIn &) = delete;

    /** Hands over every service, in order. */
    void register_services(const std::vector<std::unique_ptr<RvHIDService>> &services);

    /**
     * `unscheduleFromDispatchQueue`, `close`, the last `Release`; then the queue is closed, so that nothing is
     * delivered to the plug-in any more. Safe to call twice.
     */
    void stop();

private:
    SerialQueue &_queue;
    OndreQORHIDStatisticsRef _plug_in = nullptr;
};

} // namespace host
