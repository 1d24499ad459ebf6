/** A device described in a TOML file, registered in the process's registry. */
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/RvHID.h"
#include "host/RvQueue.h"
#include "host/device/description.h"
#include "host/device/qor_plug_ins.h"

namespace host {

/**
 * A described device, registered as long as this object lives. The schema is in `docs/device-description.md`.
 */
class DescribedDevice {
public:
    /**
     * Reads a description and registers the device.
     * @param queue  where the device is called; calls elsewhere are caught in debug builds. Outlives the device.
     * @throws Error naming the file, the line and the reason; nothing is left in the registry then.
     */
    DescribedDevice(const std::string &path, const SerialQueue &queue);
    /** Registers a device whose description was read before. */
    DescribedDevice(DeviceDescription description, const SerialQueue &queue);
    ~DescribedDevice();
    DescribedDevice(const DescribedDevice &) = delete;
    DescribedDevice &operator=(const DescribedDevice &) = delete;

    /** The device's name, for people. */
    const std::string &name() const;

    /** The HID services, in the order of the file. */
    const std::vector<std::unique_ptr<RvHIDService>> &services() const;

    /** The analytics batches, in the order of the file. An `AnalyticsSource` delivers them. */
    const std::vector<AnalyticsDescription> &analytics() const;

    /** @param name  of a `[device.NAME]`. */
    DeviceBehaviour &device(const std::string &name) const;

private:
    struct State;
    std::unique_ptr<State> _state;
};

} // namespace host
