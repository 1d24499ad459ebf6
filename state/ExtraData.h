/** The tagged extra data of a sensor: free-form diagnostics that become lines of text. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "qor/sensor.h"

/** How many bytes of tagged data a property holds at most. */
inline constexpr size_t kExtraDataCapacity = qor::sensor::kExtraData[0].size;

/**
 * Walks the tagged items of one property and emits the lines that they make.
 * @param data    `kExtraDataCapacity` bytes, zero where the driver returned nothing.
 * @param length  how many of them the driver returned; what is above the capacity does not count. An item
 *                that starts before `length` may run past it, and reads zeros behind the capacity.
 * @param emit    called with each line, NUL-terminated, at most 1023 characters.
 */
void walkExtraData(const uint8_t *data, uint64_t length, const std::function<void(const char *line)> &emit);
