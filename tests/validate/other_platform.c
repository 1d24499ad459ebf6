/* Operations that take the place of the platform library's own in another library of that name. */
#include "platform/RvKernel.h"
#include "platform/RvPlugIn.h"

/** Of the library that is beside this one. */
extern int64_t other_boot_time(void);

bool RvKernelGetBootTime(int64_t *seconds, int32_t *microseconds) {
    *seconds = other_boot_time();
    *microseconds = 0;
    return true;
}

/** Breaks its promise. */
void RvPlugInAddInstanceForFactory(RvUUIDRef factory) { (void)factory; }
