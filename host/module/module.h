/** A plug-in module, loaded and hosted. */
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/RvHID.h"
#include "host/RvQueue.h"
#include "plugin/OndreQORHIDStatisticsInterface.h"

namespace host {

/** A loaded module. Never unmapped: its registrations may outlive its objects. */
class Module {
public:
    /** @throws Error naming `path` for a file that is missing, is not a module, or exports no factory. */
    explicit Module(const std::string &path);

    const std::string &path() const { return _path; }
    OndreQORHIDStatisticsFactoryFunction factory() const { return _factory; }
    /** The exported symbol of this name, or null. */
    void *symbol(const char *name) const;

private:
    std::string _path;
    void *_handle;
    OndreQORHIDStatisticsFactoryFunction _factory;
};

/**
 * One plug-in object, taken through its life in the promised order. Every call is made on the queue; null slots are
 * skipped. Used from one thread, which is not the queue's.
 */
class HostedPlugIn {
public:
    /**
     * Factory, `QueryInterface`, `open`, `scheduleWithDispatchQueue`.
     * @param queue  closed by `stop`, and not before: a closed queue runs nothing.
     * @throws Error when one of them fails; the object is destroyed then.
     */
    HostedPlugIn(const Module &module, SerialQueue &queue);
    /** Stops, unless stopped before. */
    ~HostedPlugIn();
    HostedPlugIn(const HostedPlugIn &) = delete;
    HostedPlugIn &operator=(const HostedPlugIn &) = delete;

    /** Hands over every service, in order. */
    void register_services(const std::vector<std::unique_ptr<RvHIDService>> &services);

    /**
     * `unscheduleFromDispatchQueue`, `close`, the last `Release` and the end of the queue, all in one job of the queue,
     * so that nothing reaches the plug-in afterwards. May be called twice.
     */
    void stop();

private:
    SerialQueue &_queue;
    OndreQORHIDStatisticsRef _plug_in = nullptr;
};

} // namespace host
