/** The system log. It takes finished text: the plug-in formats its own messages. */
#ifndef PLATFORM_RV_LOG_H
#define PLATFORM_RV_LOG_H

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct RvLog *RvLogRef;

typedef enum RvLogLevel { kRvLogLevelDefault = 0, kRvLogLevelError = 1, kRvLogLevelFault = 2 } RvLogLevel;

/**
 * Creates the log object of a subsystem and category, both UTF-8 and copied. Any thread.
 * @return owned, but valid as long as the process: a log object may still be used after `RvLogRelease`. Null if memory
 *         is exhausted.
 */
RvLogRef RvLogCreate(const char *subsystem, const char *category);

/** Whether messages of `level` are written anywhere. False for a null log. Any thread. */
bool RvLogIsEnabled(RvLogRef log, RvLogLevel level);

/**
 * Writes one message unchanged: UTF-8, NUL-terminated, with or without a newline at its end. A sink that writes lines
 * adds a newline only if there is none. Writes nothing if `level` is not enabled. Any thread.
 */
void RvLogWrite(RvLogRef log, RvLogLevel level, const char *text);

/** Releases a log object. It remains usable. */
void RvLogRelease(RvLogRef log);

#ifdef __cplusplus
}
#endif

#endif
