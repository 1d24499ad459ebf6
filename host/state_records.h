/** State-capture records as they are stored in files. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/Owned.h"

namespace host {

/** A parsed record. */
struct StateRecord {
    std::uint32_t type_code;
    std::string decoder_plug_in;
    std::string decoder_type;
    std::string title;
    std::size_t offset;           ///< of the record in the parsed bytes
    std::size_t size;             ///< in bytes, header included
    platform::OwnedValue payload; ///< null when the type code is not 1
};

/**
 * Parses records that follow one another without gaps. The bytes may be hostile.
 * @param file  named in errors.
 * @throws Error naming the file, the byte and the reason: a truncated header, a payload size larger than what is
 *         left, a payload that cannot be decoded.
 */
std::vector<StateRecord> parse_records(std::span<const std::byte> bytes, const std::string &file);

} // namespace host
