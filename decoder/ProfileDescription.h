/**
 * The decoder's C entry points, exported by the module: they describe a 48-byte profile report as one line of text.
 * They may be called from any thread, with or without a running host.
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
 * @return the line, without a newline, as an owned string. Null if `report` is null or the string cannot be created,
 *         because a text field is not UTF-8 or memory is exhausted. If memory runs out while the line is built, an
 *         empty string.
 */
__attribute__((visibility("default"))) TvStringRef CopyProfileDescription(const void *report);

/** Writes the description and a newline to standard output. Writes nothing if there is no description. */
__attribute__((visibility("default"))) void qor_profile_print(const void *report);

/** 0 when the module is loaded. Clients may write it; no text depends on it. */
extern __attribute__((visibility("default"))) uint8_t _qor_profile_delta_enabled;

#ifdef __cplusplus
}
#endif

#endif
