/** The state-capture service's own side, and its records as bytes. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/Owned.h"
#include "platform/RvStateCapture.h"

namespace host {

/** The bytes of one record: 200 of header, then the payload. */
using RecordBytes = std::vector<std::byte>;

/**
 * Asks every handler registered in this process, each on its queue, in the order of registration, and takes
 * over their records. Called from any thread that is not one of those queues. A record's payload size is
 * believed: a handler is code of this process, and the size is its word for memory that it allocated.
 * @param kind  one of the request kinds, or any other number.
 */
std::vector<RecordBytes> capture_state(std::uint32_t kind, const std::string &requester);

/** How many handlers are registered. */
std::size_t state_capture_handler_count();

/** A record read back. */
struct StateRecord {
    std::uint32_t type_code;
    std::string decoder_plug_in;
    std::string decoder_type;
    std::string title;
    std::size_t offset;           ///< of the record in what was parsed
    std::size_t size;             ///< whole, header included
    platform::OwnedValue payload; ///< null when the type code is not 1
};

/**
 * Reads records laid end to end. The bytes are hostile.
 * @throws Error naming the file, the byte and the reason: a header cut short, a payload size that lies, a
 *         payload that cannot be decoded.
 */
std::vector<StateRecord> parse_records(std::span<const std::byte> bytes, const std::string &file);

} // namespace host
