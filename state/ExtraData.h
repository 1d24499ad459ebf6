/** A sensor's tagged extra data: free-form diagnostics, converted to lines of text. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "qor/sensor.h"

/** The maximum size of a property with tagged data, in bytes. */
inline constexpr size_t kExtraDataCapacity = qor::sensor::kExtraData[0].size;

/**
 * Walks the tagged items of one property and emits them as lines.
 * @param data    `kExtraDataCapacity` bytes, zero where the driver returned nothing.
 * @param length  the number of bytes that the driver returned; limited to the capacity. An item that starts before
 *                `length` may extend past it; past the capacity, it reads zeros.
 * @param emit    called with each line, NUL-terminated, at most 1023 characters.
 */
void walkExtraData(const uint8_t *data, uint64_t length, const std::function<void(const char *line)> &emit);
