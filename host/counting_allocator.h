/** An allocator for tests of how a plug-in treats memory. */
#pragma once

#include <cstddef>
#include <optional>
#include <set>

#include "host/RvAllocator.h"

namespace host {

/**
 * Counts the blocks it hands out, fails on demand, and frees the blocks that were never returned when it is destroyed.
 * One thread at a time.
 */
class CountingAllocator final : public RvAllocator {
public:
    CountingAllocator() = default;
    ~CountingAllocator() override { free_live_blocks(); }
    CountingAllocator(const CountingAllocator &) = delete;
    CountingAllocator &operator=(const CountingAllocator &) = delete;

    void *allocate(std::size_t size) const override;
    /** A block from another allocator is counted and not freed: its owner is unknown. */
    void deallocate(void *storage) const override;

    /** Fails one allocation. @param allocation  its number in the life of this allocator, counted from 0. */
    void fail_at(std::size_t allocation) { _failing = allocation; }
    /** Fails every allocation from now on. */
    void exhaust() { _is_exhausted = true; }

    /** Whether the block was handed out here and not returned. */
    bool owns(const void *storage) const { return _blocks.count(storage) != 0; }
    /** Blocks handed out and not returned. */
    std::size_t live() const { return _blocks.size(); }
    /** Calls of `allocate`, including those that failed. */
    std::size_t allocations() const { return _allocations; }
    /** Calls of `deallocate` with a block that was not handed out here, or was returned before. */
    std::size_t foreign_blocks() const { return _foreign_blocks; }

    /** Frees the blocks that have not been returned. @return their number. */
    std::size_t free_live_blocks();

private:
    mutable std::set<const void *> _blocks;
    mutable std::size_t _allocations = 0;
    mutable std::size_t _foreign_blocks = 0;
    std::optional<std::size_t> _failing;
    bool _is_exhausted = false;
};

} // namespace host
