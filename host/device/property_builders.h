/** Builds a driver's answers from the fields of a description, which give them instead of bytes. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/device/description_table.h"

namespace host {

/** The bytes that answer one question to a driver. */
struct BuiltReply {
    std::uint32_t number;    ///< a property's identifier or a command's selector
    DescriptionValue source; ///< what describes it, for errors
    std::vector<std::byte> bytes;
};

/** The keys of a driver's table that the builders read. */
KnownKeys built_keys();

/**
 * The properties that a driver's table describes by "latency", "assets" and "sensor"; each once.
 * @throws Error for a field that is unknown, of the wrong type or does not fit its place.
 */
std::vector<BuiltReply> build_properties(const DescriptionTable &driver);

/** The commands that a driver's table describes by "client". @throws Error as above. */
std::vector<BuiltReply> build_commands(const DescriptionTable &driver);

} // namespace host
