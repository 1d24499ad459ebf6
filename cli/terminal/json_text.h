/** Arbitrary text in JSON. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "cli/terminal/json_value.h"

namespace cli {

/** Stores `text` under `key`. Text that is not UTF-8 is stored in hex, under `key` with "_hex" appended. */
void put_text(Json &object, const std::string &key, std::string_view text);

/** A whole number that scripts of a page read exactly: beyond 2^53, and below its negative, a string of its digits. */
Json number_for_scripts(std::uint64_t number);
Json number_for_scripts(std::int64_t number);
/** A number; "inf", "-inf" and "nan" are strings. */
Json number_for_scripts(double number);

/**
 * The JSON in lines, and a newline at the end. Every control character in a text is escaped, U+007F to U+009F included:
 * JSON allows them, but terminals obey some. @throws std::exception for a text that is not UTF-8.
 */
std::string json_lines(const Json &json);

/** The same on one line, without a newline at the end. @throws the same. */
std::string json_line(const Json &json);

} // namespace cli
