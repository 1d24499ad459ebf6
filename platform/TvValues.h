/**
 * Typed values: dictionary, array, signed 32- and 64-bit number, string, data, boolean.
 *
 * A value is opaque and reference-counted; the counts are atomic. A dictionary or an array may be changed while one
 * thread builds it, and is read-only once it is shared. All other values are immutable. All operations may be called
 * from any thread, with or without a running host. Values are allocated from the default allocator.
 */
#ifndef PLATFORM_TV_VALUES_H
#define PLATFORM_TV_VALUES_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Any typed value. The names below document the kind that an operation takes or returns; the type is the same. */
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

/** Identifies the kind of a value. 0 is no kind. */
typedef uint32_t TvTypeID;

typedef enum TvStringEncoding {
    kTvStringEncodingASCII = 0, /* bytes 0x01 to 0x7F */
    kTvStringEncodingUTF8 = 1   /* well-formed UTF-8: no overlong forms, no surrogates, at most U+10FFFF */
} TvStringEncoding;

/* ---- every kind ------------------------------------------------------------------------------------- */

/** Adds a reference and returns the same handle. Null for null. */
TvRef TvRetain(TvRef value);

/** Releases one reference. Releasing the last one frees the value and releases the values that it contains. */
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
 * Compares by kind and content: strings and data byte for byte, numbers by value whatever their width, arrays in
 * order, dictionaries by their entries. False if either is null.
 */
bool TvEqual(TvRef a, TvRef b);

/* ---- strings ---------------------------------------------------------------------------------------- */

/** Creates a string from NUL-terminated text. Null if the text is not valid in `encoding` or memory is exhausted. */
TvStringRef TvStringCreateWithCString(const char *text, TvStringEncoding encoding);

/**
 * Creates a string from `length` bytes. Null if they are not valid in `encoding`, if one of them is zero, or if memory
 * is exhausted. `bytes` may be null if `length` is 0.
 */
TvStringRef TvStringCreateWithBytes(const void *bytes, size_t length, TvStringEncoding encoding);

/**
 * Creates a UTF-8 string by the rules of `printf` in the C locale. Null if the result is not valid UTF-8, if formatting
 * fails, or if memory is exhausted.
 */
TvStringRef TvStringCreateWithFormat(const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

/** The text, NUL-terminated. Borrowed from the string. Null if `string` is null or of another kind. */
const char *TvStringGetCString(TvStringRef string);

/** The length in bytes, without the terminating zero. 0 if `string` is null or of another kind. */
size_t TvStringGetLength(TvStringRef string);

/* ---- numbers and booleans --------------------------------------------------------------------------- */

/** Creates a number. Null if memory is exhausted. */
TvNumberRef TvNumberCreateSInt32(int32_t value);
TvNumberRef TvNumberCreateSInt64(int64_t value);

/**
 * Gets the number as a signed 32- or 64-bit integer.
 * @return false, with `out` unchanged, if `number` is null, of another kind, or does not fit.
 */
bool TvNumberGetSInt32(TvNumberRef number, int32_t *out);
bool TvNumberGetSInt64(TvNumberRef number, int64_t *out);

/** The boolean with this value. Borrowed; never null; valid as long as the process. */
TvBooleanRef TvBooleanGet(bool value);

/** True only for the boolean true. False for null and for any other kind. */
bool TvBooleanGetValue(TvBooleanRef boolean);

/* ---- data ------------------------------------------------------------------------------------------- */

/** Creates data from a copy of `length` bytes. Null if memory is exhausted. `bytes` may be null if `length` is 0. */
TvDataRef TvDataCreate(const void *bytes, size_t length);

/**
 * The bytes. Borrowed from the data; not null even for data of length 0. Null if `data` is null or of another kind.
 */
const uint8_t *TvDataGetBytes(TvDataRef data);

/** The length in bytes. 0 if `data` is null or of another kind. */
size_t TvDataGetLength(TvDataRef data);

/* ---- arrays ----------------------------------------------------------------------------------------- */

/** Creates an empty array. Null if memory is exhausted. */
TvMutableArrayRef TvArrayCreateMutable(void);

/** Appends and retains `value`. False, with the array unchanged, if an argument is null or memory is exhausted. */
bool TvArrayAppend(TvMutableArrayRef array, TvRef value);

/** The number of values. 0 if `array` is null or of another kind. */
size_t TvArrayGetCount(TvArrayRef array);

/** The value at `index`. Borrowed from the array. Null if out of range, or if `array` is null or of another kind. */
TvRef TvArrayGetValue(TvArrayRef array, size_t index);

/* ---- dictionaries ----------------------------------------------------------------------------------- */

/** Creates an empty dictionary. Its keys are strings. Null if memory is exhausted. */
TvMutableDictionaryRef TvDictionaryCreateMutable(void);

/**
 * Sets the value of `key`, replacing any earlier one, and retains both.
 * @return false, with the dictionary unchanged, if an argument is null, if `key` is not a string, or if memory is
 *         exhausted.
 */
bool TvDictionarySetValue(TvMutableDictionaryRef dictionary, TvStringRef key, TvRef value);

/** The number of entries. 0 if `dictionary` is null or of another kind. */
size_t TvDictionaryGetCount(TvDictionaryRef dictionary);

/** The value of a key given as text. Borrowed from the dictionary; null if there is none. */
TvRef TvDictionaryGetValue(TvDictionaryRef dictionary, const char *key);

/* ---- binary encoding -------------------------------------------------------------------------------- */

/**
 * Encodes a value in the binary typed-value encoding, format version 1.0: CBOR by the core deterministic encoding
 * rules (RFC 8949, section 4.2.1), with definite lengths, preceded by the self-described tag 55799. Numbers become
 * integers, strings text, data byte strings, and dictionaries maps with text keys.
 * @return owned data; null for null, if arrays and dictionaries are nested more than 64 deep, or if memory is
 *         exhausted.
 */
TvDataRef TvCreateBinaryEncoding(TvRef value);

#ifdef __cplusplus
}
#endif

#endif
