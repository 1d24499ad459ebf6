/** The payload of a report as JSON, for every format that contains it. */
#pragma once

#include "decoder/payload_values.h"
#include "decoder/text_stream.h"
#include "qor/report.h"

namespace cli {

/** How a number above 2^53 is written: readers that store numbers as doubles would round it. */
enum class BigNumbers { AsNumbers, AsStrings };

/**
 * Appends the payload of `report` as one JSON object with the fields of its text line, in the same order: numbers as
 * numbers (also those that lines show in hexadecimal), names and texts as strings, bytes as a string of hex digits.
 * A text that is not UTF-8 becomes hex digits under its key with "_hex" appended. The second field of one name has
 * "_2" appended to its key, and so on.
 */
void append_payload_json(text_buffer &out, const _QorProfileReport &report,
                         BigNumbers big_numbers = BigNumbers::AsNumbers);

/** Appends one field, which must not be a text, as `"key":value`. */
void append_number_member(text_buffer &out, const decoder::payload_value &value);

} // namespace cli
