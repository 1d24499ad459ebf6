/** A device described in a TOML file: what it is, and the same device brought to life in the registry. */
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "host/RvHID.h"
#include "host/RvQueue.h"
#include "host/device/description.h"
#include "host/device/qor_plug_ins.h"

namespace host {

/**
 * A described device, alive in the process's registry as long as this object lives. `docs/device-description.md`
 * has the schema.
 */
class DescribedDevice {
public:
    /**
     * Reads a description and brings it to life.
     * @param queue  where the device is entered; calls elsewhere are caught in debug builds. It outlives the device.
     * @throws Error naming the file, the line and the reason; nothing stays in the registry then.
     */
    DescribedDevice(const std::string &path, const SerialQueue &queue);
    /** Brings to life what was read before. */
    DescribedDevice(DeviceDescription description, const SerialQueue &queue);
    ~DescribedDevice();
    DescribedDevice(const DescribedDevice &) = delete;
    DescribedDevice &operator=(const DescribedDevice &) = delete;

    /** The device's name, for people. */
    const std::string &name() const;

    /** The HID services, in the order of the file. */
    const std::vector<std::unique_ptr<RvHIDService>> &services() const;

    /** The analytics batches, in the order of the file. Nothing delivers them by itself: see `AnalyticsSource`. */
    const std::vector<AnalyticsDescription> &analytics() const;

    /** A `[device.NAME]`. */
    DeviceBehaviour &device(const std::string &name) const;

private:
    struct State;
    std::unique_ptr<State> _state;
};

} // namespace host
