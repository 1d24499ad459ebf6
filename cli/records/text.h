/** State-capture records as people read them. */
#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "cli/terminal/text_style.h"
#include "host/state_records.h"

namespace cli {

/**
 * The title as a heading, then the payload, each line with a newline at its end.
 *
 * A payload of a known title is drawn in the form that suits it (payload_renderings.h). That of any other title,
 * or of another shape than its title promises, is shown as any typed value (value_text.h); one of a type code other
 * than 1 as hex.
 *
 * @param file the bytes that the record was parsed from.
 */
std::string record_text(const host::StateRecord &record, std::span<const std::byte> file, const TextStyle &style);

} // namespace cli
