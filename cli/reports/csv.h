/** Reports as comma-separated values (RFC 4180). */
#pragma once

#include <string>
#include <string_view>

#include "cli/dumps/owner_names.h"
#include "decoder/device_clock.h"
#include "decoder/text_stream.h"
#include "qor/report.h"

namespace cli {

/** The first line: the names of the columns. Ends with CR LF. */
extern const std::string_view kCsvHeading;

/**
 * Appends one line: names and ids, sequence number, time stamp, wall-clock time in ISO 8601 and boot time (each empty
 * when unknown), and the payload as a JSON object. Ends with CR LF.
 */
void append_csv_line(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock);

/** The same with the owner's names. @param has_raw  whether all bytes of the report are one more column, `raw`. */
void append_csv_line(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock,
                     const OwnerNames &names, bool has_raw);

} // namespace cli
