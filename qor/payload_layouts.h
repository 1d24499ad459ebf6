/**
 * The layouts of a report's payload (32 bytes from offset 16), one for each kind of payload. `qor/categories.h` assigns
 * them to reports. Times and intervals are shown as stored, without conversion.
 */
#ifndef QOR_PAYLOAD_LAYOUTS_H
#define QOR_PAYLOAD_LAYOUTS_H

#include "qor/field.h"
#include "qor/report.h"

namespace qor {

/** A payload's fields, in the order in which they are shown. Offsets are from the start of the report. */
struct Layout {
    std::string_view name; ///< unique
    std::span<const Field> fields;
    std::uint8_t width; ///< fields are right-aligned in this many characters; 0 for no alignment

    /** The width of one of the layout's fields. */
    constexpr std::uint8_t width_of(const Field &field) const {
        return field.width == kWidthOfLayout ? width : field.width;
    }
};

/** Of a payload that is not shown. */
inline constexpr Layout kNoLayout = {"", {}, 0};

// One row for each field, so that the tables are easily checked against the firmware's description.
// clang-format off

/** "data-length" gives the number of bytes in "raw-data", limited to the 24 that the report holds. */
inline constexpr Field kLongDataFields[] = {
    u16("subtype", 16),
    u16("packet-size", 18),
    u16("data-length", 20),
    u16("data-offset", 22),
    counted_bytes("raw-data", 24, 24, 20),
};
inline constexpr Layout kLongData = {"long-data", kLongDataFields, 10};

/** The keys of long data. The sizes and the offset are constants, not stored in the report. */
inline constexpr Field kShortDataFields[] = {
    u16("subtype", 16),
    constant("packet-size", 30),
    constant("data-length", 30),
    constant("data-offset", 0),
    bytes("raw-data", 18, 30),
};
inline constexpr Layout kShortData = {"short-data", kShortDataFields, 10};

/** Each argument is shown in decimal and again in hexadecimal. */
inline constexpr Field kEventFields[] = {
    u32("arg1", 16),
    u32("arg2", 20),
    u32("arg3", 24),
    u32("arg4", 28),
    u32("arg5", 32),
    u32("arg6", 36),
    hex("xarg1", 16),
    hex("xarg2", 20),
    hex("xarg3", 24),
    hex("xarg4", 28),
    hex("xarg5", 32),
    hex("xarg6", 36),
};
inline constexpr Layout kEvent = {"event", kEventFields, 10};

/** "thread-id" and "arg" show the same word. Intended. */
inline constexpr Field kTriggerFields[] = {
    wide(constant("trigger", 1), 0),
    u32("thread-id", 20),
    u32("arg", 20),
};
inline constexpr Layout kTrigger = {"trigger", kTriggerFields, 10};

inline constexpr Field kFunctionFields[] = {
    u32("function-id", 16),
    u32("extra-id", 20),
    u32("thread-id", 24),
    u32("duration", 28),
    u32("depth", 32),
    u32("thread_duration", 36),
};
inline constexpr Layout kFunction = {"function", kFunctionFields, 10};

inline constexpr Field kSensorInfoFields[] = {
    wide(text("name", 35, 12), 16),
    u32("report-interval", 16),
    u32("batch-interval", 20),
    u32("threshold", 24),
    u32("time-limit", 28),
    u8("connected", 32),
    u8("decimation", 33),
    u8("gyroPowerMode", 34),
};
inline constexpr Layout kSensorInfo = {"sensorinfo", kSensorInfoFields, 10};

inline constexpr Field kExtFunctionFields[] = {
    text("function", 32, 16),
    u32("arg", 28),
    u32("task", 16),
    u32("thread", 20),
    u32("duration", 24),
};
inline constexpr Layout kExtFunction = {"extfunction", kExtFunctionFields, 10};

/** "entry" shows the bytes of "entry-id" as a short text. Intended. */
inline constexpr Field kAnnotationFields[] = {
    u64("global-id", 16),
    u64("entry-id", 24),
    text("entry", 24, 8),
    u32("arg1", 32),
    u32("arg2", 36),
};
inline constexpr Layout kAnnotation = {"annotation", kAnnotationFields, 10};

inline constexpr Field kDecimationInfoFields[] = {
    wide(text("name", 36, 12), 16),
    u32("sample-interval", 24),
    u32("report-interval", 28),
    u32("batch-interval", 32),
    u64("next-dispatch", 16),
};
inline constexpr Layout kDecimationInfo = {"decimationinfo", kDecimationInfoFields, 10};

inline constexpr Field kSSHBTraceFields[] = {
    wide(subject("trace", 16), 25),
    u32("thread", 20),
    u32("arg1", 24),
    u32("arg2", 28),
    u32("arg3", 32),
    u32("arg4", 36),
};
inline constexpr Layout kSSHBTrace = {"sshb-trace", kSSHBTraceFields, 10};

/** Byte 21 is not shown. Intended. */
inline constexpr Field kSSHBButtonFields[] = {
    u8("reportID", 18),
    u8("buttonState", 19),
    u8("fingerDetect", 20),
    u8("pressCount", 22),
    u8("longPress", 23),
    u8("terminalEvent", 24),
    u8("speed", 25),
    u8("stage", 26),
    u32("stageProgress", 27),
    u32("force", 31),
};
inline constexpr Layout kSSHBButton = {"sshb-button", kSSHBButtonFields, 10};

inline constexpr Field kSSHBClickStatusFields[] = {
    u32("status-timestamp", 18),
    u8("fingerState", 26),
    u8("buttonState", 27),
    u32("buttonProgress", 28),
    u8("clickCount", 33),
    u8("clickCountIsTerminal", 34),
    u8("clickIsLong", 35),
    u8("clickSpeed", 36),
};
inline constexpr Layout kSSHBClickStatus = {"sshb-click-status", kSSHBClickStatusFields, 10};

inline constexpr Field kSSHBContext3Fields[] = {
    u16("context-version", 16),
    u8("currentContext0", 18),
    u8("currentContext1", 19),
    u8("ampsEnabled", 20),
    u8("enabled", 21),
    u32("mode", 22),
    u32("scan_time", 26),
    u32("active_scan_interval", 30),
    u32("background_scan_interval", 34),
    u8("fingerDetect", 38),
    u8("buttonState", 39),
    u8("pressCount", 40),
    u8("longPress", 41),
    u8("terminalEvent", 42),
    u8("speed", 43),
    u8("stage", 44),
};
inline constexpr Layout kSSHBContext3 = {"sshb-context-3", kSSHBContext3Fields, 0};

inline constexpr Field kSSHBContext4Fields[] = {
    u16("context-version", 16),
    u8("mclk_zel_enabled", 18),
    u8("mclk_ap_enabled", 19),
    u8("pellox_zel_enabled", 20),
    u8("pellox_ap_enabled", 21),
    u8("pelloxBusy", 22),
    u8("enableRIV", 23),
    u8("enableSpkr", 24),
    u8("mclk_on", 25),
    u8("pellox_on", 26),
    u8("pelloxPending", 27),
    u8("ampsEnabling", 28),
    u8("kiru_ready", 29),
    u8("ampsPrewarming", 30),
    u8("ampsDisabling", 31),
    u8("ampsPending", 32),
    u8("clickState", 33),
    u8("clickSpeed", 34),
    u8("test_mode", 35),
    u8("cl_enable", 36),
    u8("cl_zel_enable", 37),
    u8("cl_ap_enable", 38),
    u8("pellox_ready", 39),
    u8("apState0", 40),
    u8("apState1", 41),
    u8("zelState0", 42),
    u8("zelState1", 43),
    u8("state0", 44),
    u8("state1", 45),
};
inline constexpr Layout kSSHBContext4 = {"sshb-context-4", kSSHBContext4Fields, 0};

inline constexpr Field kSSHBContext5Fields[] = {
    u16("context-version", 16),
    u8("currentContext0", 18),
    u8("currentContext1", 19),
    u8("ampsEnabled", 20),
    u8("enabled", 21),
    u32("scan_period", 22),
    u32("scan_time", 26),
    u8("fingerDetect", 30),
    u8("buttonState", 31),
    u8("pressCount", 32),
    u8("longPress", 33),
    u8("terminalEvent", 34),
    u8("speed", 35),
    u8("stage", 36),
};
inline constexpr Layout kSSHBContext5 = {"sshb-context-5", kSSHBContext5Fields, 0};

inline constexpr Field kSSHBContext7Fields[] = {
    u16("context-version", 16),
    u8("mclk_zel_enabled", 18),
    u8("mclk_ap_enabled", 19),
    u8("pellox_zel_enabled", 20),
    u8("pellox_ap_enabled", 21),
    u8("pelloxBusy", 22),
    u8("enableRIV", 23),
    u8("enableSpkr", 24),
    u8("mclk_on", 25),
    u8("pellox_on", 26),
    u8("pelloxPending", 27),
    u8("kiru_ready", 28),
    u8("ampsState", 29),
    u8("clickState", 30),
    u8("clickSpeed", 31),
    u8("test_mode", 32),
    u8("cl_enable", 33),
    u8("cl_zel_enable", 34),
    u8("cl_ap_enable", 35),
    u8("pellox_ready", 36),
    u8("apState0", 37),
    u8("apState1", 38),
    u8("zelState0", 39),
    u8("zelState1", 40),
    u8("state0", 41),
    u8("state1", 42),
};
inline constexpr Layout kSSHBContext7 = {"sshb-context-7", kSSHBContext7Fields, 0};

/** The vector shows the first three arguments again, with 16 fraction bits. Intended. */
inline constexpr Field kVastrelDataInFields[] = {
    u32("arg1", 16),
    u32("arg2", 20),
    u32("arg3", 24),
    u32("arg4", 28),
    u32("arg5", 32),
    u32("arg6", 36),
    fixed_point("x", 16, 16),
    fixed_point("y", 20, 16),
    fixed_point("z", 24, 16),
};
inline constexpr Layout kVastrelDataIn = {"vastrel-data-in", kVastrelDataInFields, 10};

/** The same with 12 fraction bits. */
inline constexpr Field kVastrelDataOutFields[] = {
    u32("arg1", 16),
    u32("arg2", 20),
    u32("arg3", 24),
    u32("arg4", 28),
    u32("arg5", 32),
    u32("arg6", 36),
    fixed_point("x", 16, 12),
    fixed_point("y", 20, 12),
    fixed_point("z", 24, 12),
};
inline constexpr Layout kVastrelDataOut = {"vastrel-data-out", kVastrelDataOutFields, 10};

inline constexpr Field kWakeRequestFields[] = {
    u32("wake_reason", 16),
    u64("endpoint_ref", 20),
};
inline constexpr Layout kWakeRequest = {"wake-request", kWakeRequestFields, 10};

inline constexpr Field kWakeEventFields[] = {
    u32("wake_reason", 16),
    u32("service_id", 20),
};
inline constexpr Layout kWakeEvent = {"wake-event", kWakeEventFields, 10};

// clang-format on

} // namespace qor

#endif
