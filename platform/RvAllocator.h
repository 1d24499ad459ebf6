/** Allocators that the host supplies. */
#ifndef PLATFORM_RV_ALLOCATOR_H
#define PLATFORM_RV_ALLOCATOR_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * An allocator. A host that passes one to a factory keeps it alive until every object allocated from it has been
 * destroyed.
 */
typedef const struct RvAllocator *RvAllocatorRef;

/** The process's default allocator. Borrowed; never null; valid as long as the process. Any thread. */
RvAllocatorRef RvAllocatorGetDefault(void);

/**
 * Allocates `size` bytes, aligned for any scalar type. The content is indeterminate.
 * @return the storage, to be freed with `RvAllocatorDeallocate` and the same allocator; null if memory is exhausted,
 *         if `size` is 0, or if `allocator` is null.
 */
void *RvAllocatorAllocate(RvAllocatorRef allocator, size_t size);

/** Frees `storage`, which was allocated from `allocator`. Does nothing if `storage` is null. */
void RvAllocatorDeallocate(RvAllocatorRef allocator, void *storage);

#ifdef __cplusplus
}
#endif

#endif
