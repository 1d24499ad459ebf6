/** The button's latency statistics as the firmware keeps them. */
#pragma once

#include <cstddef>
#include <cstdint>

/**
 * The packed record of 330 bytes that the firmware shares; several fields are unaligned. Times and latencies
 * are in the firmware's ticks. Of the arrays of six, element 2c belongs to the button going down in click c
 * and element 2c + 1 to its going up.
 */
struct [[gnu::packed]] _SSHBLatencyStatsV2 {
    uint64_t fingerOn;                 //   0
    uint64_t fingerOff;                //   8
    uint64_t hapticStart;              //  16
    uint64_t fingerDetectToButtonDown; //  24
    uint8_t notRead32[56];             //  32
    uint64_t edges[6];                 //  88
    uint64_t playAssets[6];            // 136
    uint64_t edgesToPlayAsset[6];      // 184
    uint8_t notRead232;                // 232
    uint32_t clickWord;                // 233: bit 0 is not part of the count
    uint8_t notRead237[29];            // 237
    uint64_t secondScan;               // 266
    uint32_t turtleScans;              // 274
    uint8_t notRead278[4];             // 278
    uint64_t minNonZeroFDToBD;         // 282: finger detect to button down
    uint64_t maxFDToBD;                // 290
    uint64_t minNonZeroBCToPlayAsset;  // 298: button click to play asset
    uint64_t maxBCToPlayAsset;         // 306
    uint64_t minTotal;                 // 314
    uint64_t maxTotal;                 // 322
};

static_assert(sizeof(_SSHBLatencyStatsV2) == 330);
static_assert(offsetof(_SSHBLatencyStatsV2, edges) == 88);
static_assert(offsetof(_SSHBLatencyStatsV2, playAssets) == 136);
static_assert(offsetof(_SSHBLatencyStatsV2, edgesToPlayAsset) == 184);
static_assert(offsetof(_SSHBLatencyStatsV2, clickWord) == 233);
static_assert(offsetof(_SSHBLatencyStatsV2, secondScan) == 266);
static_assert(offsetof(_SSHBLatencyStatsV2, turtleScans) == 274);
static_assert(offsetof(_SSHBLatencyStatsV2, minNonZeroFDToBD) == 282);
static_assert(offsetof(_SSHBLatencyStatsV2, maxTotal) == 322);
