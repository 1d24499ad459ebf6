// The button's haptic assets snapshot.

#include <cstdio>
#include <cstring>

#include "platform/Owned.h"
#include "plugin/OndreQORHIDStatistics.h"
#include "state/DecimalText.h"
#include "state/DictionarySetters.h"
#include "state/FirmwareBytes.h"

using platform::OwnedMutableValue;

namespace {

constexpr uint32_t kAssetsProperty = 216;
constexpr size_t kAssetsCapacity = 4096;

constexpr const char *kSpeedNames[] = {"Slow", "Medium", "Fast"};

/** The table has an entry more than there are events; its key shows the missing name as "(null)": intended. */
constexpr const char *kEventNames[] = {
    "SingleDown",  "SingleUp",     "DoubleDown",  "DoubleUp",     "TripleDown",  "TripleUp",
    "SingleTapOn", "SingleTapOff", "DoubleTapOn", "DoubleTapOff", "TripleTapOn", "TripleTapOff",
    "DeepDown",    "DeepUp",       "LongPress",   "LongPressUp",  "(null)",
};

/** One asset, packed and little-endian. */
struct AssetEntry {
    uint8_t bytes[29];

    int enable() const { return bytes[0]; }
    double gain() const { return fixedPoint16(loadLittleEndian<int32_t>(bytes + 1)); }
    long long minimum() const { return loadLittleEndian<int64_t>(bytes + 5); }
    long long maximum() const { return loadLittleEndian<int64_t>(bytes + 13); }
    int slot() const { return loadLittleEndian<int32_t>(bytes + 21); }
};

struct AssetTable {
    AssetEntry entries[std::size(kSpeedNames)][std::size(kEventNames)];
};

static_assert(sizeof(AssetTable) == 1479);

void setAsset(const OwnedMutableValue &dictionary, const char *speed, const char *event, const AssetEntry &asset) {
    char key[64];
    std::snprintf(key, sizeof key, "%s-%s", speed, event);
    char value[128];
    std::snprintf(value, sizeof value, "enable=%d slot=%d gain=%s min=%lld max=%lld", asset.enable(), asset.slot(),
                  DecimalText(asset.gain()).get(), asset.minimum(), asset.maximum());
    setText(dictionary.get(), key, value);
}

} // namespace

TvMutableDictionaryRef OndreQORHIDStatistics::copySSHBAssets(const uint8_t *table, uint64_t propertyLength) {
    AssetTable assets;
    if (!ASSERTION_HOLDS_AT(propertyLength >= sizeof(assets), 637)) {
        return nullptr;
    }
    std::memcpy(&assets, table, sizeof assets);

    OwnedMutableValue stateDict(TvDictionaryCreateMutable());
    if (!ASSERTION_HOLDS_AT(stateDict, 641)) {
        return nullptr;
    }
    for (size_t speed = 0; speed < std::size(kSpeedNames); ++speed) {
        for (size_t event = 0; event < std::size(kEventNames); ++event) {
            setAsset(stateDict, kSpeedNames[speed], kEventNames[event], assets.entries[speed][event]);
        }
    }
    return stateDict.detach();
}

RvStateCaptureRecord *OndreQORHIDStatistics::stateHandler_SSHBAssets(const RvStateCaptureHints * /*hints*/,
                                                                     Context *context) {
    uint8_t table[kAssetsCapacity] = {};
    uint64_t length = 0;
    RvStatus result = getProperty(context, kAssetsProperty, table, sizeof table, &length);
    if (result != kRvStatusSuccess) {
        logAssertion("result == 0 ", 707, result);
        return nullptr;
    }
    OwnedMutableValue sshbState(copySSHBAssets(table, length));
    if (!sshbState) {
        logAssertion("sshbState != __null", 710);
        return nullptr;
    }
    return copyStateData(sshbState.get(), "SSHB assets");
}
