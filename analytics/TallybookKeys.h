/** The analytics keys: the vocabulary that the firmware and the plug-in share by number. */
#pragma once

#include "platform/QorAnalytics.h"

/** The key index of an analytics entry. */
enum TallybookKey : int {
    kQORTbkKey_ButtonClickCount = 0,
    kQORTbkKey_ButtonSingleClickCount,
    kQORTbkKey_ButtonDoubleClickCount,
    kQORTbkKey_ButtonTripleClickCount,
    kQORTbkKey_ButtonLongPressCount,
    kQORTbkKey_ButtonTouchWithClickCount,
    kQORTbkKey_ButtonTouchNoClickCount,
    kQORTbkKey_ButtonClickPico,
    kQORTbkKey_ButtonTouchPico,
    kQORTbkKey_ButtonClickToPicoTime,
    kQORTbkKey_ButtonTouchToPicoTime,
    kQORTbkKey_ButtonClickDuration,
    kQORTbkKey_ButtonTouchDuration,
    kQORTbkKey_ButtonTouchToFirstClickTime,
    kQORTbkKey_ButtonTouchToLastUnclickTime,
    kQORTbkKey_ButtonFirstClickToLastUnclickTime,
    kQORTbkKey_ButtonFirstClickToUntouchTime,
    kQORTbkKey_ButtonLastUnclickToUntouchTime,
    kQORTbkKey_ButtonCriticalErrorCount,
    kQORTbkKey_ButtonTimeoutCount,
    kQORTbkKey_ProxEventExtBlCaptureCount,
    kQORTbkKey_ProxEventSmudgeTimeoutBhCount,
    kQORTbkKey_ProxEventSmudgeTimeoutNonbhCount,
    kQORTbkKey_ProxEventHighAmbCount,
    kQORTbkKey_ProxFirstPocketSignalSampleKcpss,
    kQORTbkKey_ProxBaselineToTriggerTimeDist,
    kQORTbkKey_ProxExtBlCaptureSignalDeltaDist,
    kQORTbkKey_ProxRefRateIncreasePercentDist,
    kQORTbkKey_ProxNumFramesForHighAmbientBaselineCaptureDist,
    kQORTbkKey_ProxNumBiasCorrectedFramesForHighAmbientBaselineCaptureDist,
    kQORTbkKey_ProxNumFramesForHighAmbientBaselineCaptureTargetApprochedDist,
    kQORTbkKey_ProxNumBiasCorrectedFramesForHighAmbientBaselineCaptureTargetApprochedDist,
    kQORTbkKey_ButtonTouchWithClickApOnDuration,
    kQORTbkKey_ButtonTouchWithNoClickApOnDuration,
    kQORTbkKey_ButtonTouchWithClickApOffDuration,
    kQORTbkKey_ButtonTouchWithNoClickApOffDuration,
    kQORTbkKey_ButtonTouchApOnDuration,
    kQORTbkKey_ButtonTouchApOffDuration,
    kQORTbkKey_KiruResetHbCount,
    kQORTbkKey_KiruResetCount,
    kQORTbkKey_KiruIbfdTimeoutCount,
    kQORTbkKey_TovraneResetTimeoutCount,
    kQORTbkKey_ButtonPelloxClTimeoutCount,
    kQORTbkKey_ButtonPelloxClFaultCount,
    kQORTbkKey_ButtonKiruProbeFailureKiruCount,
    kQORTbkKey_ButtonForceSensorProbeFailureCount,
    kQORTbkKey_ButtonRivProbeFailureCount,
    kQORTbkKey_ButtonBtmspkProbeFailureCount,
    kQORTbkKey_DravoDopplerSubscribeCount,
    kQORTbkKey_DravoDopplerUnsubscribeCount,
    kQORTbkKey_AudioRivOnDuration,
    kQORTbkKey_AudioRivOffDuration,
    kQORTbkKey_AudioRivPrewarmDuration,
    kQORTbkKey_AudioBtmspkOnDuration,
    kQORTbkKey_AudioBtmspkOffDuration,
    kQORTbkKey_AudioBtmspkPrewarmDuration,
    kQORTbkKey_TtwTtwByCellDistribution,
    kQORTbkKey_Test,
    kQORTbkKey_Count
};

static_assert(int{kQORTbkKey_Count} == int{kQorAnalyticsKeyCount});

/** The key strings by `TallybookKey`. */
static constexpr const char *const (&kTallybookKeyStrings)[kQORTbkKey_Count] = kQorAnalyticsKeys;
