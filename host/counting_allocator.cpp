#include "host/counting_allocator.h"

#include <cstdlib>

namespace host {

void *CountingAllocator::allocate(std::size_t size) const {
    const bool fails = _is_exhausted || _failing == _allocations;
    ++_allocations;
    void *storage = fails ? nullptr : std::malloc(size);
    if (storage != nullptr) {
        _blocks.insert(storage);
    }
    return storage;
}

void CountingAllocator::deallocate(void *storage) const {
    if (_blocks.erase(storage) == 0) {
        ++_foreign_blocks;
        return;
    }
    std::free(storage);
}

std::size_t CountingAllocator::free_live_blocks() {
    const std::size_t count = _blocks.size();
    for (const void *block : _blocks) {
        std::free(const_cast<void *>(block));
    }
    _blocks.clear();
    return count;
}

} // namespace host
