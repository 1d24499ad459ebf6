/** Wrong use that the parser of the command line cannot detect. */
#pragma once

#include <stdexcept>

namespace cli {

/** `what()` is one sentence without a full stop. It is printed after the verb's name; the exit code is 2. */
struct WrongUse : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace cli
