/** State-capture records as programs read them. */
#pragma once

#include <cstddef>
#include <span>

#include <nlohmann/json.hpp>

#include "host/state_records.h"

namespace cli {

/**
 * The record's header and its payload: integers exactly, bytes as a text of hex digits, dictionaries with their
 * keys in ascending order (byte for byte). A payload of a type code other than 1 is bytes. Header texts that are
 * not UTF-8 stand as hex under their key with "_hex" at its end.
 *
 * @param file the bytes that the record was parsed from.
 */
nlohmann::ordered_json record_json(const host::StateRecord &record, std::span<const std::byte> file);

} // namespace cli
