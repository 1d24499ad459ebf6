#include "host/RvAllocator.h"

#include <cstdlib>

#include "host/fault_points.h"

namespace {

struct DefaultAllocator final : RvAllocator {
    void *allocate(std::size_t size) const override { return std::malloc(size); }
    void deallocate(void *storage) const override { std::free(storage); }
};

host::FaultPoint allocate_fault("RvAllocatorAllocate");

} // namespace

/** Never destroyed: values are released while the process exits. */
RvAllocatorRef RvAllocatorGetDefault(void) {
    static const DefaultAllocator &instance = *new DefaultAllocator;
    return &instance;
}

void *RvAllocatorAllocate(RvAllocatorRef allocator, size_t size) {
    if (allocate_fault.strikes() || allocator == nullptr || size == 0) {
        return nullptr;
    }
    return allocator->allocate(size);
}

void RvAllocatorDeallocate(RvAllocatorRef allocator, void *storage) {
    if (allocator != nullptr && storage != nullptr) {
        allocator->deallocate(storage);
    }
}
