/** Reports as JSON, for programs that read on. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "decoder/device_clock.h"
#include "decoder/payload_values.h"
#include "decoder/text_stream.h"
#include "qor/report.h"

namespace cli {

/** Appends `text` as a JSON string without control characters, those from U+007F to U+009F included. It must be UTF-8.
 */
void append_json_string(text_buffer &out, std::string_view text);

void append_number(text_buffer &out, std::uint64_t number);

/** Appends a field that is no text as `"key":value`. */
void append_number_member(text_buffer &out, const decoder::payload_value &value);

/** How a number beyond 2^53 stands in JSON: readers that keep numbers as doubles round it. */
enum class BigNumbers { AsNumbers, AsStrings };

/**
 * Appends the payload of `report` as one JSON object with the fields that its line shows, in the line's order:
 * numbers as numbers (also those that lines show in hexadecimal), names and texts as strings, bytes as a string
 * of hex digits. A text that is not UTF-8 stands as hex digits under its key with "_hex" at its end. A key that
 * comes a second time has "_2" at its end, and so on.
 */
void append_payload_json(text_buffer &out, const _QorProfileReport &report,
                         BigNumbers big_numbers = BigNumbers::AsNumbers);

/**
 * A firmware time on the wall clock of the process's zone: "2026-11-05T09:03:07.250000+01:00". Empty when there is
 * no such local time. Any thread.
 */
std::string iso_wall_time(std::uint64_t timestamp, const decoder::time_sync &sync);

/** Appends one line: an object with names, ids, times and the payload, and a newline. */
void append_json_line(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock);

} // namespace cli
