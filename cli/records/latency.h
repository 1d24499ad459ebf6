/** The payload of a record of latency statistics as people read it. */
#pragma once

#include <optional>
#include <string>

#include "cli/terminal/text_style.h"
#include "platform/TvValues.h"

namespace cli {

/**
 * The last press as a time line to scale, then the minimum and maximum latencies as bars on one scale. Time stamps and
 * latencies are the firmware's unsigned 64-bit ticks. Missing entries are left out; entries of another form follow as
 * in value_text.h.
 * @return lines, each with a newline at its end; nothing when the payload has neither part.
 */
std::optional<std::string> latency_text(TvRef payload, const TextStyle &style);

} // namespace cli
