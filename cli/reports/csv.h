/** Reports as comma-separated values (RFC 4180). */
#pragma once

#include <string_view>

#include "decoder/device_clock.h"
#include "decoder/text_stream.h"
#include "qor/report.h"

namespace cli {

/** The names of the columns, with the line's end. */
extern const std::string_view kCsvHeading;

/**
 * Appends one line of the columns: names and ids, sequence number, time stamp, wall-clock time in ISO 8601 and boot
 * time (empty when not known), and the payload as a JSON object.
 */
void append_csv_line(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock);

} // namespace cli
