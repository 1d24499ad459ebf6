/** Memory through a host-supplied allocator. */
#ifndef PLATFORM_RV_ALLOCATOR_H
#define PLATFORM_RV_ALLOCATOR_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/** An allocator. The host that hands one to a factory keeps it alive until every object made with it is gone. */
typedef const struct RvAllocator *RvAllocatorRef;

/** The process's default allocator. Borrowed, never null, lives as long as the process. Any thread. */
RvAllocatorRef RvAllocatorGetDefault(void);

/**
 * Allocates `size` bytes, aligned for any scalar type, with no particular content.
 * @return the storage, given back with `RvAllocatorDeallocate` of the same allocator; null when there is no
 *         memory, when `size` is 0 and for a null allocator.
 */
void *RvAllocatorAllocate(RvAllocatorRef allocator, size_t size);

/** Gives `storage` back to the allocator that it came from. Does nothing for null storage. */
void RvAllocatorDeallocate(RvAllocatorRef allocator, void *storage);

#ifdef __cplusplus
}
#endif

#endif
