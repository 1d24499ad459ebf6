// Stubs of the platform's operations, all of which fail: the memory sanitizer reports false errors for a library that
// is not instrumented.

#include "platform/RvKernel.h"
#include "platform/RvRegistry.h"
#include "platform/TvValues.h"

RvRegistryEntry RvRegistryCopyServiceMatchingClass(const char *) { return 0; }
TvRef RvRegistryEntryCopyProperty(RvRegistryEntry, const char *) { return nullptr; }
void RvRegistryEntryRelease(RvRegistryEntry) {}
void TvRelease(TvRef) {}
TvRef TvDictionaryGetValue(TvDictionaryRef, const char *) { return nullptr; }
bool TvNumberGetSInt64(TvNumberRef, int64_t *) { return false; }
bool RvKernelGetBootTime(int64_t *, int32_t *) { return false; }
TvStringRef TvStringCreateWithBytes(const void *, size_t, TvStringEncoding) { return nullptr; }
const char *TvStringGetCString(TvStringRef) { return nullptr; }
