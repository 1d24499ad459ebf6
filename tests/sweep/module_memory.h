/**
 * The memory that a loaded module allocates by itself: every call that the module's own code makes of an allocation
 * function goes through here, counted, and call N can be made to fail. Calls of anybody else, the platform library
 * and the standard library included, are not touched. Any thread.
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "host/fault_points.h"
#include "host/module/module.h"

namespace sweep::module_memory {

/**
 * Takes over the module's allocation functions by writing into its table of imported addresses, which works alike with
 * and without sanitizers: the functions that stood there are called in the end.
 * @throws std::runtime_error when the module imports an allocation function that is not known here.
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
