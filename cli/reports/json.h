/** Reports as JSON lines, for programs that read on. */
#pragma once

#include "cli/dumps/owner_names.h"
#include "decoder/device_clock.h"
#include "decoder/text_stream.h"
#include "qor/report.h"

namespace cli {

/** Appends one line: an object with names, ids, times and the payload, and a newline. */
void append_json_line(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock);

/** The same with the owner's names. @param has_raw  whether all bytes of the report are the last member, "raw". */
void append_json_line(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock,
                      const OwnerNames &names, bool has_raw);

} // namespace cli
