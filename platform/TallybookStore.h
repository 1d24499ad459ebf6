/**
 * The analytics store. A key is a typed string, compared by its text. A scalar and a distribution may have the same
 * key; they are separate. The operations return nothing: handling a failure is up to the host. Every operation does
 * nothing if the key is null or not a string.
 *
 * The values of a distribution are doubles, with two exceptions: an operation given not-a-number does nothing, and -0
 * is the same value as 0.
 */
#ifndef PLATFORM_TALLYBOOK_STORE_H
#define PLATFORM_TALLYBOOK_STORE_H

#include <stdint.h>

#include "platform/TvValues.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Removes the scalar. */
void TallybookScalarClear(TvStringRef key);

/** Sets the scalar to `value`. */
void TallybookScalarSet(TvStringRef key, int64_t value);

/** Adds `delta` to the scalar, which counts as 0 if it does not exist. The sum wraps at 64 bits. */
void TallybookScalarAdd(TvStringRef key, int64_t delta);

/** Removes every value of the distribution. */
void TallybookDistributionClear(TvStringRef key);

/** Replaces all values of the distribution with `value`. */
void TallybookDistributionSet(TvStringRef key, double value);

/** Adds one `value` to the distribution. */
void TallybookDistributionPush(TvStringRef key, double value);

#ifdef __cplusplus
}
#endif

#endif
