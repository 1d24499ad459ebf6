/** State-capture records as text for people. */
#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "cli/terminal/text_style.h"
#include "host/state_records.h"

namespace cli {

/**
 * The title as a heading, then the payload. Each line ends with a newline.
 *
 * A payload of a known title has a form of its own (assets.h, latency.h, profile.h, sensor.h). A payload of any other
 * title, or not of the shape that its title promises, is written as any typed value (value_text.h), and a payload of a
 * type code other than 1 as hex.
 *
 * @param file  the bytes that the record was parsed from.
 */
std::string record_text(const host::StateRecord &record, std::span<const std::byte> file, const TextStyle &style);

} // namespace cli
