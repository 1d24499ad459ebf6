/** The payload of a record about a sensor as people read it. */
#pragma once

#include <optional>
#include <string>

#include "cli/terminal/text_style.h"
#include "platform/TvValues.h"

namespace cli {

/**
 * A card: what the sensor is, how it is set, and who uses it. Missing entries are left out; entries of another form
 * follow as in value_text.h.
 * @return lines, each with a newline at its end; nothing when the payload has no entry of a sensor.
 */
std::optional<std::string> sensor_text(TvRef payload, const TextStyle &style);

} // namespace cli
