/** Allocators that a host gives to plug-ins, behind `platform/RvAllocator.h`. */
#pragma once

#include <cstddef>

#include "platform/RvAllocator.h"

/** An allocator; opaque to plug-ins. Its members are called from any thread. */
struct RvAllocator {
    virtual ~RvAllocator() = default;
    /** @return storage aligned for any scalar type; null when memory is exhausted. */
    virtual void *allocate(std::size_t size) const = 0;
    virtual void deallocate(void *storage) const = 0;
};
