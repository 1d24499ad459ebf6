#include "tests/decoder/oracle.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <iomanip>
#include <locale>
#include <map>
#include <sstream>
#include <string_view>

#include <locale.h>

namespace oracle {
namespace {

using Names = std::map<std::uint32_t, const char *>;

// Category ids that the code below treats differently.
constexpr std::uint32_t kExec = 0;
constexpr std::uint32_t kTrace = 1;
constexpr std::uint32_t kSensor = 2;
constexpr std::uint32_t kQuoril = 3;
constexpr std::uint32_t kVastrel = 4;
constexpr std::uint32_t kInterrupt = 5;
constexpr std::uint32_t kUart = 6;
constexpr std::uint32_t kSshb = 7;
constexpr std::uint32_t kScm = 9;
constexpr std::uint32_t kWake = 10;

const Names kCategoryNames = {{0, "exec"},      {1, "trace"}, {2, "sensor"}, {3, "quoril"},  {4, "vastrel"}, //
                              {5, "interrupt"}, {6, "uart"},  {7, "sshb"},   {8, "control"}, {9, "scm"},     //
                              {10, "wake"}};

const Names kTypeNames = {{0, "stop"},           {1, "long-data"},   {2, "short-data"},    {3, "event"},
                          {4, "trigger"},        {5, "function"},    {6, "sshb-context1"}, {7, "sshb-context2"},
                          {8, "sensorinfo"},     {9, "extfunction"}, {10, "sshb-context"}, {11, "annotation"},
                          {12, "decimationinfo"}};

/** Component names by category. */
const std::map<std::uint32_t, Names> kComponentNames = {
    {kExec, {{0, "scheduler"}, {1, "function"}, {2, "workloop"}, {3, "command"}, {4, "extfunction"}, {5, "timing"}}},
    {kTrace, {{0, "remoteq"}, {1, "endpoint"}, {2, "systick"}, {3, "interrupt"}}},
    {kSensor,
     {{0, "accel"}, {1, "gyro"}, {2, "compass"}, {3, "pressure"}, {4, "norvat"}, {5, "als"}, {6, "temperature"}}},
    {kQuoril, {{0, "quoril"}}},
    {kVastrel, {{0, "vastrel"}}},
    {kInterrupt, {{0, "gpio"}}},
    {kUart, {{0, "uart0"}, {1, "uart1"}, {2, "uart2"}}},
    {kSshb,
     {{0, "sshb"}, {1, "pellox"}, {2, "amp"}, {3, "latency"}, {4, "kiru"}, {5, "zelaudio"}, {6, "zelvoicetrigger"}}},
    {kScm, {{0, "spi0"}, {1, "smb0"}, {2, "smb1"}, {3, "i2cm0"}, {4, "i2c_ctrl0"}, {5, "i2c_ctrl1"}}},
    {kWake, {{0, "wake"}}},
};

/** Event names of the categories in which they do not depend on the component. */
const std::map<std::uint32_t, Names> kEventNames = {
    {kSensor,
     {{0, "latency"},
      {1, "rawdata"},
      {2, "data"},
      {3, "filtdata"},
      {4, "apdata"},
      {5, "regwrite"},
      {6, "regread"},
      {7, "update"},
      {8, "filter-state"},
      {9, "sensor-info"},
      {10, "annotation"},
      {16, "trigger-magnitude"},
      {17, "trigger-latency"}}},
    {kQuoril, {{0, "latency"}, {1, "monitor"}, {17, "trigger-latency"}}},
    {kVastrel, {{0, "data-in"}, {1, "data-out"}}},
    {kInterrupt, {{0, "latency"}}},
    {kUart,
     {{0, "preamble"},
      {1, "sw-handshake"},
      {2, "hw-handshake"},
      {3, "trace"},
      {4, "packet"},
      {5, "baseband"},
      {6, "transport"},
      {7, "zel-test"}}},
    {kWake, {{0, "wake-req-stats"}, {1, "wake-req-info"}, {2, "wake-event-info"}}},
};

/** Event names of the exec category, by component. */
const std::map<std::uint32_t, Names> kExecEventNames = {
    {0, {{0, "context-switch"}, {1, "prevent-nap"}, {2, "thread-state"}}},
    {1, {{0, "function"}}},
    {2, {{0, "action"}, {1, "signal"}}},
    {3,
     {{0, "start"},
      {1, "finalize"},
      {2, "new-packet"},
      {3, "receive"},
      {4, "timeout"},
      {5, "live-report"},
      {6, "hist-report"},
      {7, "user-report"}}},
    {4, {{0, "extfunction"}}},
};

const Names kSshbCheckpointNames = {{0, "ckp_SSHBFingerON"}, {1, "ckp_SSHBFingerOFF"},  {2, "ckp_SSHBButtonDown"},
                                    {3, "ckp_SSHBButtonUp"}, {4, "ckp_RIVTurnOn"},      {5, "ckp_PelloxStartHaptics"},
                                    {6, "ckp_RIVReady"},     {7, "ckp_PelloxPlayAsset"}};

const Names kSshbEventNames = {{0, "trace"},
                               {1, "context"},
                               {2, "input-packet"},
                               {3, "status-event"},
                               {16, "trigger-fingeron"},
                               {17, "trigger-fingeroff"},
                               {18, "trigger-clickon"},
                               {19, "trigger-clickoff"}};

const Names kSshbSubtypeNames = {
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

std::string name_in(const Names &names, std::uint32_t id) {
    const auto found = names.find(id);
    return found == names.end() ? std::to_string(id) : found->second;
}

std::string name_in(const std::map<std::uint32_t, Names> &names_by_group, std::uint32_t group, std::uint32_t id) {
    const auto names = names_by_group.find(group);
    return names == names_by_group.end() ? std::to_string(id) : name_in(names->second, id);
}

std::string sshb_event_name(std::uint32_t component, std::uint32_t event) {
    return name_in(component == 3 ? kSshbCheckpointNames : kSshbEventNames, event);
}

std::string event_name(std::uint32_t category, std::uint32_t component, std::uint32_t event) {
    switch (category) {
    case kExec:
        return name_in(kExecEventNames, component, event);
    case kSshb:
        return sshb_event_name(component, event);
    default:
        return name_in(kEventNames, category, event);
    }
}

} // namespace

std::string sshb_trace_name(std::uint32_t kind, std::uint32_t id) {
    switch (kind) {
    case 0:
    case 1:
    case 2:
    case 4:
        return name_in(kSshbSubtypeNames, id);
    case 3:
        return sshb_event_name(3, id);
    default:
        return std::to_string(id);
    }
}

namespace {

/** The fields of one report, read byte by byte. */
class Report {
public:
    explicit Report(const unsigned char *bytes) : _bytes(bytes) {}

