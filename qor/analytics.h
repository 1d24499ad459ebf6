/**
 * The firmware's analytics: the layout of an entry of a batch, the operations, and the keys, which firmware and plug-in
 * share by number.
 */
#ifndef QOR_ANALYTICS_H
#define QOR_ANALYTICS_H

#include "qor/field.h"

/**
 * The keys, in the order of their numbers: the name of each, and the ASCII text that identifies it in the analytics
 * store. The irregular spellings (the doubled prefix, "approched", the repeated component word) are intended: the store
 * matches keys by their text, so a corrected spelling would be another key.
 */
// clang-format off
#define QOR_ANALYTICS_KEYS(KEY) \
    KEY(kQORTbkKey_ButtonClickCount, "com.ondre.zel.button.click.count") \
    KEY(kQORTbkKey_ButtonSingleClickCount, "com.ondre.zel.button.single_click.count") \
    KEY(kQORTbkKey_ButtonDoubleClickCount, "com.ondre.zel.button.double_click.count") \
    KEY(kQORTbkKey_ButtonTripleClickCount, "com.ondre.zel.button.triple_click.count") \
    KEY(kQORTbkKey_ButtonLongPressCount, "com.ondre.zel.button.long_press.count") \
    KEY(kQORTbkKey_ButtonTouchWithClickCount, "com.ondre.zel.button.touch_with_click.count") \
    KEY(kQORTbkKey_ButtonTouchNoClickCount, "com.ondre.zel.button.touch_no_click.count") \
    KEY(kQORTbkKey_ButtonClickPico, "com.ondre.zel.button.click.pico") \
    KEY(kQORTbkKey_ButtonTouchPico, "com.ondre.zel.button.touch.pico") \
    KEY(kQORTbkKey_ButtonClickToPicoTime, "com.ondre.zel.button.click_to_pico.time") \
    KEY(kQORTbkKey_ButtonTouchToPicoTime, "com.ondre.zel.button.touch_to_pico.time") \
    KEY(kQORTbkKey_ButtonClickDuration, "com.ondre.zel.button.click.duration") \
    KEY(kQORTbkKey_ButtonTouchDuration, "com.ondre.zel.button.touch.duration") \
    KEY(kQORTbkKey_ButtonTouchToFirstClickTime, "com.ondre.zel.button.touch_to_first_click.time") \
    KEY(kQORTbkKey_ButtonTouchToLastUnclickTime, "com.ondre.zel.button.touch_to_last_unclick.time") \
    KEY(kQORTbkKey_ButtonFirstClickToLastUnclickTime, "com.ondre.zel.button.first_click_to_last_unclick.time") \
    KEY(kQORTbkKey_ButtonFirstClickToUntouchTime, "com.ondre.zel.button.first_click_to_untouch.time") \
    KEY(kQORTbkKey_ButtonLastUnclickToUntouchTime, "com.ondre.zel.button.last_unclick_to_untouch.time") \
    KEY(kQORTbkKey_ButtonCriticalErrorCount, "com.ondre.zel.button.critical_error.count") \
    KEY(kQORTbkKey_ButtonTimeoutCount, "com.ondre.zel.button.timeout.count") \
    KEY(kQORTbkKey_ProxEventExtBlCaptureCount, "com.ondre.zel.prox.event.ext_bl_capture.count") \
    KEY(kQORTbkKey_ProxEventSmudgeTimeoutBhCount, "com.ondre.zel.prox.event.smudge_timeout.bh.count") \
    KEY(kQORTbkKey_ProxEventSmudgeTimeoutNonbhCount, "com.ondre.zel.prox.event.smudge_timeout.nonbh.count") \
    KEY(kQORTbkKey_ProxEventHighAmbCount, "com.ondre.zel.prox.event.high_amb.count") \
    KEY(kQORTbkKey_ProxFirstPocketSignalSampleKcpss, "com.ondre.zel.prox.first_pocket_signal_sample.kcpss") \
    KEY(kQORTbkKey_ProxBaselineToTriggerTimeDist, "com.ondre.com.zel.prox.baseline_to_trigger.time.dist") \
    KEY(kQORTbkKey_ProxExtBlCaptureSignalDeltaDist, "com.ondre.zel.prox.ext_bl_capture.signal_delta.dist") \
    KEY(kQORTbkKey_ProxRefRateIncreasePercentDist, "com.ondre.zel.prox.ref_rate_increase.percent.dist") \
    KEY(kQORTbkKey_ProxNumFramesForHighAmbientBaselineCaptureDist, \
        "com.ondre.zel.prox.num_frames_for_high_ambient_baseline_capture.dist") \
    KEY(kQORTbkKey_ProxNumBiasCorrectedFramesForHighAmbientBaselineCaptureDist, \
        "com.ondre.zel.prox.num_bias_corrected_frames_for_high_ambient_baseline_capture.dist") \
    KEY(kQORTbkKey_ProxNumFramesForHighAmbientBaselineCaptureTargetApprochedDist, \
        "com.ondre.zel.prox.num_frames_for_high_ambient_baseline_capture_target_approched.dist") \
    KEY(kQORTbkKey_ProxNumBiasCorrectedFramesForHighAmbientBaselineCaptureTargetApprochedDist, \
        "com.ondre.zel.prox.num_bias_corrected_frames_for_high_ambient_baseline_capture_target_approched.dist") \
    KEY(kQORTbkKey_ButtonTouchWithClickApOnDuration, "com.ondre.zel.button.touch_with_click.ap_on.duration") \
    KEY(kQORTbkKey_ButtonTouchWithNoClickApOnDuration, "com.ondre.zel.button.touch_with_no_click.ap_on.duration") \
    KEY(kQORTbkKey_ButtonTouchWithClickApOffDuration, "com.ondre.zel.button.touch_with_click.ap_off.duration") \
    KEY(kQORTbkKey_ButtonTouchWithNoClickApOffDuration, "com.ondre.zel.button.touch_with_no_click.ap_off.duration") \
    KEY(kQORTbkKey_ButtonTouchApOnDuration, "com.ondre.zel.button.touch.ap_on.duration") \
    KEY(kQORTbkKey_ButtonTouchApOffDuration, "com.ondre.zel.button.touch.ap_off.duration") \
    KEY(kQORTbkKey_KiruResetHbCount, "com.ondre.zel.kiru.reset_hb_count") \
    KEY(kQORTbkKey_KiruResetCount, "com.ondre.zel.kiru.reset_count") \
    KEY(kQORTbkKey_KiruIbfdTimeoutCount, "com.ondre.zel.kiru.ibfd_timeout_count") \
    KEY(kQORTbkKey_TovraneResetTimeoutCount, "com.ondre.zel.tovrane.reset_timeout_count") \
    KEY(kQORTbkKey_ButtonPelloxClTimeoutCount, "com.ondre.zel.button.pellox.cl_timeout.count") \
    KEY(kQORTbkKey_ButtonPelloxClFaultCount, "com.ondre.zel.button.pellox.cl_fault.count") \
    KEY(kQORTbkKey_ButtonKiruProbeFailureKiruCount, "com.ondre.zel.button.kiru_probe_failure_kiru_count") \
    KEY(kQORTbkKey_ButtonForceSensorProbeFailureCount, "com.ondre.zel.button.force_sensor_probe_failure_count") \
    KEY(kQORTbkKey_ButtonRivProbeFailureCount, "com.ondre.zel.button.riv_probe_failure_count") \
    KEY(kQORTbkKey_ButtonBtmspkProbeFailureCount, "com.ondre.zel.button.btmspk_probe_failure_count") \
    KEY(kQORTbkKey_DravoDopplerSubscribeCount, "com.ondre.zel.dravo.doppler.subscribe_count") \
    KEY(kQORTbkKey_DravoDopplerUnsubscribeCount, "com.ondre.zel.dravo.doppler.unsubscribe_count") \
    KEY(kQORTbkKey_AudioRivOnDuration, "com.ondre.zel.audio.riv.on.duration") \
    KEY(kQORTbkKey_AudioRivOffDuration, "com.ondre.zel.audio.riv.off.duration") \
    KEY(kQORTbkKey_AudioRivPrewarmDuration, "com.ondre.zel.audio.riv.prewarm.duration") \
    KEY(kQORTbkKey_AudioBtmspkOnDuration, "com.ondre.zel.audio.btmspk.on.duration") \
    KEY(kQORTbkKey_AudioBtmspkOffDuration, "com.ondre.zel.audio.btmspk.off.duration") \
    KEY(kQORTbkKey_AudioBtmspkPrewarmDuration, "com.ondre.zel.audio.btmspk.prewarm.duration") \
    KEY(kQORTbkKey_TtwTtwByCellDistribution, "com.ondre.zel.ttw.ttw_by_cell_distribution") \
    KEY(kQORTbkKey_Test, "com.ondre.zel.test")
