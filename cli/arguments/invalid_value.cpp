#include "cli/arguments/invalid_value.h"

#include "host/error.h"

namespace cli {

std::string invalid_value(std::string_view option, std::string_view value) {
    return "invalid value " + host::in_quotes(value) + " for " + std::string(option);
}

} // namespace cli
