/** User-space plug-ins, behind `platform/RvPlugIn.h`. */
#pragma once

#include <cstddef>
#include <functional>

#include "platform/RvPlugIn.h"

namespace host {

/** Creates one user-space plug-in object, with one reference, and gives its `interface`. */
using PlugInFactory = std::function<RvStatus(const RvUUIDBytes &interface, RvInterfaceRef *out)>;

/** The number of live objects that a factory has registered. Any thread. */
std::size_t factory_instance_count(const RvUUIDBytes &factory);

} // namespace host
