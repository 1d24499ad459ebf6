/**
 * The decoder's C entry points: a 48-byte profile report as one line of text. Exported by the module.
 * All of it may be called from any thread, with or without a running host.
 */
#ifndef DECODER_PROFILE_DESCRIPTION_H
#define DECODER_PROFILE_DESCRIPTION_H

#include <stdint.h>

#include "platform/TvValues.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The size of one report in bytes. */
enum { kQorProfileReportSize = 48 };

/**
 * Describes one report.
 * @param report  48 bytes at any address, read only during the call.
 * @return the line, without a newline, as an owned string; null when the string cannot be made (a text field
 *         that is not UTF-8, no memory for the value) and for a null report; an empty string when memory runs
 *         out while the line is built.
 */
__attribute__((visibility("default"))) TvStringRef CopyProfileDescription(const void *report);

/** Writes the description and a newline to standard output; writes nothing when there is no description. */
__attribute__((visibility("default"))) void qor_profile_print(const void *report);

/** Zero at load, and clients may write it; no text depends on it. */
extern __attribute__((visibility("default"))) uint8_t _qor_profile_delta_enabled;

#ifdef __cplusplus
}
#endif

#endif
