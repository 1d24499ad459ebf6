/** The state-capture service, behind `platform/RvStateCapture.h`. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/RvStateCapture.h"

namespace host {

/** The bytes of one record: a header of 200 bytes, then the payload. */
using RecordBytes = std::vector<std::byte>;

/**
 * Calls every handler registered in this process, each on its queue, in the order of registration, and takes over
 * their records. Any thread but those of the queues. A record's payload size is trusted: a handler is code of this
 * process, and the size is that of memory it allocated.
 * @param kind  one of the request kinds, or any other number.
 */
std::vector<RecordBytes> capture_state(std::uint32_t kind, const std::string &requester);

/** The number of registered handlers. */
std::size_t state_capture_handler_count();

} // namespace host
