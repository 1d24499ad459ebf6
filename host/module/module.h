/** A plug-in module, loaded and hosted. */
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/RvHID.h"
#include "host/RvQueue.h"
#include "plugin/OndreQORHIDStatisticsInterface.h"

namespace host {

/** A loaded module. It stays mapped as long as the process, since what it registered may outlive its objects. */
class Module {
public:
    /** @throws Error naming `path` for a file that is missing, is no module, or exports no factory. */
    explicit Module(const std::string &path);

    const std::string &path() const { return _path; }
    OndreQORHIDStatisticsFactoryFunction factory() const { return _factory; }
    /** What the module exports under that name; null when it exports nothing of that name. */
    void *symbol(const char *name) const;

private:
    std::string _path;
    void *_handle;
    OndreQORHIDStatisticsFactoryFunction _factory;
};

/**
 * One plug-in object, taken through its life in the order that it relies on; every call on the queue. Null slots
 * are skipped. Used from one thread, which is not the queue's.
 */
class HostedPlugIn {
public:
    /**
     * Factory, `QueryInterface`, `open`, `scheduleWithDispatchQueue`.
     * @param queue  closed by `stop` and by nobody before that: a closed queue can call nothing.
     * @throws Error when one refuses; the object is gone then.
     */
    HostedPlugIn(const Module &module, SerialQueue &queue);
    /** Stops, if that has not happened. */
    ~HostedPlugIn();
    HostedPlugIn(const HostedPlugIn &) = delete;
    HostedPlugIn &operator=(const HostedPlugIn &) = delete;

    /** Hands over every service, in order. */
    void register_services(const std::vector<std::unique_ptr<RvHIDService>> &services);

    /**
     * `unscheduleFromDispatchQueue`, `close`, the last `Release`, and in the same breath the queue is closed, so
     * that nothing is delivered to the plug-in any more. Safe to call twice.
     */
    void stop();

private:
    SerialQueue &_queue;
    OndreQORHIDStatisticsRef _plug_in = nullptr;
};

} // namespace host
