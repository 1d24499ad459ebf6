#include "decoder/name_tables.h"

#include <algorithm>

namespace decoder {

namespace {

using entry = profile_decoder::entry;

constexpr entry categories[] = {
    {0, "exec"}, {1, "trace"}, {2, "sensor"},  {3, "quoril"}, {4, "vastrel"}, {5, "interrupt"},
    {6, "uart"}, {7, "sshb"},  {8, "control"}, {9, "scm"},    {10, "wake"},
};

constexpr entry types[] = {
    {0, "stop"},          {1, "long-data"},     {2, "short-data"},      {3, "event"},      {4, "trigger"},
    {5, "function"},      {6, "sshb-context1"}, {7, "sshb-context2"},   {8, "sensorinfo"}, {9, "extfunction"},
    {10, "sshb-context"}, {11, "annotation"},   {12, "decimationinfo"},
};

constexpr entry execution_components[] = {
    {0, "scheduler"}, {1, "function"}, {2, "workloop"}, {3, "command"}, {4, "extfunction"}, {5, "timing"},
};

constexpr entry trace_components[] = {
    {0, "remoteq"},
    {1, "endpoint"},
    {2, "systick"},
    {3, "interrupt"},
};

constexpr entry sensor_components[] = {
    {0, "accel"}, {1, "gyro"}, {2, "compass"}, {3, "pressure"}, {4, "norvat"}, {5, "als"}, {6, "temperature"},
};

constexpr entry quoril_components[] = {
    {0, "quoril"},
};

constexpr entry vastrel_components[] = {
    {0, "vastrel"},
};

constexpr entry interrupt_components[] = {
    {0, "gpio"},
};

constexpr entry uart_components[] = {
    {0, "uart0"},
    {1, "uart1"},
    {2, "uart2"},
};

constexpr entry sshb_components[] = {
    {0, "sshb"}, {1, "pellox"}, {2, "amp"}, {3, "latency"}, {4, "kiru"}, {5, "zelaudio"}, {6, "zelvoicetrigger"},
};

constexpr entry scm_components[] = {
    {0, "spi0"}, {1, "smb0"}, {2, "smb1"}, {3, "i2cm0"}, {4, "i2c_ctrl0"}, {5, "i2c_ctrl1"},
};

constexpr entry wake_components[] = {
    {0, "wake"},
};

constexpr entry execution_scheduler_events[] = {
    {0, "context-switch"},
    {1, "prevent-nap"},
    {2, "thread-state"},
};

constexpr entry execution_function_events[] = {
    {0, "function"},
};

constexpr entry execution_workloop_events[] = {
    {0, "action"},
    {1, "signal"},
};

constexpr entry execution_command_events[] = {
    {0, "start"},   {1, "finalize"},    {2, "new-packet"},  {3, "receive"},
    {4, "timeout"}, {5, "live-report"}, {6, "hist-report"}, {7, "user-report"},
};

constexpr entry execution_extfunction_events[] = {
    {0, "extfunction"},
};

constexpr entry sensor_events[] = {
    {0, "latency"},          {1, "rawdata"},     {2, "data"},        {3, "filtdata"},
    {4, "apdata"},           {5, "regwrite"},    {6, "regread"},     {7, "update"},
    {8, "filter-state"},     {9, "sensor-info"}, {10, "annotation"}, {16, "trigger-magnitude"},
    {17, "trigger-latency"},
};

constexpr entry quoril_events[] = {
    {0, "latency"},
    {1, "monitor"},
    {17, "trigger-latency"},
};

constexpr entry vastrel_events[] = {
    {0, "data-in"},
    {1, "data-out"},
};

constexpr entry interrupt_events[] = {
    {0, "latency"},
};

constexpr entry uart_events[] = {
    {0, "preamble"}, {1, "sw-handshake"}, {2, "hw-handshake"}, {3, "trace"},
    {4, "packet"},   {5, "baseband"},     {6, "transport"},    {7, "zel-test"},
};

constexpr entry sshb_checkpoints[] = {
    {0, "ckp_SSHBFingerON"}, {1, "ckp_SSHBFingerOFF"},      {2, "ckp_SSHBButtonDown"}, {3, "ckp_SSHBButtonUp"},
    {4, "ckp_RIVTurnOn"},    {5, "ckp_PelloxStartHaptics"}, {6, "ckp_RIVReady"},       {7, "ckp_PelloxPlayAsset"},
};

constexpr entry sshb_events[] = {
    {0, "trace"},
    {1, "context"},
    {2, "input-packet"},
    {3, "status-event"},
    {16, "trigger-fingeron"},
    {17, "trigger-fingeroff"},
    {18, "trigger-clickon"},
    {19, "trigger-clickoff"},
};

constexpr entry wake_events[] = {
    {0, "wake-req-stats"},
    {1, "wake-req-info"},
    {2, "wake-event-info"},
};

constexpr entry sshb_subtypes[] = {
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

template <std::size_t count>
consteval std::array<short_text, count> quoted_names(const entry (&entries)[count]) {
    std::array<short_text, count> names;
    for (std::size_t index = 0; index < count; ++index) {
        if (index > 0 && entries[index - 1].id >= entries[index].id) {
            throw "ids must ascend strictly: look-ups rely on it for speed, and no id may have two names";
        }
        names[index] = quoted(entries[index].name);
    }
    return names;
}

template <const auto &entries>
constexpr auto kQuoted = quoted_names(entries);

template <std::size_t count>
consteval rows_by_byte rows_of(const entry (&entries)[count]) {
    static_assert(count < 255);
    rows_by_byte rows{};
    for (std::size_t index = 0; index < count && entries[index].id < rows.size(); ++index) {
        rows[entries[index].id] = static_cast<std::uint8_t>(index + 1);
    }
    return rows;
}

template <const auto &entries>
constexpr rows_by_byte kRows = rows_of(entries);

template <const auto &entries>
constexpr name_table table() {
    return {entries, kQuoted<entries>.data(), &kRows<entries>, static_cast<unsigned>(kQuoted<entries>.size())};
}

constexpr name_table kExecutionEvents[] = {
    table<execution_scheduler_events>(), table<execution_function_events>(),    table<execution_workloop_events>(),
    table<execution_command_events>(),   table<execution_extfunction_events>(),
};

constexpr name_table kSSHBEvents[] = {
    table<sshb_events>(),
    table<sshb_events>(),
    table<sshb_events>(),
    table<sshb_checkpoints>(),
};

constexpr name_table kSubtypeTable = table<sshb_subtypes>();
constexpr name_table kCheckpointTable = table<sshb_checkpoints>();
constexpr name_table kEmptyTable;

constexpr category_names same_events(name_table components, name_table events) {
    return {components, nullptr, 0, events};
}

constexpr auto kQuotedNumbers = [] {
    std::array<short_text, 256> numbers;
    for (unsigned value = 0; value < 256; ++value) {
        char digits[] = {static_cast<char>('0' + value / 100), static_cast<char>('0' + value / 10 % 10),
                         static_cast<char>('0' + value % 10)};
        std::size_t count = value >= 100 ? 3 : value >= 10 ? 2 : 1;
        numbers[value] = quoted(std::string_view(digits + 3 - count, count));
    }
    return numbers;
}();

} // namespace

constexpr name_table kCategoryTable = table<categories>();
constexpr name_table kTypeTable = table<types>();

constexpr category_names kExecutionNames = {table<execution_components>(), kExecutionEvents, 5, {}};
constexpr category_names kTraceNames = same_events(table<trace_components>(), {});
constexpr category_names kSensorNames = same_events(table<sensor_components>(), table<sensor_events>());
constexpr category_names kQuorilNames = same_events(table<quoril_components>(), table<quoril_events>());
constexpr category_names kVastrelNames = same_events(table<vastrel_components>(), table<vastrel_events>());
constexpr category_names kInterruptNames = same_events(table<interrupt_components>(), table<interrupt_events>());
constexpr category_names kUartNames = same_events(table<uart_components>(), table<uart_events>());
constexpr category_names kSSHBNames = {table<sshb_components>(), kSSHBEvents, 4, table<sshb_events>()};
constexpr category_names kSCMNames = same_events(table<scm_components>(), {});
constexpr category_names kWakeNames = same_events(table<wake_components>(), table<wake_events>());
constexpr category_names kNoNames = {};

const short_text *name_table::find(std::uint32_t id) const {
    if (id < rows->size()) {
        return find(static_cast<std::uint8_t>(id));
    }
    const entry *end = entries + count;
    const entry *found =
        std::lower_bound(entries, end, id, [](const entry &row, std::uint32_t wanted) { return row.id < wanted; });
    return found != end && found->id == id ? &quoted_names[found - entries] : nullptr;
}

const category_names &names_of_category(std::uint32_t category) {
    static constexpr const category_names *kNames[] = {
        &kExecutionNames, &kTraceNames, &kSensorNames, &kQuorilNames, &kVastrelNames, &kInterruptNames,
        &kUartNames,      &kSSHBNames,  &kNoNames,     &kSCMNames,    &kWakeNames,
    };
    return category < std::size(kNames) ? *kNames[category] : kNoNames;
}

const name_table &sshb_subtype_table(std::uint32_t kind) {
    switch (kind) {
    case 0:
    case 1:
    case 2:
    case 4:
        return kSubtypeTable;
    case 3:
        return kCheckpointTable;
    default:
        return kEmptyTable;
    }
}

const short_text &quoted_number(std::uint8_t id) { return kQuotedNumbers[id]; }

std::string_view category_name(std::uint8_t category) {
    return without_apostrophes(quoted_name(kCategoryTable, category));
}

std::string_view component_name(std::uint8_t category, std::uint8_t component) {
    return without_apostrophes(quoted_name(names_of_category(category).components, component));
}

std::string_view event_name(std::uint8_t category, std::uint8_t component, std::uint8_t event) {
    return without_apostrophes(quoted_name(names_of_category(category).events(component), event));
}

std::string_view type_name(std::uint8_t type) { return without_apostrophes(quoted_name(kTypeTable, type)); }

} // namespace decoder
