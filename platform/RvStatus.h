/** Statuses: unsigned 32-bit, 0 meaning success. */
#ifndef PLATFORM_RV_STATUS_H
#define PLATFORM_RV_STATUS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t RvStatus;

enum { kRvStatusSuccess = 0 };

#define kRvStatusError UINT32_C(0xE00002BC)       /* general error */
#define kRvStatusNoMemory UINT32_C(0xE00002BD)    /* no memory for the result */
#define kRvStatusBadArgument UINT32_C(0xE00002C2) /* a null handle, or an argument out of range */
#define kRvStatusNotFound UINT32_C(0xE00002F0)    /* no such method, command, property or plug-in */
#define kRvStatusNotReady UINT32_C(0xE00002D8)    /* the driver interface is not ready */

/**
 * The platform's text for a status, for people.
 * @return borrowed, ASCII, lives as long as the process; null when the platform has no text for `status`.
 * Any thread.
 */
const char *RvStatusGetText(RvStatus status);

#ifdef __cplusplus
}
#endif

#endif
