/** Messages about the value of an option. */
#pragma once

#include <string>
#include <string_view>

namespace cli {

/** `invalid value "VALUE" for OPTION`: how every message about an option's value begins. */
std::string invalid_value(std::string_view option, std::string_view value);

} // namespace cli
