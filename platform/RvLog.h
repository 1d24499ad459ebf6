/** The system log: takes finished text. */
#ifndef PLATFORM_RV_LOG_H
#define PLATFORM_RV_LOG_H

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct RvLog *RvLogRef;

typedef enum RvLogLevel { kRvLogLevelDefault = 0, kRvLogLevelError = 1, kRvLogLevelFault = 2 } RvLogLevel;

/**
 * The log object of a subsystem and category, both UTF-8 and copied.
 * @return owned, though a log object lives as long as the process: `RvLogRelease` is harmless, and a log
 *         object may be used after it. Null when there is no memory. Any thread.
 */
RvLogRef RvLogCreate(const char *subsystem, const char *category);

/** Whether a message of `level` would reach anyone. False for a null log. Any thread. */
bool RvLogIsEnabled(RvLogRef log, RvLogLevel level);

/**
 * Writes one message, taken as it is: UTF-8, NUL-terminated, with or without a newline at its end (a sink
 * that writes lines adds none where there is one). Writes nothing when `level` is not enabled. Any thread.
 */
void RvLogWrite(RvLogRef log, RvLogLevel level, const char *text);

/** Gives a log object back; it stays usable. */
void RvLogRelease(RvLogRef log);

#ifdef __cplusplus
}
#endif

#endif
