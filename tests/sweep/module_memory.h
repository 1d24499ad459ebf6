/**
 * The allocations of a loaded module: every call from the module's own code to an allocation function is counted, and
 * call N can be made to fail. Calls from other code, including the platform library and the standard library, are not
 * affected. Any thread.
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "host/fault_points.h"
#include "host/module/module.h"

namespace sweep::module_memory {

/**
 * Replaces the module's allocation functions in its table of imported addresses. The replacements call the original
 * functions, so this works with and without sanitizers.
 * @throws std::runtime_error if the module imports an allocation function that is unknown here.
 */
void watch(const host::Module &module);

/** Makes allocation `call` (counted from 0, from now on) fail. */
void arm(std::uint64_t call, host::Strikes strikes);
/** Counts allocations without failing any. */
void count();
/** Ends arming; the counts stay readable. */
void disarm();

/** Since the last `arm` or `count`. */
std::uint64_t calls();
std::uint64_t strikes();

/** Blocks that the watched modules made with `new` and have not deleted. */
std::int64_t live_blocks();

} // namespace sweep::module_memory
