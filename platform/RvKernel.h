/** The running kernel. */
#ifndef PLATFORM_RV_KERNEL_H
#define PLATFORM_RV_KERNEL_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Gets the time at which the kernel booted, since the Unix epoch. The result is the same for every call in one
 * process, and for all processes of one boot as long as the wall clock is not set. Any thread, also of a child process
 * forked at any moment.
 * @param seconds       set to the whole seconds.
 * @param microseconds  set to the remainder, 0 to 999,999.
 * @return false on failure, with both outputs unchanged.
 */
bool RvKernelGetBootTime(int64_t *seconds, int32_t *microseconds);

#ifdef __cplusplus
}
#endif

#endif
