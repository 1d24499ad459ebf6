/**
 * Setters of the snapshots: put a value under a key, and leave the key out without a word when the key or the
 * value cannot be made.
 */
#pragma once

#include <cstdint>

#include "platform/TvValues.h"

/** A signed 32-bit number of the same bits. */
void setNumber32(TvMutableDictionaryRef dictionary, const char *key, uint32_t value);

/** A signed 64-bit number of the same bits. */
void setNumber64(TvMutableDictionaryRef dictionary, const char *key, uint64_t value);

/** A string of ASCII text; text with a byte above 127 cannot be made. The key is UTF-8. */
void setText(TvMutableDictionaryRef dictionary, const char *key, const char *text);
