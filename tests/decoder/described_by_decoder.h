/** The decoder behind the oracle's interface. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "decoder/report_line.h"
#include "tests/decoder/oracle.h"

namespace oracle {

inline decoder::device_clock device_clock_of(const Clock &clock) {
    decoder::device_clock converted;
    if (clock.time_sync) {
        converted.sync = decoder::time_sync{static_cast<std::uint64_t>(clock.time_sync->qor),
                                            static_cast<std::uint64_t>(clock.time_sync->calendar)};
    }
    converted.boot_time = clock.boot_time;
    return converted;
}

/**
 * The text that `decoder::append_line` appends for the report at `report`. The buffer starts with 64 bytes of storage
 * and already holds `prefix` characters, so that different prefixes make it grow at different places of the line.
 */
inline std::string describe_with_decoder(const unsigned char *report, const Clock &clock, std::size_t prefix = 0) {
    char storage[64];
    text_buffer buffer(storage);
    buffer.append(std::string(prefix, '.'));
    decoder::append_line(buffer, _QorProfileReport::copied_from(report), device_clock_of(clock));
    return std::string(buffer.text().substr(prefix));
}

} // namespace oracle
