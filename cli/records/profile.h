/** The payload of a record of profile reports as people read it. */
#pragma once

#include <optional>
#include <string>

#include "cli/terminal/text_style.h"
#include "platform/TvValues.h"

namespace cli {

/**
 * The lines of the reports unchanged, with the category's value in a colour of its own.
 * @return lines, each with a newline at its end; nothing when the payload is not an array of at least one text.
 */
std::optional<std::string> profile_text(TvRef payload, const TextStyle &style);

} // namespace cli
