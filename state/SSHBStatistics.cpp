// The snapshot of the button's latency statistics.

#include "platform/Owned.h"
#include "plugin/OndreQORHIDStatistics.h"
#include "qor/latency.h"
#include "state/DictionarySetters.h"

namespace latency = qor::latency;

using platform::OwnedMutableValue;
using platform::OwnedValue;

namespace {

void setDictionary(const OwnedMutableValue &dictionary, const char *key, const OwnedMutableValue &value) {
    OwnedValue name(TvStringCreateWithCString(key, kTvStringEncodingASCII));
    TvDictionarySetValue(dictionary.get(), name.get(), value.get());
}

/** Sets a 64-bit field with its name as the key. */
void setField(const OwnedMutableValue &dictionary, const _SSHBLatencyStatsV2 &stats, const qor::Field &field) {
    setNumber64(dictionary.get(), field.key(), qor::load_number(stats.bytes, field));
}

/**
 * Sets the fields of both edges of a click. "play asset ts" is the key for both edges, so the value of the up edge,
 * which is set later, replaces that of the down edge. Intended.
 */
void setClick(const OwnedMutableValue &press, const _SSHBLatencyStatsV2 &stats, size_t click) {
    OwnedMutableValue dictionary(TvDictionaryCreateMutable());
    if (!dictionary) {
        return;
    }
    for (const qor::Field &field : latency::kClickFields) {
        setField(dictionary, stats, latency::of_click(field, click));
    }
    setDictionary(press, latency::kClickKeys[click], dictionary);
}

uint32_t word(const _SSHBLatencyStatsV2 &stats, const qor::Field &field) {
    return static_cast<uint32_t>(qor::load_number(stats.bytes, field));
}

void setLastButtonPress(const OwnedMutableValue &state, const _SSHBLatencyStatsV2 &stats) {
    OwnedMutableValue press(TvDictionaryCreateMutable());
    if (!press) {
        return;
    }
    setNumber32(press.get(), latency::kClickWord.key(), word(stats, latency::kClickWord) >> latency::kClickCountShift);
    setField(press, stats, latency::kFingerOn);
    setField(press, stats, latency::kStartHaptic);
    setField(press, stats, latency::kFingerDetectToButtonDown);
    for (size_t click = 0; click < latency::kClicks; ++click) {
        setClick(press, stats, click);
    }
    setField(press, stats, latency::kSecondScan);
    setNumber32(press.get(), latency::kTurtleScans.key(), word(stats, latency::kTurtleScans));
    setField(press, stats, latency::kFingerOff);
    setDictionary(state, latency::kPressKey, press);
}

void setLatency(const OwnedMutableValue &state, const _SSHBLatencyStatsV2 &stats) {
    OwnedMutableValue bounds(TvDictionaryCreateMutable());
    if (!bounds) {
        return;
    }
    for (const latency::Bounds &kind : latency::kBounds) {
        setField(bounds, stats, kind.minimum);
        setField(bounds, stats, kind.maximum);
    }
    setDictionary(state, latency::kBoundsKey, bounds);
}

} // namespace

TvMutableDictionaryRef OndreQORHIDStatistics::copySSHBStatistics(const _SSHBLatencyStatsV2 &stats) {
    OwnedMutableValue state(TvDictionaryCreateMutable());
    if (!ASSERTION_HOLDS_AT(state, 532)) {
        return nullptr;
    }
    setLastButtonPress(state, stats);
    setLatency(state, stats);
    return state.detach();
}

/** Reads the whole record even if the driver returns fewer bytes; the rest is zero. */
RvStateCaptureRecord *OndreQORHIDStatistics::stateHandler_SSHBStats(const RvStateCaptureHints * /*hints*/,
                                                                    Context *context) {
    _SSHBLatencyStatsV2 stats{};
    uint64_t length = 0;
    RvStatus result = getProperty(context, latency::kProperty, &stats, sizeof stats, &length);
    if (result != kRvStatusSuccess) {
        logAssertion("result == 0 ", 613, result);
        return nullptr;
    }
    OwnedMutableValue sshbState(copySSHBStatistics(stats));
    if (!sshbState) {
        logAssertion("sshbState != __null", 616);
        return nullptr;
    }
    return copyStateData(sshbState.get(), "SSHB Statistics");
}
