// Applies the firmware's analytics entries to the analytics store.

#include <algorithm>
#include <atomic>
#include <cstring>

#include "platform/TallybookStore.h"
#include "plugin/OndreQORHIDStatistics.h"
#include "qor/analytics.h"

namespace analytics = qor::analytics;

namespace {

/** The key for every index outside the table. Created once per process and never released. */
TvStringRef fallbackKey() {
    static std::atomic<TvStringRef> kept{nullptr};
    if (TvStringRef key = kept.load()) {
        return key;
    }
    TvStringRef made = TvStringCreateWithCString("com.ondre.zel.unknown", kTvStringEncodingASCII);
    TvStringRef earlier = nullptr;
    if (!kept.compare_exchange_strong(earlier, made)) {
        TvRelease(made);
        return earlier;
    }
    return made;
}

/** Fixed point with 16 fraction bits. Rounded to a float before the scaling: intended. */
double distributionValue(int32_t value) { return static_cast<double>(static_cast<float>(value) * 0x1p-16F); }

/**
 * A line for the log, truncated to 255 characters. Built by hand because there is one for every entry, and `snprintf`
 * would take longer than all the rest.
 */
class LogLine {
public:
    LogLine &add(const char *text) {
        const size_t length = std::min(std::strlen(text), sizeof _text - 1 - _length);
        std::memcpy(_text + _length, text, length);
        _length += length;
        return *this;
    }

    /** Like "%#x": without a prefix for 0. */
    LogLine &addHex(uint8_t number) {
        constexpr char kDigits[] = "0123456789abcdef";
        char text[5] = {};
        char *end = text;
        if (number != 0) {
            *end++ = '0';
            *end++ = 'x';
        }
        if (number > 0xF) {
            *end++ = kDigits[number >> 4];
        }
        *end = kDigits[number & 0xF];
        return add(text);
    }

    void writeAsError() {
        _text[_length] = '\0';
        RvLogWrite(sharedLog(), kRvLogLevelError, _text);
    }

private:
    char _text[256];
    size_t _length = 0;
};

void logVersionMismatch(const Tbk &entry) {
    if (RvLogIsEnabled(sharedLog(), kRvLogLevelError)) {
        LogLine line;
        line.add("publishTBData qortbkkeys version mismatch (").addHex(entry.version()).add("/");
        line.addHex(analytics::kVersion).add(")").writeAsError();
    }
}

void logOperation(const Tbk &entry, TvStringRef key) {
    if (RvLogIsEnabled(sharedLog(), kRvLogLevelError)) {
        const char *name = TvStringGetCString(key);
        LogLine line;
        line.add("publishTBData op=").addHex(entry.operation()).add(" '").add(name != nullptr ? name : "(null)");
        line.add("' (").addHex(entry.key()).add(")").writeAsError();
    }
}

void perform(const Tbk &entry, TvStringRef key) {
    const int32_t value = entry.value();
    switch (entry.operation()) {
    case analytics::kNone:
        break;
    case analytics::kClearScalar:
        TallybookScalarClear(key);
        break;
    case analytics::kSetScalar:
        TallybookScalarSet(key, value);
        break;
    case analytics::kAddToScalar:
        TallybookScalarAdd(key, value);
        break;
    case analytics::kClearDistribution:
        TallybookDistributionClear(key);
        break;
    case analytics::kSetDistribution:
        TallybookDistributionSet(key, distributionValue(value));
        break;
    default:
        for (int pushes = entry.operation() - analytics::kPush + 1; pushes > 0; --pushes) {
            TallybookDistributionPush(key, distributionValue(value));
        }
        break;
    }
}

} // namespace

TvStringRef OndreQORHIDStatistics::keyForIndex(TallybookKey key) {
    // A negative index is outside the table as well, but writes no assertion line.
    if (!ASSERTION_HOLDS_AT(key < kQORTbkKey_Count, 434) || key < 0) {
        return fallbackKey();
    }
    return _keys[key];
}

void OndreQORHIDStatistics::publishTBData(const Tbk *entries, uint64_t count) {
    for (uint64_t i = 0; i < count; ++i) {
        const Tbk &entry = entries[i];
        if (entry.version() != analytics::kVersion) {
            logVersionMismatch(entry);
            continue;
        }
        TvStringRef key = keyForIndex(static_cast<TallybookKey>(entry.key()));
        logOperation(entry, key);
        perform(entry, key);
    }
}

void OndreQORHIDStatistics::publishTBData(void *target, const void *entries, uint64_t count) {
    static_cast<OndreQORHIDStatistics *>(target)->publishTBData(static_cast<const Tbk *>(entries), count);
}
