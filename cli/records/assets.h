/** The payload of a record of haptic assets as people read it. */
#pragma once

#include <optional>
#include <string>

#include "cli/terminal/text_style.h"
#include "platform/TvValues.h"

namespace cli {

/**
 * A row for each event, with columns for each speed; one table per speed where the lines would be too long. Missing
 * entries are left out; entries of another form follow as in value_text.h.
 * @return lines, each with a newline at its end; nothing when the payload has no asset.
 */
std::optional<std::string> assets_text(TvRef payload, const TextStyle &style);

} // namespace cli
