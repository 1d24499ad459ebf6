/**
 * The analytics store. A key is a typed string, compared by its text. A scalar and a distribution of the same
 * name are two different things. The operations answer nothing: what the store does with a failure is the
 * host's business. Each does nothing for a null key or a key that is not a string.
 *
 * The values of a distribution are all doubles but two: not-a-number is no value, and an operation given one does
 * nothing; -0 is the same as 0.
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

/** Makes the scalar hold `value`. */
void TallybookScalarSet(TvStringRef key, int64_t value);

/** Adds `delta` to the scalar, which counts as 0 when it is not there; the sum wraps at 64 bits. */
void TallybookScalarAdd(TvStringRef key, int64_t delta);

/** Removes every value of the distribution. */
void TallybookDistributionClear(TvStringRef key);

/** Leaves exactly `value` in the distribution. */
void TallybookDistributionSet(TvStringRef key, double value);

/** Puts one more `value` into the distribution. */
void TallybookDistributionPush(TvStringRef key, double value);

#ifdef __cplusplus
}
#endif

#endif
