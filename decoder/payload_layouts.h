/**
 * What the 32 payload bytes hold: each layout is a table of fields in printing order, and a record's payload is
 * one layout after the other. Nothing here knows how a line, an object or a counter is written.
 */
#ifndef DECODER_PAYLOAD_LAYOUTS_H
#define DECODER_PAYLOAD_LAYOUTS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "decoder/profile_report.h"

namespace decoder {

enum class field_kind : std::uint8_t {
    number,           ///< unsigned
    constant,         ///< a fixed number, whatever the record holds
    hexadecimal_word, ///< a 32-bit number that is shown in hexadecimal
    text,             ///< characters up to the first zero byte, or all of them
    bytes,            ///< raw bytes
    counted_bytes,    ///< raw bytes, as many as a 16-bit count in the record says, but never more than `size`
    fixed_point,      ///< a signed 32-bit number with `parameter` fraction bits
    subject           ///< the id of an SSHB trace's subject
};

/** One field of a layout. Offsets are from the start of the record. */
struct field {
    std::string_view name;
    field_kind kind;
    std::uint8_t offset;
    std::uint8_t size;          ///< bytes; for `counted_bytes` the most of them
    std::uint8_t width;         ///< characters that its text is right-aligned in; 0 for none
    std::uint8_t parameter = 0; ///< constant: its value; counted_bytes: the count's offset; fixed_point: fraction bits
};

namespace fields {

constexpr std::uint8_t kWidth = 10;

constexpr field u8(std::string_view name, std::uint8_t offset) { return {name, field_kind::number, offset, 1, kWidth}; }
constexpr field u16(std::string_view name, std::uint8_t offset) {
    return {name, field_kind::number, offset, 2, kWidth};
}
constexpr field u32(std::string_view name, std::uint8_t offset) {
    return {name, field_kind::number, offset, 4, kWidth};
}
constexpr field u64(std::string_view name, std::uint8_t offset) {
    return {name, field_kind::number, offset, 8, kWidth};
}
constexpr field constant(std::string_view name, std::uint8_t value) {
    return {name, field_kind::constant, 0, 0, kWidth, value};
}
constexpr field hex(std::string_view name, std::uint8_t offset) {
    return {name, field_kind::hexadecimal_word, offset, 4, kWidth};
}
constexpr field text(std::string_view name, std::uint8_t offset, std::uint8_t size, std::uint8_t width) {
    return {name, field_kind::text, offset, size, width};
}
constexpr field bytes(std::string_view name, std::uint8_t offset, std::uint8_t size) {
    return {name, field_kind::bytes, offset, size, kWidth};
}
constexpr field counted_bytes(std::string_view name, std::uint8_t offset, std::uint8_t most, std::uint8_t count_at) {
    return {name, field_kind::counted_bytes, offset, most, kWidth, count_at};
}
constexpr field fixed_point(std::string_view name, std::uint8_t offset, std::uint8_t fraction_bits) {
    return {name, field_kind::fixed_point, offset, 4, kWidth, fraction_bits};
}
constexpr field subject(std::string_view name, std::uint8_t offset, std::uint8_t width) {
    return {name, field_kind::subject, offset, 4, width};
}
/** The same field without a width. */
constexpr field plain(field wide) {
    wide.width = 0;
    return wide;
}

} // namespace fields

namespace layouts {

using namespace fields; // NOLINT(google-build-using-namespace): makes the rows readable

// One row a field, to be held against the firmware's description.
// clang-format off

inline constexpr field kLongData[] = {
    u16("subtype", 16),
    u16("packet-size", 18),
    u16("data-length", 20),
    u16("data-offset", 22),
    counted_bytes("raw-data", 24, 24, 20),
};

inline constexpr field kShortData[] = {
    u16("subtype", 16),
    constant("packet-size", 30),
    constant("data-length", 30),
    constant("data-offset", 0),
    bytes("raw-data", 18, 30),
};

inline constexpr field kEvent[] = {
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

/** "thread-id" and "arg" show one word; intended. */
inline constexpr field kTrigger[] = {
    plain(constant("trigger", 1)),
    u32("thread-id", 20),
    u32("arg", 20),
};

inline constexpr field kFunction[] = {
    u32("function-id", 16),
    u32("extra-id", 20),
    u32("thread-id", 24),
    u32("duration", 28),
    u32("depth", 32),
    u32("thread_duration", 36),
};

inline constexpr field kSensorInfo[] = {
    text("name", 35, 12, 16),
    u32("report-interval", 16),
    u32("batch-interval", 20),
    u32("threshold", 24),
    u32("time-limit", 28),
    u8("connected", 32),
    u8("decimation", 33),
    u8("gyroPowerMode", 34),
};

inline constexpr field kExtFunction[] = {
    text("function", 32, 16, 10),
    u32("arg", 28),
    u32("task", 16),
    u32("thread", 20),
    u32("duration", 24),
};

/** "entry" shows the bytes of "entry-id" as a short tag; intended. */
inline constexpr field kAnnotation[] = {
    u64("global-id", 16),
    u64("entry-id", 24),
    text("entry", 24, 8, 10),
    u32("arg1", 32),
    u32("arg2", 36),
};

inline constexpr field kDecimationInfo[] = {
    text("name", 36, 12, 16),
    u32("sample-interval", 24),
    u32("report-interval", 28),
    u32("batch-interval", 32),
    u64("next-dispatch", 16),
};

inline constexpr field kSSHBTrace[] = {
    subject("trace", 16, 25),
    u32("thread", 20),
    u32("arg1", 24),
    u32("arg2", 28),
    u32("arg3", 32),
    u32("arg4", 36),
};

/** Byte 21 is skipped; intended. */
inline constexpr field kSSHBButton[] = {
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

inline constexpr field kSSHBClickStatus[] = {
    u32("status-timestamp", 18),
    u8("fingerState", 26),
    u8("buttonState", 27),
    u32("buttonProgress", 28),
    u8("clickCount", 33),
    u8("clickCountIsTerminal", 34),
    u8("clickIsLong", 35),
    u8("clickSpeed", 36),
};

inline constexpr field kSSHBContext3[] = {
    plain(u16("context-version", 16)),
    plain(u8("currentContext0", 18)),
    plain(u8("currentContext1", 19)),
    plain(u8("ampsEnabled", 20)),
    plain(u8("enabled", 21)),
    plain(u32("mode", 22)),
    plain(u32("scan_time", 26)),
    plain(u32("active_scan_interval", 30)),
    plain(u32("background_scan_interval", 34)),
    plain(u8("fingerDetect", 38)),
    plain(u8("buttonState", 39)),
    plain(u8("pressCount", 40)),
    plain(u8("longPress", 41)),
    plain(u8("terminalEvent", 42)),
    plain(u8("speed", 43)),
    plain(u8("stage", 44)),
};

inline constexpr field kSSHBContext4[] = {
    plain(u16("context-version", 16)),
    plain(u8("mclk_zel_enabled", 18)),
    plain(u8("mclk_ap_enabled", 19)),
    plain(u8("pellox_zel_enabled", 20)),
    plain(u8("pellox_ap_enabled", 21)),
    plain(u8("pelloxBusy", 22)),
    plain(u8("enableRIV", 23)),
    plain(u8("enableSpkr", 24)),
    plain(u8("mclk_on", 25)),
    plain(u8("pellox_on", 26)),
    plain(u8("pelloxPending", 27)),
    plain(u8("ampsEnabling", 28)),
    plain(u8("kiru_ready", 29)),
    plain(u8("ampsPrewarming", 30)),
    plain(u8("ampsDisabling", 31)),
    plain(u8("ampsPending", 32)),
    plain(u8("clickState", 33)),
    plain(u8("clickSpeed", 34)),
    plain(u8("test_mode", 35)),
    plain(u8("cl_enable", 36)),
    plain(u8("cl_zel_enable", 37)),
    plain(u8("cl_ap_enable", 38)),
    plain(u8("pellox_ready", 39)),
    plain(u8("apState0", 40)),
    plain(u8("apState1", 41)),
    plain(u8("zelState0", 42)),
    plain(u8("zelState1", 43)),
    plain(u8("state0", 44)),
    plain(u8("state1", 45)),
};

inline constexpr field kSSHBContext5[] = {
    plain(u16("context-version", 16)),
    plain(u8("currentContext0", 18)),
    plain(u8("currentContext1", 19)),
    plain(u8("ampsEnabled", 20)),
    plain(u8("enabled", 21)),
    plain(u32("scan_period", 22)),
    plain(u32("scan_time", 26)),
    plain(u8("fingerDetect", 30)),
    plain(u8("buttonState", 31)),
    plain(u8("pressCount", 32)),
    plain(u8("longPress", 33)),
    plain(u8("terminalEvent", 34)),
    plain(u8("speed", 35)),
    plain(u8("stage", 36)),
};

inline constexpr field kSSHBContext7[] = {
    plain(u16("context-version", 16)),
    plain(u8("mclk_zel_enabled", 18)),
    plain(u8("mclk_ap_enabled", 19)),
    plain(u8("pellox_zel_enabled", 20)),
    plain(u8("pellox_ap_enabled", 21)),
    plain(u8("pelloxBusy", 22)),
    plain(u8("enableRIV", 23)),
    plain(u8("enableSpkr", 24)),
    plain(u8("mclk_on", 25)),
    plain(u8("pellox_on", 26)),
    plain(u8("pelloxPending", 27)),
    plain(u8("kiru_ready", 28)),
    plain(u8("ampsState", 29)),
    plain(u8("clickState", 30)),
    plain(u8("clickSpeed", 31)),
    plain(u8("test_mode", 32)),
    plain(u8("cl_enable", 33)),
    plain(u8("cl_zel_enable", 34)),
    plain(u8("cl_ap_enable", 35)),
    plain(u8("pellox_ready", 36)),
    plain(u8("apState0", 37)),
    plain(u8("apState1", 38)),
    plain(u8("zelState0", 39)),
    plain(u8("zelState1", 40)),
    plain(u8("state0", 41)),
    plain(u8("state1", 42)),
};

/** The vector rereads the first three arguments; intended. */
inline constexpr field kVastrelDataIn[] = {
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

inline constexpr field kVastrelDataOut[] = {
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

inline constexpr field kWakeRequest[] = {
    u32("wake_reason", 16),
    u64("endpoint_ref", 20),
};

inline constexpr field kWakeEvent[] = {
    u32("wake_reason", 16),
    u32("service_id", 20),
};

// clang-format on

} // namespace layouts

/** The layouts by name; in the order of `kFieldsOfLayouts`. */
enum class payload_layout : std::uint8_t {
    nothing,
    long_data,
    short_data,
    event,
    trigger,
    function,
    sensorinfo,
    extfunction,
    annotation,
    decimationinfo,
    sshb_trace,
    sshb_button,
    sshb_click_status,
    sshb_context_3,
    sshb_context_4,
    sshb_context_5,
    sshb_context_7,
    vastrel_data_in,
    vastrel_data_out,
    wake_request,
    wake_event,
};

inline constexpr std::span<const field> kFieldsOfLayouts[] = {
    {},
    layouts::kLongData,
    layouts::kShortData,
    layouts::kEvent,
    layouts::kTrigger,
    layouts::kFunction,
    layouts::kSensorInfo,
    layouts::kExtFunction,
    layouts::kAnnotation,
    layouts::kDecimationInfo,
    layouts::kSSHBTrace,
    layouts::kSSHBButton,
    layouts::kSSHBClickStatus,
    layouts::kSSHBContext3,
    layouts::kSSHBContext4,
    layouts::kSSHBContext5,
    layouts::kSSHBContext7,
    layouts::kVastrelDataIn,
    layouts::kVastrelDataOut,
    layouts::kWakeRequest,
    layouts::kWakeEvent,
};

constexpr std::span<const field> fields_of(payload_layout layout) {
    return kFieldsOfLayouts[static_cast<std::size_t>(layout)];
}

static_assert(
    [] {
        for (std::span<const field> layout : kFieldsOfLayouts) {
            for (const field &row : layout) {
                if (row.offset + row.size > _QorProfileReport::kSize ||
                    (row.kind == field_kind::counted_bytes && row.parameter + 2u > _QorProfileReport::kSize)) {
                    return false;
                }
            }
        }
        return true;
    }(),
    "no field leaves the record");

/** The layouts that a record's payload prints, one after the other. */
using payload = std::array<payload_layout, 2>;

/** By type alone: what every category without a decoder of its own prints. */
payload generic_payload(const _QorProfileReport &report);
payload sshb_payload(const _QorProfileReport &report);
payload vastrel_payload(const _QorProfileReport &report);
payload wake_payload(const _QorProfileReport &report);

/** What the decoder of the record's category prints. */
payload payload_of(const _QorProfileReport &report);

} // namespace decoder

#endif
