/** Reports written byte by byte. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "qor/report.h"

namespace cli_tests {

/** The ids of a report, in words. */
struct Ids {
    std::uint8_t category;
    std::uint8_t component;
    std::uint8_t event;
    std::uint8_t type;
};

/** `size` bytes of `value`, lowest first. */
inline std::string little_endian(std::uint64_t value, unsigned size) {
    std::string bytes;
    for (unsigned i = 0; i < size; ++i) {
        bytes += static_cast<char>(value >> (8 * i));
    }
    return bytes;
}

/** The 48 bytes of a report; a payload shorter than 32 bytes ends in zeros. */
inline std::string report(const Ids &ids, std::uint32_t sequence_num, std::uint64_t timestamp,
                          std::string_view payload = {}) {
    std::string bytes = {static_cast<char>(ids.type), static_cast<char>(ids.event), static_cast<char>(ids.component),
                         static_cast<char>(ids.category)};
    bytes += little_endian(sequence_num, 4) + little_endian(timestamp, 8) + std::string(payload);
    bytes.resize(48, '\0');
    return bytes;
}

inline _QorProfileReport as_report(std::string_view bytes) { return _QorProfileReport::copied_from(bytes.data()); }

/** sensor accel data, type event */
inline constexpr Ids kAccelData{2, 0, 2, 3};
/** sensor gyro data, type event */
inline constexpr Ids kGyroData{2, 1, 2, 3};
/** exec function function, type function */
inline constexpr Ids kFunction{0, 1, 0, 5};
/** exec extfunction extfunction, type extfunction */
inline constexpr Ids kExtFunction{0, 4, 0, 9};
/** sensor accel trigger-magnitude, type trigger */
inline constexpr Ids kTrigger{2, 0, 16, 4};
/** sshb sshb trace, type event */
inline constexpr Ids kTrace{7, 0, 0, 3};
/** sshb latency ckp_SSHBButtonDown, type annotation */
inline constexpr Ids kCheckpoint{7, 3, 2, 11};
/** vastrel vastrel data-in, type event */
inline constexpr Ids kVastrelIn{4, 0, 0, 3};
/** an unnamed category with a sensorinfo */
inline constexpr Ids kForeignInfo{200, 7, 9, 8};

} // namespace cli_tests
