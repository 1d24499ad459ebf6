/** State-capture records as people read them. */
#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "cli/terminal_text.h"
#include "host/state_capture.h"

namespace cli {

/**
 * The title as a heading, then the payload, each line with a newline at its end.
 *
 * An array's texts stand one on a line, as they are; a dictionary's keys stand in a column, in ascending order
 * (byte for byte), what they contain indented below them. A payload of a type code other than 1 is shown as hex.
 *
 * @param file the bytes that the record was parsed from.
 */
std::string record_text(const host::StateRecord &record, std::span<const std::byte> file, const TextStyle &style);

} // namespace cli
