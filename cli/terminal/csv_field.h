/** Texts in comma-separated values (RFC 4180). */
#pragma once

#include <string>

namespace cli {

/** `text` as a field: in quotation marks if it needs them. */
std::string csv_field(const std::string &text);

} // namespace cli
