/**
 * Typed values: dictionary, array, signed 32- and 64-bit number, string, data, boolean.
 *
 * A value is opaque and reference-counted, with atomic counts. A dictionary or an array may be changed while
 * one thread builds it; from the moment it is shared it is read-only. All other values never change.
 * Everything here may be called from any thread, with or without a running host. Values live in the default
 * allocator's memory.
 */
#ifndef PLATFORM_TV_VALUES_H
#define PLATFORM_TV_VALUES_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Any typed value. The names below say which kind an operation wants or gives; the handle is the same. */
typedef const struct TvValue *TvRef;
typedef TvRef TvStringRef;
typedef TvRef TvNumberRef;
typedef TvRef TvBooleanRef;
typedef TvRef TvDataRef;
typedef TvRef TvArrayRef;
typedef TvRef TvDictionaryRef;

/** A dictionary or an array that is still being built; converts to the read-only handle. */
typedef struct TvValue *TvMutableArrayRef;
typedef struct TvValue *TvMutableDictionaryRef;

/** What kind a value is; 0 is no kind. */
typedef uint32_t TvTypeID;

typedef enum TvStringEncoding {
    kTvStringEncodingASCII = 0, /* bytes 0x01 to 0x7F */
    kTvStringEncodingUTF8 = 1   /* well-formed UTF-8: no overlong forms, no surrogates, at most U+10FFFF */
} TvStringEncoding;

/* ---- every kind ------------------------------------------------------------------------------------- */

/** Adds a reference and gives the same handle back. Null for null. */
TvRef TvRetain(TvRef value);

/** Takes one reference back; the last one frees the value and releases what it holds. */
void TvRelease(TvRef value);

/** The kind of a value, equal to exactly one of the constants below; 0 for null. */
TvTypeID TvGetTypeID(TvRef value);

TvTypeID TvStringGetTypeID(void);
TvTypeID TvNumberGetTypeID(void);
TvTypeID TvBooleanGetTypeID(void);
TvTypeID TvDataGetTypeID(void);
TvTypeID TvArrayGetTypeID(void);
TvTypeID TvDictionaryGetTypeID(void);

/**
 * Equality by kind and content: strings and data byte for byte, numbers by value whatever their width, arrays
 * in order, dictionaries by their entries. False when either is null.
 */
bool TvEqual(TvRef a, TvRef b);

/* ---- strings ---------------------------------------------------------------------------------------- */

/** A string of NUL-terminated text. Null when the text is not valid in `encoding` or there is no memory. */
TvStringRef TvStringCreateWithCString(const char *text, TvStringEncoding encoding);

/**
 * A string of `length` bytes. Null when they are not valid in `encoding`, when one of them is zero, or when
 * there is no memory. Null `bytes` are allowed with a length of 0.
 */
TvStringRef TvStringCreateWithBytes(const void *bytes, size_t length, TvStringEncoding encoding);

/**
 * A string made by `printf` rules in the C locale, as UTF-8. Null when the result is not valid UTF-8, the
 * format fails or there is no memory.
 */
TvStringRef TvStringCreateWithFormat(const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

/** The text, NUL-terminated. Borrowed from the string. Null for null and for any other kind. */
const char *TvStringGetCString(TvStringRef string);

/** The length in bytes, without the terminating zero. 0 for null and for any other kind. */
size_t TvStringGetLength(TvStringRef string);

/* ---- numbers and booleans --------------------------------------------------------------------------- */

/** Null when there is no memory. */
TvNumberRef TvNumberCreateSInt32(int32_t value);
TvNumberRef TvNumberCreateSInt64(int64_t value);

/**
 * The number as a signed 32- or 64-bit integer. False, with `out` untouched, for null, for any other kind and
 * for a number that the width cannot hold.
 */
bool TvNumberGetSInt32(TvNumberRef number, int32_t *out);
bool TvNumberGetSInt64(TvNumberRef number, int64_t *out);

/** The boolean of `value`. Borrowed, never null, lives as long as the process. */
TvBooleanRef TvBooleanGet(bool value);

/** True only for the boolean true; false for null and for any other kind. */
bool TvBooleanGetValue(TvBooleanRef boolean);

/* ---- data ------------------------------------------------------------------------------------------- */

/** A copy of `length` bytes. Null when there is no memory. Null `bytes` are allowed with a length of 0. */
TvDataRef TvDataCreate(const void *bytes, size_t length);

/** Borrowed from the data; not null for data of length 0. Null for null and for any other kind. */
const uint8_t *TvDataGetBytes(TvDataRef data);

/** 0 for null and for any other kind. */
size_t TvDataGetLength(TvDataRef data);

/* ---- arrays ----------------------------------------------------------------------------------------- */

/** An empty array. Null when there is no memory. */
TvMutableArrayRef TvArrayCreateMutable(void);

/** Appends `value` and retains it. False, with the array as it was, for null arguments and without memory. */
bool TvArrayAppend(TvMutableArrayRef array, TvRef value);

/** 0 for null and for any other kind. */
size_t TvArrayGetCount(TvArrayRef array);

/** Borrowed from the array. Null when `index` is out of range, for null and for any other kind. */
TvRef TvArrayGetValue(TvArrayRef array, size_t index);

/* ---- dictionaries ----------------------------------------------------------------------------------- */

/** An empty dictionary; its keys are strings. Null when there is no memory. */
TvMutableDictionaryRef TvDictionaryCreateMutable(void);

/**
 * Puts `value` under `key`, replacing what was there; both are retained. False, with the dictionary as it
 * was, for null arguments, a key that is not a string, and without memory.
 */
bool TvDictionarySetValue(TvMutableDictionaryRef dictionary, TvStringRef key, TvRef value);

/** 0 for null and for any other kind. */
size_t TvDictionaryGetCount(TvDictionaryRef dictionary);

/** The value under a key given as text. Borrowed from the dictionary; null when there is none. */
TvRef TvDictionaryGetValue(TvDictionaryRef dictionary, const char *key);

/* ---- binary encoding -------------------------------------------------------------------------------- */

/**
 * The binary typed-value encoding, format version 1.0: CBOR with the core deterministic encoding rules (RFC
 * 8949, section 4.2.1), definite lengths, behind the self-described tag 55799. Numbers are integers, strings
 * text, data byte strings, dictionaries maps with text keys.
 * @return owned data; null for null, when more than 64 arrays and dictionaries stand inside one another, and
 *         when there is no memory.
 */
TvDataRef TvCreateBinaryEncoding(TvRef value);

#ifdef __cplusplus
}
#endif

#endif