    std::uint32_t type() const { return u8(0); }
    std::uint32_t event() const { return u8(1); }
    std::uint32_t component() const { return u8(2); }
    std::uint32_t category() const { return u8(3); }

    std::uint32_t u8(std::size_t offset) const { return _bytes[offset]; }
    std::uint32_t u16(std::size_t offset) const { return u8(offset) + 0x100u * u8(offset + 1); }
    std::uint32_t u32(std::size_t offset) const { return u16(offset) + 0x10000u * u16(offset + 2); }
    std::uint64_t u64(std::size_t offset) const { return u32(offset) + 0x100000000u * std::uint64_t{u32(offset + 4)}; }

    /** The word at `offset` as a two's complement number. */
    double s32(std::size_t offset) const {
        const double value = u32(offset);
        return value < 2147483648.0 ? value : value - 4294967296.0;
    }

    /** The text in `size` bytes, up to the first zero byte. */
    std::string text(std::size_t offset, std::size_t size) const {
        std::string characters;
        for (std::size_t i = offset; i < offset + size && _bytes[i] != 0; ++i) {
            characters += static_cast<char>(_bytes[i]);
        }
        return characters;
    }

    /** `count` bytes as a bracketed list of numbers. */
    std::string dump(std::size_t offset, std::size_t count) const {
        std::ostringstream list;
        list.imbue(std::locale::classic());
        list << '[';
        for (std::size_t i = 0; i < count; ++i) {
            list << (i == 0 ? "" : ",") << u8(offset + i);
        }
        list << ']';
        return list.str();
    }

private:
    const unsigned char *_bytes;
};

std::string key(std::string_view name) { return " '" + std::string(name) + "':"; }

std::string quote(const std::string &value) { return "'" + value + "'"; }

/** A field whose value is right-aligned in `width` characters; a width of 0 pads nothing. */
template <typename Value>
void write_field(std::ostream &line, std::string_view name, int width, const Value &value) {
    line << key(name) << std::setw(width) << value << ",";
}

constexpr int kUnpadded = 0;
constexpr int kPadded = 10;

// ---- payloads of every category --------------------------------------------------------------------------

void write_long_data(std::ostream &line, const Report &report) {
    const std::uint32_t length = report.u16(20);
    write_field(line, "subtype", kPadded, report.u16(16));
    write_field(line, "packet-size", kPadded, report.u16(18));
    write_field(line, "data-length", kPadded, length);
    write_field(line, "data-offset", kPadded, report.u16(22));
    write_field(line, "raw-data", kPadded, report.dump(24, std::min<std::uint32_t>(length, 24)));
}

void write_short_data(std::ostream &line, const Report &report) {
    write_field(line, "subtype", kPadded, report.u16(16));
    write_field(line, "packet-size", kPadded, 30);
    write_field(line, "data-length", kPadded, 30);
    write_field(line, "data-offset", kPadded, 0);
    write_field(line, "raw-data", kPadded, report.dump(18, 30));
}

void write_arguments(std::ostream &line, const Report &report) {
    write_field(line, "arg1", kPadded, report.u32(16));
    write_field(line, "arg2", kPadded, report.u32(20));
    write_field(line, "arg3", kPadded, report.u32(24));
    write_field(line, "arg4", kPadded, report.u32(28));
    write_field(line, "arg5", kPadded, report.u32(32));
    write_field(line, "arg6", kPadded, report.u32(36));
}

void write_event(std::ostream &line, const Report &report) {
    write_arguments(line, report);
    // On purpose the width goes to the opening apostrophe, not to the digits.
    for (std::size_t i = 0; i < 6; ++i) {
        line << key("xarg" + std::to_string(i + 1)) << std::setw(10) << "'" << std::hex << report.u32(16 + 4 * i)
             << std::dec << "',";
    }
}

void write_trigger(std::ostream &line, const Report &report) {
    write_field(line, "trigger", kUnpadded, 1);
    write_field(line, "thread-id", kPadded, report.u32(20));
    write_field(line, "arg", kPadded, report.u32(20)); // one word under two keys, on purpose
}

void write_function(std::ostream &line, const Report &report) {
    write_field(line, "function-id", kPadded, report.u32(16));
    write_field(line, "extra-id", kPadded, report.u32(20));
    write_field(line, "thread-id", kPadded, report.u32(24));
    write_field(line, "duration", kPadded, report.u32(28));
    write_field(line, "depth", kPadded, report.u32(32));
    write_field(line, "thread_duration", kPadded, report.u32(36));
}

void write_sensor_info(std::ostream &line, const Report &report) {
    write_field(line, "name", 16, quote(report.text(35, 12)));
    write_field(line, "report-interval", kPadded, report.u32(16));
    write_field(line, "batch-interval", kPadded, report.u32(20));
    write_field(line, "threshold", kPadded, report.u32(24));
    write_field(line, "time-limit", kPadded, report.u32(28));
    write_field(line, "connected", kPadded, report.u8(32));
    write_field(line, "decimation", kPadded, report.u8(33));
    write_field(line, "gyroPowerMode", kPadded, report.u8(34));
}

void write_ext_function(std::ostream &line, const Report &report) {
    write_field(line, "function", kPadded, quote(report.text(32, 16)));
    write_field(line, "arg", kPadded, report.u32(28));
    write_field(line, "task", kPadded, report.u32(16));
    write_field(line, "thread", kPadded, report.u32(20));
    write_field(line, "duration", kPadded, report.u32(24));
}

void write_annotation(std::ostream &line, const Report &report) {
    write_field(line, "global-id", kPadded, report.u64(16));
    write_field(line, "entry-id", kPadded, report.u64(24));
    write_field(line, "entry", kPadded, quote(report.text(24, 8))); // the bytes of entry-id once more, on purpose
    write_field(line, "arg1", kPadded, report.u32(32));
    write_field(line, "arg2", kPadded, report.u32(36));
}

void write_decimation_info(std::ostream &line, const Report &report) {
    write_field(line, "name", 16, quote(report.text(36, 12)));
    write_field(line, "sample-interval", kPadded, report.u32(24));
    write_field(line, "report-interval", kPadded, report.u32(28));
    write_field(line, "batch-interval", kPadded, report.u32(32));
    write_field(line, "next-dispatch", kPadded, report.u64(16));
}

void write_generic_payload(std::ostream &line, const Report &report) {
    switch (report.type()) {
    case 1:
        return write_long_data(line, report);
    case 2:
        return write_short_data(line, report);
    case 3:
        return write_event(line, report);
    case 4:
        return write_trigger(line, report);
    case 5:
        return write_function(line, report);
    case 8:
        return write_sensor_info(line, report);
    case 9:
        return write_ext_function(line, report);
    case 11:
        return write_annotation(line, report);
    case 12:
        return write_decimation_info(line, report);
    default:
        return;
    }
}

// ---- SSHB payloads ---------------------------------------------------------------------------------------

void write_sshb_trace(std::ostream &line, const Report &report) {
    write_field(line, "trace", 25, quote(sshb_trace_name(report.component(), report.u32(16))));
    write_field(line, "thread", kPadded, report.u32(20));
    write_field(line, "arg1", kPadded, report.u32(24));
    write_field(line, "arg2", kPadded, report.u32(28));
    write_field(line, "arg3", kPadded, report.u32(32));
    write_field(line, "arg4", kPadded, report.u32(36));
}

void write_button_report(std::ostream &line, const Report &report) {
    write_field(line, "reportID", kPadded, report.u8(18));
    write_field(line, "buttonState", kPadded, report.u8(19));
    write_field(line, "fingerDetect", kPadded, report.u8(20));
    write_field(line, "pressCount", kPadded, report.u8(22));
    write_field(line, "longPress", kPadded, report.u8(23));
    write_field(line, "terminalEvent", kPadded, report.u8(24));
    write_field(line, "speed", kPadded, report.u8(25));
    write_field(line, "stage", kPadded, report.u8(26));
    write_field(line, "stageProgress", kPadded, report.u32(27));
    write_field(line, "force", kPadded, report.u32(31));
}

void write_click_status(std::ostream &line, const Report &report) {
    write_field(line, "status-timestamp", kPadded, report.u32(18));
    write_field(line, "fingerState", kPadded, report.u8(26));
    write_field(line, "buttonState", kPadded, report.u8(27));
    write_field(line, "buttonProgress", kPadded, report.u32(28));
    write_field(line, "clickCount", kPadded, report.u8(33));
    write_field(line, "clickCountIsTerminal", kPadded, report.u8(34));
    write_field(line, "clickIsLong", kPadded, report.u8(35));
    write_field(line, "clickSpeed", kPadded, report.u8(36));
}

void write_context_opening(std::ostream &line, const Report &report) {
    write_field(line, "context-version", kUnpadded, report.u16(16));
    write_field(line, "currentContext0", kUnpadded, report.u8(18));
    write_field(line, "currentContext1", kUnpadded, report.u8(19));
    write_field(line, "ampsEnabled", kUnpadded, report.u8(20));
    write_field(line, "enabled", kUnpadded, report.u8(21));
}

void write_context_input(std::ostream &line, const Report &report, std::size_t offset) {
    write_field(line, "fingerDetect", kUnpadded, report.u8(offset));
    write_field(line, "buttonState", kUnpadded, report.u8(offset + 1));
    write_field(line, "pressCount", kUnpadded, report.u8(offset + 2));
    write_field(line, "longPress", kUnpadded, report.u8(offset + 3));
    write_field(line, "terminalEvent", kUnpadded, report.u8(offset + 4));
    write_field(line, "speed", kUnpadded, report.u8(offset + 5));
    write_field(line, "stage", kUnpadded, report.u8(offset + 6));
}

void write_context_3(std::ostream &line, const Report &report) {
    write_context_opening(line, report);
    write_field(line, "mode", kUnpadded, report.u32(22));
    write_field(line, "scan_time", kUnpadded, report.u32(26));
    write_field(line, "active_scan_interval", kUnpadded, report.u32(30));
    write_field(line, "background_scan_interval", kUnpadded, report.u32(34));
    write_context_input(line, report, 38);
}

void write_context_5(std::ostream &line, const Report &report) {
    write_context_opening(line, report);
    write_field(line, "scan_period", kUnpadded, report.u32(22));
    write_field(line, "scan_time", kUnpadded, report.u32(26));
    write_context_input(line, report, 30);
}

void write_context_4(std::ostream &line, const Report &report) {
    write_field(line, "context-version", kUnpadded, report.u16(16));
    write_field(line, "mclk_zel_enabled", kUnpadded, report.u8(18));
    write_field(line, "mclk_ap_enabled", kUnpadded, report.u8(19));
    write_field(line, "pellox_zel_enabled", kUnpadded, report.u8(20));
    write_field(line, "pellox_ap_enabled", kUnpadded, report.u8(21));
    write_field(line, "pelloxBusy", kUnpadded, report.u8(22));
    write_field(line, "enableRIV", kUnpadded, report.u8(23));
    write_field(line, "enableSpkr", kUnpadded, report.u8(24));
    write_field(line, "mclk_on", kUnpadded, report.u8(25));
    write_field(line, "pellox_on", kUnpadded, report.u8(26));
    write_field(line, "pelloxPending", kUnpadded, report.u8(27));
    write_field(line, "ampsEnabling", kUnpadded, report.u8(28));
    write_field(line, "kiru_ready", kUnpadded, report.u8(29));
    write_field(line, "ampsPrewarming", kUnpadded, report.u8(30));
    write_field(line, "ampsDisabling", kUnpadded, report.u8(31));
    write_field(line, "ampsPending", kUnpadded, report.u8(32));
    write_field(line, "clickState", kUnpadded, report.u8(33));
    write_field(line, "clickSpeed", kUnpadded, report.u8(34));
    write_field(line, "test_mode", kUnpadded, report.u8(35));
    write_field(line, "cl_enable", kUnpadded, report.u8(36));
    write_field(line, "cl_zel_enable", kUnpadded, report.u8(37));
    write_field(line, "cl_ap_enable", kUnpadded, report.u8(38));
    write_field(line, "pellox_ready", kUnpadded, report.u8(39));
    write_field(line, "apState0", kUnpadded, report.u8(40));
    write_field(line, "apState1", kUnpadded, report.u8(41));
    write_field(line, "zelState0", kUnpadded, report.u8(42));
    write_field(line, "zelState1", kUnpadded, report.u8(43));
    write_field(line, "state0", kUnpadded, report.u8(44));
    write_field(line, "state1", kUnpadded, report.u8(45));
}

void write_context_7(std::ostream &line, const Report &report) {
    write_field(line, "context-version", kUnpadded, report.u16(16));
    write_field(line, "mclk_zel_enabled", kUnpadded, report.u8(18));
    write_field(line, "mclk_ap_enabled", kUnpadded, report.u8(19));
    write_field(line, "pellox_zel_enabled", kUnpadded, report.u8(20));
    write_field(line, "pellox_ap_enabled", kUnpadded, report.u8(21));
    write_field(line, "pelloxBusy", kUnpadded, report.u8(22));
    write_field(line, "enableRIV", kUnpadded, report.u8(23));
    write_field(line, "enableSpkr", kUnpadded, report.u8(24));
    write_field(line, "mclk_on", kUnpadded, report.u8(25));
    write_field(line, "pellox_on", kUnpadded, report.u8(26));
    write_field(line, "pelloxPending", kUnpadded, report.u8(27));
    write_field(line, "kiru_ready", kUnpadded, report.u8(28));
    write_field(line, "ampsState", kUnpadded, report.u8(29));
    write_field(line, "clickState", kUnpadded, report.u8(30));
    write_field(line, "clickSpeed", kUnpadded, report.u8(31));
    write_field(line, "test_mode", kUnpadded, report.u8(32));
    write_field(line, "cl_enable", kUnpadded, report.u8(33));
    write_field(line, "cl_zel_enable", kUnpadded, report.u8(34));
    write_field(line, "cl_ap_enable", kUnpadded, report.u8(35));
    write_field(line, "pellox_ready", kUnpadded, report.u8(36));
    write_field(line, "apState0", kUnpadded, report.u8(37));
    write_field(line, "apState1", kUnpadded, report.u8(38));
    write_field(line, "zelState0", kUnpadded, report.u8(39));
    write_field(line, "zelState1", kUnpadded, report.u8(40));
    write_field(line, "state0", kUnpadded, report.u8(41));
    write_field(line, "state1", kUnpadded, report.u8(42));
}

void write_sshb_short_data(std::ostream &line, const Report &report) {
    switch (report.event()) {
    case 2:
        write_button_report(line, report);
        break;
    case 3:
        write_click_status(line, report);
        break;
    default:
        write_generic_payload(line, report); // written twice, on purpose
        break;
    }
    write_generic_payload(line, report);
}

void write_sshb_context(std::ostream &line, const Report &report) {
    switch (report.u16(16)) {
    case 3:
        write_context_3(line, report);
        return write_generic_payload(line, report);
    case 4:
        write_context_4(line, report);
        return write_generic_payload(line, report);
    case 5:
        return write_context_5(line, report); // no generic text after versions 5 and 7, on purpose
    case 7:
        return write_context_7(line, report);
    default:
        return write_generic_payload(line, report);
    }
}

void write_sshb_payload(std::ostream &line, const Report &report) {
    switch (report.type()) {
    case 2:
        return write_sshb_short_data(line, report);
    case 3:
        write_sshb_trace(line, report);
        return write_generic_payload(line, report);
    case 10:
        return write_sshb_context(line, report);
    default:
        return write_generic_payload(line, report);
    }
}

// ---- vastrel and wake payloads -----------------------------------------------------------------------------

void write_vastrel_data(std::ostream &line, const Report &report, double scale) {
    write_arguments(line, report);
    write_field(line, "x", kPadded, report.s32(16) * scale);
    write_field(line, "y", kPadded, report.s32(20) * scale);
    write_field(line, "z", kPadded, report.s32(24) * scale);
}

void write_vastrel_payload(std::ostream &line, const Report &report) {
    switch (report.u32(0)) {
    case 0x04000003:
        write_vastrel_data(line, report, 1.0 / 65536.0);
        return write_generic_payload(line, report);
    case 0x04000103:
        return write_vastrel_data(line, report, 1.0 / 4096.0); // no generic text, on purpose
    default:
        return write_generic_payload(line, report);
    }
}

void write_wake_payload(std::ostream &line, const Report &report) {
    switch (report.u32(0)) {
    case 0x0A00010D:
        write_field(line, "wake_reason", kPadded, report.u32(16));
        write_field(line, "endpoint_ref", kPadded, report.u64(20));
        return write_generic_payload(line, report);
    case 0x0A000203:
        write_field(line, "wake_reason", kPadded, report.u32(16));
        return write_field(line, "service_id", kPadded, report.u32(20)); // no generic text, on purpose
    default:
        return write_generic_payload(line, report);
    }
}

void write_payload(std::ostream &line, const Report &report) {
    switch (report.category()) {
    case kVastrel:
        return write_vastrel_payload(line, report);
    case kSshb:
        return write_sshb_payload(line, report);
    case kWake:
        return write_wake_payload(line, report);
    default:
        return write_generic_payload(line, report);
    }
}

/** Created once. The classic locale: month names do not depend on the locale of the process. */
locale_t c_locale() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
}

} // namespace

std::string wall_clock_text(const TimeSync &sync, std::uint64_t timestamp) {
    const std::uint64_t calendar = static_cast<std::uint64_t>(sync.calendar);
    const std::uint64_t qor = static_cast<std::uint64_t>(sync.qor);
    const std::uint64_t wall = (calendar + timestamp * 1000 - qor) / 1000; // wraps, on purpose
    const std::uint64_t seconds = wall / 1000000;
    const std::uint64_t microseconds = wall - seconds * 1000000;

    const time_t time = static_cast<time_t>(seconds);
    tm local{};
    localtime_r(&time, &local);
    char second[30];
    strftime_l(second, sizeof second, "%b %d %T", &local, c_locale());
    char text[64];
    std::snprintf(text, sizeof text, "%s.%06lld", second, static_cast<long long>(microseconds));
    return std::string(text).substr(0, 29);
}

std::string describe(const unsigned char *report, const Clock &clock) {
    const Report fields(report);
    const std::uint32_t category = fields.category();
    const std::uint32_t component = fields.component();
    const std::uint32_t event = fields.event();
    const std::uint32_t type = fields.type();
    const std::uint64_t timestamp = fields.u64(8);
    std::ostringstream line;
    line.imbue(std::locale::classic());

    line << "{ ";
    write_field(line, "category", 8, quote(name_in(kCategoryNames, category)));
    write_field(line, "component", 8, quote(name_in(kComponentNames, category, component)));
    write_field(line, "event", 12, quote(event_name(category, component, event)));
    write_field(line, "type", 12, quote(name_in(kTypeNames, type)));
    write_field(line, "timestamp", kPadded, timestamp);
    write_field(line, "sequence_num", kPadded, fields.u32(4));
    write_payload(line, fields);
    write_field(line, "type-id", kUnpadded, type);
    write_field(line, "category-id", kUnpadded, category);
    write_field(line, "component-id", kUnpadded, component);
    write_field(line, "event-id", kUnpadded, event);
    line << key("binary-data") << fields.dump(0, kReportSize);
    if (clock.time_sync) {
        line << "," << key("calendar-time") << quote(wall_clock_text(*clock.time_sync, timestamp));
    }
    if (clock.boot_time) {
        line << "," << key("boot-timestamp") << *clock.boot_time;
    }
    line << "}";
    return line.str();
}

} // namespace oracle
