#include "host/RvAllocator.h"

#include <cstdlib>

#include "host/fault_points.h"

namespace {

struct DefaultAllocator final : RvAllocator {
    void *allocate(std::size_t size) const override { return std::malloc(size); }
    void deallocate(void *storage) const override { std::free(storage); }
};

/** Never destroyed: values are released while the process exits. */
union Immortal {
    constexpr Immortal() : allocator() {}
    ~Immortal() {} // NOLINT(modernize-use-equals-default): the allocator's destructor is not called

    DefaultAllocator allocator;
};

/** Initialised by the compiler: a first use that initialises could be cut in half by a fork. */
constinit const Immortal kDefaultAllocator;

host::FaultPoint allocate_fault("RvAllocatorAllocate");

} // namespace

RvAllocatorRef RvAllocatorGetDefault(void) { return &kDefaultAllocator.allocator; }

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
