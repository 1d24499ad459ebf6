/** Statuses: unsigned 32-bit numbers. 0 is success. */
#ifndef PLATFORM_RV_STATUS_H
#define PLATFORM_RV_STATUS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t RvStatus;

enum { kRvStatusSuccess = 0 };

#define kRvStatusError UINT32_C(0xE00002BC)       /* general error */
#define kRvStatusNoMemory UINT32_C(0xE00002BD)    /* memory is exhausted */
#define kRvStatusBadArgument UINT32_C(0xE00002C2) /* a null handle, or an argument out of range */
#define kRvStatusNotFound UINT32_C(0xE00002F0)    /* no such method, command, property or plug-in */
#define kRvStatusNotReady UINT32_C(0xE00002D8)    /* the driver interface is not ready */

/**
 * The platform's human-readable text for a status. Any thread.
 * @return ASCII, borrowed and valid as long as the process; null if the platform has no text for `status`.
 */
const char *RvStatusGetText(RvStatus status);

#ifdef __cplusplus
}
#endif

#endif
