/** Allocators that a host makes for the plug-ins that it loads. */
#pragma once

#include <cstddef>

#include "platform/RvAllocator.h"

/** Defined here, opaque to the plug-in. An allocator may be called from any thread. */
struct RvAllocator {
    virtual ~RvAllocator() = default;
    /** Storage aligned for any scalar type, or null. */
    virtual void *allocate(std::size_t size) const = 0;
    virtual void deallocate(void *storage) const = 0;
};
