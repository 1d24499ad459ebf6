#include "state/DictionarySetters.h"

#include "platform/Owned.h"

using platform::OwnedValue;

namespace {

void setValue(TvMutableDictionaryRef dictionary, const char *key, const OwnedValue &value) {
    OwnedValue name(TvStringCreateWithCString(key, kTvStringEncodingUTF8));
    TvDictionarySetValue(dictionary, name.get(), value.get());
}

} // namespace

void setNumber32(TvMutableDictionaryRef dictionary, const char *key, uint32_t value) {
    setValue(dictionary, key, OwnedValue(TvNumberCreateSInt32(static_cast<int32_t>(value))));
}

void setNumber64(TvMutableDictionaryRef dictionary, const char *key, uint64_t value) {
    setValue(dictionary, key, OwnedValue(TvNumberCreateSInt64(static_cast<int64_t>(value))));
}

void setText(TvMutableDictionaryRef dictionary, const char *key, const char *text) {
    setValue(dictionary, key, OwnedValue(TvStringCreateWithCString(text, kTvStringEncodingASCII)));
}
