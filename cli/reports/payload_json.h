/** The payload of a report as JSON, for every format that contains it. */
#pragma once

#include <cstddef>

#include "qor/report.h"

namespace cli {

/** The room that each of the functions below needs. All of it may be written. */
inline constexpr std::size_t kPayloadJsonRoom = 4096;

/**
 * Writes the payload of `report` as one JSON object with the fields of its text line, in the same order: numbers as
 * numbers (also those that lines show in hexadecimal), names and texts as strings, bytes as a string of hex digits.
 * A text that is not UTF-8 becomes hex digits under its key with "_hex" appended. The second field of one name has
 * "_2" appended to its key, and so on. A payload without fields has its 32 bytes as hex digits, under the key "raw".
 * @param index  an index into `decoder::kPayloads`, from `decoder::payload_index`.
 * @return the end of the text.
 */
char *put_payload_json(char *out, const _QorProfileReport &report, std::size_t index);

/** The same for the inside of a quoted CSV field: with every quotation mark twice. */
char *put_payload_json_in_csv(char *out, const _QorProfileReport &report, std::size_t index);

/** The same with numbers above 2^53 as strings: readers that store numbers as doubles would round them. */
char *put_payload_json_for_doubles(char *out, const _QorProfileReport &report, std::size_t index);

} // namespace cli
