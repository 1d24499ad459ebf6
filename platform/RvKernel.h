/** The running kernel. */
#ifndef PLATFORM_RV_KERNEL_H
#define PLATFORM_RV_KERNEL_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * When the kernel booted, since the Unix epoch.
 * @param seconds       set to whole seconds.
 * @param microseconds  set to the rest, 0 to 999,999.
 * @return false on failure, with both outputs untouched. The answer is the same for every call in one process.
 * Any thread.
 */
bool RvKernelGetBootTime(int64_t *seconds, int32_t *microseconds);

#ifdef __cplusplus
}
#endif

#endif
