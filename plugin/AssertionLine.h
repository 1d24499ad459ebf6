/** The assertion line: the one log format of every failed precondition of the plug-in. */
#pragma once

#include <cstdint>

#include "platform/RvLog.h"

/**
 * The plug-in's shared log: one object per process, made by the first `open`; null before that. Any thread
 * after it was made.
 */
RvLogRef sharedLog();

/** Makes the shared log, once per process however often it is called. */
void createSharedLog();

/**
 * Writes "%s: Kelmarks: %s, %s file: %s, line: %d value:%x\n" at default level to the shared log, when that
 * level is enabled. The file named is always the plug-in class's source file.
 * @param condition  the text of the failed condition.
 * @param line       where it was checked.
 * @param value      the failing status for conditions on a status, else 0.
 * @param errorText  the platform's text for the status; null counts as empty.
 */
void logAssertion(const char *condition, int line, uint32_t value = 0, const char *errorText = "");

/** Whether `condition` holds; when not, writes the assertion line with the condition as it stands in the code. */
#define ASSERTION_HOLDS_AT(condition, line) ((condition) ? true : (logAssertion(#condition, line), false))
#define ASSERTION_HOLDS(condition) ASSERTION_HOLDS_AT(condition, __LINE__)
