/** A described device with the plug-in hosted on it: what `run` and `capture` share. */
#pragma once

#include <string>

#include "host/described_device.h"
#include "host/module.h"
#include "host/serial_queue.h"

namespace cli {

/** The module to load: `chosen`, or `OndreQORHIDStatistics.so` beside this program when that is empty. */
std::string plug_in_file(const std::string &chosen);

/** The plug-in opened, scheduled and handed every service of the device, until this object goes or stops. */
class HostedDevice {
public:
    /** @throws host::Error for a module or a description that will not do. */
    HostedDevice(const std::string &description, const std::string &plug_in);

    /** The same with a description that was read before. */
    HostedDevice(host::DeviceDescription description, const std::string &plug_in);

    const host::DescribedDevice &device() const { return _device; }

    /** Unscheduling, closing, the last release; nothing reaches the plug-in afterwards. */
    void stop() { _plug_in.stop(); }

private:
    host::Module _module;
    host::SerialQueue _queue;
    host::DescribedDevice _device;
    host::HostedPlugIn _plug_in;
};

} // namespace cli
