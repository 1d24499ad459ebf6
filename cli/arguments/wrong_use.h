/** Wrong use that the parser of the command line cannot see by itself. */
#pragma once

#include <stdexcept>

namespace cli {

/** `what()` is one sentence without a full stop, as after the verb's name. */
struct WrongUse : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace cli
