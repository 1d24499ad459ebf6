/** A described device with the plug-in hosted on it. */
#pragma once

#include <string>

#include "host/RvQueue.h"
#include "host/device/described_device.h"
#include "host/module/module.h"

namespace host {

/** The module to load: `chosen`, or `OndreQORHIDStatistics.so` beside this program when that is empty. */
std::string plug_in_file(const std::string &chosen);

/** The plug-in opened, scheduled and handed every service of the device, until this object goes or stops. */
class HostedDevice {
public:
    /** @throws Error for a module or a description that will not do. */
    HostedDevice(const std::string &description, const std::string &plug_in);

    /** The same with a description that was read before. */
    HostedDevice(DeviceDescription description, const std::string &plug_in);

    const DescribedDevice &device() const { return _device; }

    /** Unscheduling, closing, the last release; nothing reaches the plug-in afterwards. */
    void stop() { _plug_in.stop(); }

private:
    Module _module;
    SerialQueue _queue;
    DescribedDevice _device;
    HostedPlugIn _plug_in;
};

} // namespace host
