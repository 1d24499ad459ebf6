/** The names of the ids in a report: components and events of each category, and the subjects of SSHB traces. */
#ifndef QOR_NAMES_H
#define QOR_NAMES_H

#include "qor/field.h"

namespace qor {

// Each table maps the ids of components, events or subjects to their names. The rows are in strictly ascending order of
// the ids, because look-ups rely on it, and no id may have two names. Several ids may have the same name.

inline constexpr NamedId kExecutionComponents[] = {
    {0, "scheduler"}, {1, "function"}, {2, "workloop"}, {3, "command"}, {4, "extfunction"}, {5, "timing"},
};

inline constexpr NamedId kTraceComponents[] = {
    {0, "remoteq"},
    {1, "endpoint"},
    {2, "systick"},
    {3, "interrupt"},
};

inline constexpr NamedId kSensorComponents[] = {
    {0, "accel"}, {1, "gyro"}, {2, "compass"}, {3, "pressure"}, {4, "norvat"}, {5, "als"}, {6, "temperature"},
};

inline constexpr NamedId kQuorilComponents[] = {
    {0, "quoril"},
};

inline constexpr NamedId kVastrelComponents[] = {
    {0, "vastrel"},
};

inline constexpr NamedId kInterruptComponents[] = {
    {0, "gpio"},
};

inline constexpr NamedId kUartComponents[] = {
    {0, "uart0"},
    {1, "uart1"},
    {2, "uart2"},
};

inline constexpr NamedId kSSHBComponents[] = {
    {0, "sshb"}, {1, "pellox"}, {2, "amp"}, {3, "latency"}, {4, "kiru"}, {5, "zelaudio"}, {6, "zelvoicetrigger"},
};

inline constexpr NamedId kSCMComponents[] = {
    {0, "spi0"}, {1, "smb0"}, {2, "smb1"}, {3, "i2cm0"}, {4, "i2c_ctrl0"}, {5, "i2c_ctrl1"},
};

inline constexpr NamedId kWakeComponents[] = {
    {0, "wake"},
};

inline constexpr NamedId kSchedulerEvents[] = {
    {0, "context-switch"},
    {1, "prevent-nap"},
    {2, "thread-state"},
};

inline constexpr NamedId kFunctionEvents[] = {
    {0, "function"},
};

inline constexpr NamedId kWorkloopEvents[] = {
    {0, "action"},
    {1, "signal"},
};

inline constexpr NamedId kCommandEvents[] = {
    {0, "start"},   {1, "finalize"},    {2, "new-packet"},  {3, "receive"},
    {4, "timeout"}, {5, "live-report"}, {6, "hist-report"}, {7, "user-report"},
};

inline constexpr NamedId kExtFunctionEvents[] = {
    {0, "extfunction"},
};

inline constexpr NamedId kSensorEvents[] = {
    {0, "latency"},          {1, "rawdata"},     {2, "data"},        {3, "filtdata"},
    {4, "apdata"},           {5, "regwrite"},    {6, "regread"},     {7, "update"},
    {8, "filter-state"},     {9, "sensor-info"}, {10, "annotation"}, {16, "trigger-magnitude"},
    {17, "trigger-latency"},
};

inline constexpr NamedId kQuorilEvents[] = {
    {0, "latency"},
    {1, "monitor"},
    {17, "trigger-latency"},
};

inline constexpr NamedId kVastrelEvents[] = {
    {0, "data-in"},
    {1, "data-out"},
};

inline constexpr NamedId kInterruptEvents[] = {
    {0, "latency"},
};

inline constexpr NamedId kUartEvents[] = {
    {0, "preamble"}, {1, "sw-handshake"}, {2, "hw-handshake"}, {3, "trace"},
    {4, "packet"},   {5, "baseband"},     {6, "transport"},    {7, "zel-test"},
};

inline constexpr NamedId kSSHBCheckpoints[] = {
    {0, "ckp_SSHBFingerON"}, {1, "ckp_SSHBFingerOFF"},      {2, "ckp_SSHBButtonDown"}, {3, "ckp_SSHBButtonUp"},
    {4, "ckp_RIVTurnOn"},    {5, "ckp_PelloxStartHaptics"}, {6, "ckp_RIVReady"},       {7, "ckp_PelloxPlayAsset"},
};

inline constexpr NamedId kSSHBEvents[] = {
    {0, "trace"},
    {1, "context"},
    {2, "input-packet"},
    {3, "status-event"},
    {16, "trigger-fingeron"},
    {17, "trigger-fingeroff"},
    {18, "trigger-clickon"},
    {19, "trigger-clickoff"},
};

inline constexpr NamedId kWakeEvents[] = {
    {0, "wake-req-stats"},
    {1, "wake-req-info"},
    {2, "wake-event-info"},
};

inline constexpr NamedId kSSHBSubjects[] = {
    {0, "Notification"},
    {1, "Command"},
    {2, "SetProperty"},
    {3, "GetProperty"},
    {4, "SendAmpRequest"},
    {5, "AmpWorkerRequestComplete"},
    {6, "AmpRequestComplete"},
    {7, "EnableSshb"},
    {8, "OnVastrelData"},
    {9, "SimulateEvent"},
    {10, "AmpTurnOn"},
    {11, "NotifyPellox"},
    {12, "AmpTurnOff"},
    {13, "EnableMclk"},
    {14, "EnablePellox"},
    {15, "KiruData"},
    {16, "DispatchReport"},
    {17, "HandleFingerDownChanged"},
    {18, "HandleButtonStateChanged"},
    {19, "HandleClickStatus"},
    {20, "ChangeOpMode"},
    {21, "ScanESAction"},
    {22, "TurtleTESAction"},
    {23, "NotifyPelloxRunState"},
    {24, "SimulateButtonPress"},
    {25, "AmpRequestCompleteStep2"},
    {26, "AmpRequestCompleteStep3"},
    {27, "AmpRequestCompleteStep4"},
    {28, "AmpRequestCompleteStep5"},
    {29, "AmpRequestCompleteStep6"},
    {30, "AmpPrewarmComplete"},
    {31, "AmpEnableComplete"},
    {32, "AmpDisableComplete"},
    {33, "StartPellox"},
    {34, "StopPellox"},
    {35, "AssetTimerComplete"},
    {36, "PelloxCLTimeOut"},
    {37, "PelloxCLFault"},
    {38, "SetTestMode"},
    {39, "SimulateFingerdetect"},
    {40, "SimulateClick"},
    {41, "StartPelloxSSHBComplete"},
    {42, "StartPelloxAPComplete"},
    {43, "StopPelloxSSHBComplete"},
    {44, "StopPelloxAPComplete"},
    {45, "ApSpkAmpRequest"},
    {46, "ApSpkAmpRequestProcess"},
    {47, "ApSpkAmpRequestComplete"},
    {48, "ApRIVRequestComplete"},
    {49, "EnableSoveth"},
    {50, "PlayAssetBegin"},
    {51, "PlayAssetComplete"},
    {100, "ResetBegin"},
    {101, "ResetEnd"},
    {102, "ResetComplete"},
    {103, "ResetRequest"},
    {104, "Fingerdetect"},
    {105, "EnableStuckFDTimer"},
    {106, "SystemStatus"},
    {107, "APForceWake"},
    {108, "IBFDTimeout"},
    {200, "SetState"},
    {201, "ConfigureSpeaker"},
    {202, "DisabledToPreWarm"},
    {203, "DisabledToEnabled"},
    {204, "PreWarmToEnabled"},
    {205, "PreWarmToDisabled"},
    {206, "EnabledToPreWarm"},
    {207, "EnabledToDisabled"},
    {208, "DisabledToIVEnabled"},
    {209, "PreWarmToIVEnabled"},
    {210, "EnabledToIVEnabled"},
    {211, "IVEnabledToEnabled"},
    {212, "AmpPowerDown"},
    {213, "AmpClearInterrupts"},
    {214, "SoftReset"},
    {215, "AmpPowerUpPhase1"},
    {216, "AmpPowerUpPhase2"},
    {217, "AmpPowerUpPhase3"},
    {218, "SetVolume"},
    {219, "ConfigureTDMControls"},
    {220, "SetChannelEnable"},
    {221, "WaitForAmpPowerdown"},
    {222, "EnableAmpReset"},
    {223, "EnableGNDSwitches"},
    {224, "AmpPowerUpPhase1"},
    {225, "AmpPowerUpPhase2"},
    {226, "AmpPowerUpPhase3"},
    {227, "DisabledToPreWarm"},
    {228, "DisabledToEnabled"},
    {229, "PreWarmToEnabled"},
    {230, "EnabledToPreWarm"},
    {231, "DisabledToIVEnabled"},
    {232, "PreWarmToIVEnabled"},
    {300, "kPlayAssetRequestBegin"},
    {301, "kPlayAssetRequestReturn"},
    {302, "kClickStateConfig"},
    {303, "kClickStateConfigReturn"},
    {304, "kSetHapticAudioAssertion"},
    {305, "kSetHapticAudioAssertionReturn"},
    {306, "ProcessCommandPlayAsset"},
    {308, "HapticsAmpTurnOn"},
    {309, "AudioAmpTurnOn"},
    {400, "LTWGatedRequest"},
    {401, "AttachHES"},
    {402, "CoverHES"},
    {403, "DopplerTimeout"},
    {404, "CoverStateUpdate"},
    {405, "CoverReport"},
    {406, "AttachReport"},
    {407, "SubscribeDoppler"},
    {408, "DopplerUpdate"},
    {409, "SimulatedEvent"},
};

} // namespace qor

#endif