// clang-format on

/** The key number of an analytics entry: an index into the table of keys. */
enum TallybookKey : int {
#define QOR_NAME_OF(name, text) name,
    QOR_ANALYTICS_KEYS(QOR_NAME_OF)
#undef QOR_NAME_OF
        kQORTbkKey_Count
};

/** One entry of 7 bytes. A batch consists of entries without gaps, so an entry may have any address. */
struct Tbk {
    std::uint8_t bytes[7];

    constexpr std::uint8_t version() const;
    constexpr std::uint8_t operation() const;
    constexpr std::uint8_t key() const;
    constexpr std::int32_t value() const;
};

static_assert(sizeof(Tbk) == 7 && alignof(Tbk) == 1);

namespace qor::analytics {

inline constexpr std::size_t kEntrySize = sizeof(Tbk);
inline constexpr int kKeyCount = kQORTbkKey_Count;

/** The version of the table is its number of keys. An entry of another version was made for another table. */
inline constexpr std::uint8_t kVersion = kKeyCount;

/** The texts of the keys, by number. */
inline constexpr const char *kKeys[kKeyCount] = {
#define QOR_TEXT_OF(name, text) text,
    QOR_ANALYTICS_KEYS(QOR_TEXT_OF)
#undef QOR_TEXT_OF
};

inline constexpr Field kEntryVersion = u8("version", 0);
inline constexpr Field kEntryOperation = u8("operation", 1);
inline constexpr Field kEntryKey = u8("key", 2);
/** An integer for scalars; for distributions a fixed-point number with 16 fraction bits. */
inline constexpr Field kEntryValue = s32("value", 3);

/** The operation codes, which the firmware defines. */
enum Operation : std::uint8_t {
    kNone = 0,
    kClearScalar = 1,
    kSetScalar = 2,
    kAddToScalar = 3,
    kClearDistribution = 4,
    kSetDistribution = 5,
    kPush = 6 ///< pushes the value once; code `kPush` + n pushes it n + 1 times
};

/** The names of the operations in device descriptions. */
inline constexpr NamedId kOperations[] = {
    {kNone, "none"},
    {kClearScalar, "clear_scalar"},
    {kSetScalar, "set_scalar"},
    {kAddToScalar, "add_to_scalar"},
    {kClearDistribution, "clear_distribution"},
    {kSetDistribution, "set_distribution"},
    {kPush, "push"},
};

/** Creates an entry. */
constexpr Tbk make_entry(std::uint8_t version, std::uint8_t operation, std::uint8_t key, std::int32_t value) {
    Tbk entry{};
    entry.bytes[kEntryVersion.offset] = version;
    entry.bytes[kEntryOperation.offset] = operation;
    entry.bytes[kEntryKey.offset] = key;
    store_little_endian(entry.bytes + kEntryValue.offset, static_cast<std::uint32_t>(value), kEntryValue.size);
    return entry;
}

static_assert(kKeyCount == 58 && kVersion == 0x3A);
static_assert(kEntryValue.offset + kEntryValue.size == kEntrySize);

} // namespace qor::analytics

constexpr std::uint8_t Tbk::version() const { return bytes[qor::analytics::kEntryVersion.offset]; }
constexpr std::uint8_t Tbk::operation() const { return bytes[qor::analytics::kEntryOperation.offset]; }
constexpr std::uint8_t Tbk::key() const { return bytes[qor::analytics::kEntryKey.offset]; }
constexpr std::int32_t Tbk::value() const {
    return qor::load_little_endian<std::int32_t>(bytes + qor::analytics::kEntryValue.offset);
}

#endif
