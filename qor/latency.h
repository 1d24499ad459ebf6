/**
 * The button's latency statistics: a packed record of 330 bytes with the last press and the bounds of the latencies.
 */
#ifndef QOR_LATENCY_H
#define QOR_LATENCY_H

#include <iterator>

#include "qor/field.h"

/** The record. Times and latencies are in the firmware's ticks. Bytes that no row below describes are not read. */
struct _SSHBLatencyStatsV2 {
    std::uint8_t bytes[330];
};

namespace qor::latency {

/** The driver's property that holds the record. */
inline constexpr std::uint32_t kProperty = 215;
inline constexpr std::size_t kSize = sizeof(_SSHBLatencyStatsV2);

// The names are also the keys of the snapshot of the record.
// clang-format off

inline constexpr Field kFingerOn                 = u64("finger on ts",                     0);
inline constexpr Field kFingerOff                = u64("finger off ts",                    8);
inline constexpr Field kStartHaptic              = u64("start haptic ts",                 16);
inline constexpr Field kFingerDetectToButtonDown = u64("finger detect to button down",    24);
inline constexpr Field kClickWord                = u32("click count",                    233);
inline constexpr Field kSecondScan               = u64("second scan ts",                 266);
inline constexpr Field kTurtleScans              = u32("turtle scans",                   274);
inline constexpr Field kMinFDToBD                = u64("min_nz_latency_FD_to_BD",        282);
inline constexpr Field kMaxFDToBD                = u64("max_latency_FD_to_BD",           290);
inline constexpr Field kMinBCToPlayAsset         = u64("min_nz_latency_BC_to_PlayAsset", 298);
inline constexpr Field kMaxBCToPlayAsset         = u64("max_latency_BC_to_PlayAsset",    306);
inline constexpr Field kMinTotal                 = u64("min_latency_Total",              314);
inline constexpr Field kMaxTotal                 = u64("max_latency_Total",              322);

/** The number of clicks is in the click word above the lowest bit, which is not part of it. */
inline constexpr unsigned kClickCountShift = 1;

/** The keys of the dictionaries in the snapshot: the press, each of its clicks, and the bounds. */
inline constexpr const char *kPressKey = "last button press";
inline constexpr const char *kClickKeys[] = {"click 1", "click 2", "click 3"};
inline constexpr const char *kBoundsKey = "latency";

/** The rows of a click: its down edge, then its up edge. Each click has them, `kClickStride` after the previous one. */
enum ClickField : std::size_t { kDownLatency, kDown, kDownPlayAsset, kUpLatency, kUp, kUpPlayAsset };

/** "play asset ts" is the key for both edges, so the snapshot keeps the up edge's: intended. */
inline constexpr Field kClickFields[] = {
    u64("button down to play asset", 184),
    u64("button down ts",             88),
    u64("play asset ts",             136),
    u64("button up to play asset",   192),
    u64("button up ts",               96),
    u64("play asset ts",             144),
};

// clang-format on

inline constexpr std::size_t kClicks = std::size(kClickKeys);
inline constexpr std::size_t kClickStride = 16; ///< bytes

/** A row of `kClickFields` at its offset for click number `click`, counted from 0. */
constexpr Field of_click(Field field, std::size_t click) {
    field.offset = static_cast<std::uint16_t>(field.offset + click * kClickStride);
    return field;
}

/** The minimum and maximum latency of one kind. */
struct Bounds {
    Field minimum;
    Field maximum;
};

/** The minima of the first two kinds are the smallest values above zero. */
inline constexpr Bounds kBounds[] = {
    {kMinFDToBD, kMaxFDToBD},
    {kMinBCToPlayAsset, kMaxBCToPlayAsset},
    {kMinTotal, kMaxTotal},
};

static_assert(kMaxTotal.offset + kMaxTotal.size == kSize);
static_assert(of_click(kClickFields[kUpLatency], kClicks - 1).offset + 8 < kClickWord.offset);

} // namespace qor::latency

#endif
