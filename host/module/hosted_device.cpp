#include "host/module/hosted_device.h"

#include <filesystem>
#include <utility>

#include "host/shared_library.h"

namespace host {

std::string plug_in_file(const std::string &chosen) {
    if (!chosen.empty()) {
        return chosen;
    }
    static constexpr const char *kFile = "OndreQORHIDStatistics.so";
    const auto beside_program = std::filesystem::read_symlink("/proc/self/exe").parent_path() / kFile;
    return std::filesystem::exists(beside_program) ? beside_program : own_file(kFile);
}

HostedDevice::HostedDevice(DeviceDescription description, const std::string &plug_in)
    : _module(plug_in_file(plug_in)), _device(std::move(description), _queue), _plug_in(_module, _queue) {
    _plug_in.register_services(_device.services());
}

} // namespace host
