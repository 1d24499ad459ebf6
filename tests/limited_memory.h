/** Memory that is exhausted after a number of allocations. Link limited_memory.cpp: it replaces the operators. */
#pragma once

#include <limits>

namespace tests {

inline constexpr int kNoLimit = std::numeric_limits<int>::max();

/** The number of allocations of this thread that succeed before memory is exhausted. */
inline thread_local constinit int allocations_left = kNoLimit;

/** Whether the limit lets the thread allocate; counts that. */
inline bool may_allocate() {
    if (allocations_left == 0) {
        return false;
    }
    allocations_left -= allocations_left == kNoLimit ? 0 : 1;
    return true;
}

} // namespace tests
