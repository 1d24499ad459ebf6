/** The driver services that hand out profile reports, played by the test. */
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "decoder/ProfileDescription.h"
#include "host/RvRegistry.h"

namespace plug_in_tests {

/** One of the two driver services, answering its reading method with bytes and a size of the test's choice. */
class ReportService {
public:
    ReportService(uint64_t registry_id, const char *name) {
        host::UserClient client;
        client.call_method = [this](host::MethodCall &call) {
            methods.push_back(call.method);
            scalars.assign(call.scalars_in.begin(), call.scalars_in.end());
            capacity = call.out_size;
            std::transform(bytes.begin(),
                           bytes.begin() + static_cast<std::ptrdiff_t>(std::min(bytes.size(), call.out.size())),
                           call.out.begin(), [](uint8_t byte) { return std::byte{byte}; });
            call.out_size = reported_size.value_or(bytes.size());
            return status;
        };
        _entry =
            host::device_registry::add({.registry_id = registry_id, .name = name, .user_client = std::move(client)});
    }
    ~ReportService() { host::device_registry::remove(_entry); }
    ReportService(const ReportService &) = delete;
    ReportService &operator=(const ReportService &) = delete;

    std::vector<uint8_t> bytes;
    std::optional<std::size_t> reported_size;
    RvStatus status = 0;
    std::vector<uint32_t> methods;
    std::vector<uint64_t> scalars;
    std::size_t capacity = 0;

private:
    RvRegistryEntry _entry;
};

/** A report of the control category with this sequence number; its line names no text of the firmware's. */
inline std::vector<uint8_t> report(uint8_t sequence_number) {
    std::vector<uint8_t> bytes(kQorProfileReportSize);
    bytes[3] = 8;
    bytes[4] = sequence_number;
    return bytes;
}

inline std::vector<uint8_t> operator+(std::vector<uint8_t> left, const std::vector<uint8_t> &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

} // namespace plug_in_tests
