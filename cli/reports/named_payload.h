/** The payload of a report with the owner's names beside its numbers, in every form that shows payloads. */
#pragma once

#include <cstddef>

#include "cli/dumps/owner_names.h"
#include "qor/report.h"

namespace cli {

/** The room that each of the functions for JSON needs. All of it may be written. */
inline constexpr std::size_t kNamedPayloadJsonRoom = 16384;

/** The same for the payload in a line. */
inline constexpr std::size_t kNamedPayloadLineRoom = 8192;

/**
 * The functions of `cli/reports/payload_json.h` with names. A number with a name is followed by the name, under the
 * number's key with "_name" appended. A subject that only the owner names has that name.
 */
char *put_named_payload_json(char *out, const _QorProfileReport &report, std::size_t index, const OwnerNames &names);
char *put_named_payload_json_in_csv(char *out, const _QorProfileReport &report, std::size_t index,
                                    const OwnerNames &names);
char *put_named_payload_json_for_doubles(char *out, const _QorProfileReport &report, std::size_t index,
                                         const OwnerNames &names);

/**
 * Writes the fields of the payload as in a line. A number with a name is followed by a field of its own for the name:
 * the number's key with "-name" appended, and the name between apostrophes.
 */
char *put_named_payload_line(char *out, const _QorProfileReport &report, std::size_t index, const OwnerNames &names);

} // namespace cli
