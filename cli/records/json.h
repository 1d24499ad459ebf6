/** State-capture records as JSON for programs. */
#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "cli/terminal/json_value.h"
#include "host/state_records.h"

namespace cli {

/**
 * Adds the record's header and payload to an object: integers exactly, bytes as a string of hex digits, the keys of
 * dictionaries in ascending order, byte for byte. A payload of a type code other than 1 is bytes. A header text that is
 * not UTF-8 becomes hex under its key with "_hex" appended.
 *
 * @param file  the bytes that the record was parsed from.
 */
void put_record(Json &json, const host::StateRecord &record, std::span<const std::byte> file);

/**
 * The record with its file, on one line.
 * @param name  of the file.
 */
std::string record_line(const std::string &name, const host::StateRecord &record, std::span<const std::byte> file);

} // namespace cli
