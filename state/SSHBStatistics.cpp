// The button's latency statistics snapshot.

#include "state/SSHBStatistics.h"

#include <bit>
#include <cstdio>

#include "platform/Owned.h"
#include "plugin/OndreQORHIDStatistics.h"
#include "state/DictionarySetters.h"

// The record's fields are read as they stand.
static_assert(std::endian::native == std::endian::little);

using platform::OwnedMutableValue;
using platform::OwnedValue;

namespace {

constexpr uint32_t kLatencyStatisticsProperty = 215;

void setDictionary(const OwnedMutableValue &dictionary, const char *key, const OwnedMutableValue &value) {
    OwnedValue name(TvStringCreateWithCString(key, kTvStringEncodingASCII));
    TvDictionarySetValue(dictionary.get(), name.get(), value.get());
}

/**
 * One edge of a click. "play asset ts" stands under the same key for both edges, so that the later, the up
 * edge's, is what remains: intended.
 */
void setEdge(const OwnedMutableValue &click, const _SSHBLatencyStatsV2 &stats, int element, const char *latencyKey,
             const char *edgeKey) {
    setNumber64(click.get(), latencyKey, stats.edgesToPlayAsset[element]);
    setNumber64(click.get(), edgeKey, stats.edges[element]);
    setNumber64(click.get(), "play asset ts", stats.playAssets[element]);
}

void setClick(const OwnedMutableValue &press, const _SSHBLatencyStatsV2 &stats, int click) {
    OwnedMutableValue dictionary(TvDictionaryCreateMutable());
    if (!dictionary) {
        return;
    }
    setEdge(dictionary, stats, 2 * click, "button down to play asset", "button down ts");
    setEdge(dictionary, stats, 2 * click + 1, "button up to play asset", "button up ts");

    char key[16];
    std::snprintf(key, sizeof key, "click %u", static_cast<unsigned>(click) + 1);
    setDictionary(press, key, dictionary);
}

void setLastButtonPress(const OwnedMutableValue &state, const _SSHBLatencyStatsV2 &stats) {
    OwnedMutableValue press(TvDictionaryCreateMutable());
    if (!press) {
        return;
    }
    setNumber32(press.get(), "click count", stats.clickWord >> 1);
    setNumber64(press.get(), "finger on ts", stats.fingerOn);
    setNumber64(press.get(), "start haptic ts", stats.hapticStart);
    setNumber64(press.get(), "finger detect to button down", stats.fingerDetectToButtonDown);
    for (int click = 0; click < 3; ++click) {
        setClick(press, stats, click);
    }
    setNumber64(press.get(), "second scan ts", stats.secondScan);
    setNumber32(press.get(), "turtle scans", stats.turtleScans);
    setNumber64(press.get(), "finger off ts", stats.fingerOff);
    setDictionary(state, "last button press", press);
}

void setLatency(const OwnedMutableValue &state, const _SSHBLatencyStatsV2 &stats) {
    OwnedMutableValue latency(TvDictionaryCreateMutable());
    if (!latency) {
        return;
    }
    setNumber64(latency.get(), "min_nz_latency_FD_to_BD", stats.minNonZeroFDToBD);
    setNumber64(latency.get(), "max_latency_FD_to_BD", stats.maxFDToBD);
    setNumber64(latency.get(), "min_nz_latency_BC_to_PlayAsset", stats.minNonZeroBCToPlayAsset);
    setNumber64(latency.get(), "max_latency_BC_to_PlayAsset", stats.maxBCToPlayAsset);
    setNumber64(latency.get(), "min_latency_Total", stats.minTotal);
    setNumber64(latency.get(), "max_latency_Total", stats.maxTotal);
    setDictionary(state, "latency", latency);
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

/** However few bytes the driver returns, all of the record is read: the rest of it is zero. */
RvStateCaptureRecord *OndreQORHIDStatistics::stateHandler_SSHBStats(const RvStateCaptureHints * /*hints*/,
                                                                    Context *context) {
    _SSHBLatencyStatsV2 stats{};
    uint64_t length = 0;
    RvStatus result = getProperty(context, kLatencyStatisticsProperty, &stats, sizeof stats, &length);
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
