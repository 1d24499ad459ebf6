/**
 * The forms of a report for programs, put together field by field with strings and streams: what the program's compiled
 * walk is compared with. Names come from the decoder's tables, which have tests of their own.
 */
#pragma once

#include <cstdint>
#include <string>

#include "decoder/device_clock.h"
#include "qor/report.h"

namespace plain {

/** One line of JSON Lines, with its end. */
std::string json_line(const _QorProfileReport &report, const decoder::device_clock &clock);

/** One record of CSV, with its end. */
std::string csv_line(const _QorProfileReport &report, const decoder::device_clock &clock);

/** The events of a report, each after a comma and a line end, in a trace without other reports; no names of tracks. */
std::string trace_events(const _QorProfileReport &report);

/** A brief line for a file, with its end. @param since  the time stamp from which times count. */
std::string brief_line(const _QorProfileReport &report, const decoder::device_clock &clock, std::uint64_t since);

} // namespace plain
