/** A described device that hosts the plug-in. */
#pragma once

#include <string>

#include "host/RvQueue.h"
#include "host/device/described_device.h"
#include "host/module/module.h"

namespace host {

/**
 * The module to load: `chosen`, or `OndreQORHIDStatistics.so` when that is empty. That one is beside the program, or
 * else where `own_file` says.
 */
std::string plug_in_file(const std::string &chosen);

/** The plug-in, opened, scheduled and given every service of the device, until `stop` or destruction. */
class HostedDevice {
public:
    /** @throws Error when the module cannot be loaded or the device cannot be registered. */
    HostedDevice(DeviceDescription description, const std::string &plug_in);

    const DescribedDevice &device() const { return _device; }

    /** Unschedules, closes and releases the plug-in; nothing reaches it afterwards. */
    void stop() { _plug_in.stop(); }

private:
    Module _module;
    SerialQueue _queue;
    DescribedDevice _device;
    HostedPlugIn _plug_in;
};

} // namespace host
