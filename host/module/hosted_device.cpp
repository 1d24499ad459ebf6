#include "host/module/hosted_device.h"

#include <filesystem>
#include <utility>

namespace host {

std::string plug_in_file(const std::string &chosen) {
    if (!chosen.empty()) {
        return chosen;
    }
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "OndreQORHIDStatistics.so";
}

HostedDevice::HostedDevice(DeviceDescription description, const std::string &plug_in)
    : _module(plug_in_file(plug_in)), _device(std::move(description), _queue), _plug_in(_module, _queue) {
    _plug_in.register_services(_device.services());
}

} // namespace host
