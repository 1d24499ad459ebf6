/** Reports as lines with the owner's names. */
#pragma once

#include "cli/dumps/owner_names.h"
#include "decoder/device_clock.h"
#include "decoder/text_stream.h"
#include "qor/report.h"

namespace cli {

/**
 * Appends the line of `decoder::append_line`, without a newline, in which ids of the header that only the owner names
 * have that name, and the name of a number stands behind it.
 */
void append_named_line(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock,
                       const OwnerNames &names);

} // namespace cli
