// The snapshot of the button's haptic assets.

#include <cstdio>
#include <cstring>

#include "platform/Owned.h"
#include "plugin/OndreQORHIDStatistics.h"
#include "qor/assets.h"
#include "state/DecimalText.h"
#include "state/DictionarySetters.h"

namespace assets = qor::assets;

using platform::OwnedMutableValue;

namespace {

constexpr size_t kAssetsCapacity = 4096;

/** Writes "NAME=VALUE" and returns its length. */
int formatField(char *text, size_t room, const uint8_t *asset, const qor::Field &field) {
    if (field.how == qor::How::FixedPoint) {
        const DecimalText value(qor::load_fixed_point(asset, field));
        return std::snprintf(text, room, "%s=%s", field.key(), value.get());
    }
    const long long value = field.how == qor::How::Signed ? qor::load_signed(asset, field)
                                                          : static_cast<long long>(qor::load_number(asset, field));
    return std::snprintf(text, room, "%s=%lld", field.key(), value);
}

void setAsset(const OwnedMutableValue &dictionary, const char *speed, const char *event, const uint8_t *asset) {
    char key[64];
    std::snprintf(key, sizeof key, "%s-%s", speed, event);
    // Five names with the longest numbers take 96 characters.
    char text[128];
    char *end = text;
    for (const qor::Field &field : assets::kFields) {
        if (end != text) {
            *end++ = ' ';
        }
        end += formatField(end, static_cast<size_t>(text + sizeof text - end), asset, field);
    }
    setText(dictionary.get(), key, text);
}

} // namespace

TvMutableDictionaryRef OndreQORHIDStatistics::copySSHBAssets(const uint8_t *table, uint64_t propertyLength) {
    uint8_t assets[assets::kSize];
    if (!ASSERTION_HOLDS_AT(propertyLength >= sizeof(assets), 637)) {
        return nullptr;
    }
    std::memcpy(assets, table, sizeof assets);

    OwnedMutableValue stateDict(TvDictionaryCreateMutable());
    if (!ASSERTION_HOLDS_AT(stateDict, 641)) {
        return nullptr;
    }
    const uint8_t *asset = assets;
    for (const char *speed : assets::kSpeeds) {
        for (const char *event : assets::kEvents) {
            setAsset(stateDict, speed, event, asset);
            asset += assets::kAssetSize;
        }
    }
    return stateDict.detach();
}

RvStateCaptureRecord *OndreQORHIDStatistics::stateHandler_SSHBAssets(const RvStateCaptureHints * /*hints*/,
                                                                     Context *context) {
    uint8_t table[kAssetsCapacity] = {};
    uint64_t length = 0;
    RvStatus result = getProperty(context, assets::kProperty, table, sizeof table, &length);
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
