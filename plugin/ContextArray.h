/** The growable array of contexts, allocated from the plug-in object's allocator. */
#pragma once

#include <cstddef>
#include <new>
#include <vector>

#include "platform/RvAllocator.h"
#include "plugin/Context.h"

/** Makes a host-supplied allocator usable by the standard containers. */
template <typename T>
class HostAllocator {
public:
    using value_type = T;

    explicit HostAllocator(RvAllocatorRef allocator) : _allocator(allocator) {}
    /** Implicit, because the containers convert to an allocator of another type in this way. */
    template <typename U>
    HostAllocator(const HostAllocator<U> &other) // NOLINT(google-explicit-constructor)
        : _allocator(other.allocator()) {}

    T *allocate(std::size_t count) {
        if (void *storage = RvAllocatorAllocate(_allocator, count * sizeof(T))) {
            return static_cast<T *>(storage);
        }
        throw std::bad_alloc();
    }
    void deallocate(T *storage, std::size_t) { RvAllocatorDeallocate(_allocator, storage); }

    RvAllocatorRef allocator() const { return _allocator; }
    bool operator==(const HostAllocator &) const = default;

private:
    RvAllocatorRef _allocator;
};

/** Plain pointers: the array neither retains nor releases its elements. */
using ContextArray = std::vector<Context *, HostAllocator<Context *>>;
