/**
 * Setters for the snapshots' dictionaries. If the key or the value cannot be created, they leave the key out and report
 * nothing.
 */
#pragma once

#include <cstdint>

#include "platform/TvValues.h"

/** Sets a signed 32-bit number with the bits of `value`. */
void setNumber32(TvMutableDictionaryRef dictionary, const char *key, uint32_t value);

/** Sets a signed 64-bit number with the bits of `value`. */
void setNumber64(TvMutableDictionaryRef dictionary, const char *key, uint64_t value);

/** Sets an ASCII string. Text with a byte above 127 is not ASCII, so its key is left out. The key itself is UTF-8. */
void setText(TvMutableDictionaryRef dictionary, const char *key, const char *text);
