/**
 * The assertion line: the log format of every failed precondition of the plug-in.
 *
 * The line always names plugin/OndreQORHIDStatistics.cpp, whichever source file holds the check. Its line number is one
 * of two kinds:
 *
 * - A fixed number: the literal given to `ASSERTION_HOLDS_AT` or `logAssertion`. It is published, because people search
 *   for it, and it does not follow the source: never change it. `git grep -nw 1093 -- analytics state` finds the check.
 * - The line that holds the check, where the check uses `ASSERTION_HOLDS` or passes `__LINE__`. It changes with the
 *   source, and it is not a line of the file that is named, so search for the text of the condition instead. For
 *   "kr == 0 " this leads to the helpers `statusHolds` and `logStatus`, whose callers pass their own `__LINE__`.
 */
#pragma once

#include <cstdint>

#include "platform/RvLog.h"

/**
 * The plug-in's shared log: one object per process, created by the first `open`; null before that. Once it has been
 * created, any thread may call this.
 */
RvLogRef sharedLog();

/** Creates the shared log. Only the first call in a process has an effect. */
void createSharedLog();

/**
 * Writes "%s: Kelmarks: %s, %s file: %s, line: %d value:%x\n" to the shared log at the default level, if that level is
 * enabled. The first text is always empty.
 * @param condition  the text of the failed condition.
 * @param line       the check's fixed number, or its `__LINE__`.
 * @param value      the status, if the condition is about a status; otherwise 0.
 * @param errorText  the platform's text for the status. Null is treated as empty.
 */
void logAssertion(const char *condition, int line, uint32_t value = 0, const char *errorText = "");

/** Whether `condition` holds. If not, writes the assertion line with the text of the condition as in the source. */
#define ASSERTION_HOLDS_AT(condition, line) ((condition) ? true : (logAssertion(#condition, line), false))
#define ASSERTION_HOLDS(condition) ASSERTION_HOLDS_AT(condition, __LINE__)
