// Compiled once for each breach.

#include "tests/validate/breaches.h"

namespace broken_module {

const Breach kBreach = Breach::QOR_BREACH;

} // namespace broken_module
