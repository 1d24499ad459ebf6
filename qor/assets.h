/** The button's haptic assets: a table of 3 speeds with 17 events each. An asset has 29 bytes. */
#ifndef QOR_ASSETS_H
#define QOR_ASSETS_H

#include <iterator>

#include "qor/field.h"

namespace qor::assets {

/** The driver's property that holds the table. */
inline constexpr std::uint32_t kProperty = 216;

/** The names of the speeds, in the order of the table. */
inline constexpr const char *kSpeeds[] = {"Slow", "Medium", "Fast"};

/**
 * The names of the events, in the order of the table. The firmware has one more entry than there are events. It has no
 * name, and its key in the snapshot shows "(null)" instead. Intended.
 */
inline constexpr const char *kEvents[] = {
    "SingleDown",  "SingleUp",     "DoubleDown",  "DoubleUp",     "TripleDown",  "TripleUp",
    "SingleTapOn", "SingleTapOff", "DoubleTapOn", "DoubleTapOff", "TripleTapOn", "TripleTapOff",
    "DeepDown",    "DeepUp",       "LongPress",   "LongPressUp",  "(null)",
};

inline constexpr std::size_t kSpeedCount = std::size(kSpeeds);
inline constexpr std::size_t kEventCount = std::size(kEvents);

enum FieldIndex : std::size_t { kEnable, kSlot, kGain, kMinimum, kMaximum };

/** The fields of one asset, in the order in which they are shown. "gain" has 16 fraction bits. */
inline constexpr Field kFields[] = {
    u8("enable", 0),            //
    s32("slot", 21),            //
    fixed_point("gain", 1, 16), //
    s64("min", 5),              //
    s64("max", 13),
};
inline constexpr std::size_t kAssetSize = 29;

inline constexpr std::size_t kSpeedSize = kEventCount * kAssetSize;
inline constexpr std::size_t kSize = kSpeedCount * kSpeedSize;

static_assert(kSize == 1479);
static_assert(stay_inside(kFields, kAssetSize));

} // namespace qor::assets

#endif
