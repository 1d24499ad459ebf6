/**
 * What the fields of a report mean, and the meanings of names, as far as the system states them. Everything else is
 * "not stated": a name alone is no statement, and nobody may guess a unit from it. Pages, listings and schemas are made
 * from these tables.
 */
#ifndef QOR_MEANINGS_H
#define QOR_MEANINGS_H

#include <algorithm>
#include <iterator>

#include "qor/categories.h"

namespace qor {

/** The unit or the meaning of what the system says nothing about. */
inline constexpr std::string_view kNotStated = "not stated";

/** The unit of what has none: names, texts, bytes, versions and flags. */
inline constexpr std::string_view kNoUnit = "none";

/** What a field of a layout means; its place and kind are in the layout. */
struct FieldMeaning {
    std::string_view field; ///< its name
    std::string_view unit;  ///< also `kNoUnit` or `kNotStated`
    std::string_view meaning;
};

/** What a layout shows, and its fields. */
struct LayoutMeaning {
    const Layout *layout;
    std::string_view view; ///< the layout's name with underscores: for tables, views and keys
    std::string_view meaning;
    std::span<const FieldMeaning> fields; ///< those of the layout, in its order
};

/** What the name of an id means. Names without a row have a meaning that is not stated. */
struct NameMeaning {
    std::uint8_t category; ///< for an event; otherwise the id itself
    std::uint8_t id;
    std::string_view name;
    std::string_view meaning;
};

// One row for each field or name, as in the layouts.
// clang-format off

inline constexpr FieldMeaning kHeaderMeanings[] = {
    {"type-id", kNoUnit, "the type of the payload, which determines its layout"},
    {"event-id", kNoUnit, "the event, within the component"},
    {"component-id", kNoUnit, "the component, within the category"},
    {"category-id", kNoUnit, "the category"},
    {"sequence_num", kNoUnit, "the report's number in the firmware's sequence"},
    {"timestamp", "microseconds", "when it happened, by the coprocessor's clock"},
};

/** The fields of the header, in their order. */
inline constexpr Field kHeaderFields[] = {
    header::kTypeId,     header::kEventId,     header::kComponentId,
    header::kCategoryId, header::kSequenceNum, header::kTimestamp,
};

namespace meaning_texts {

inline constexpr std::string_view kFlagOrState = "a flag or a state; the values are the firmware's";
inline constexpr std::string_view kTransitionFlag = "a flag: a transition of the amplifiers";
inline constexpr std::string_view kSnapshot =
    "A snapshot of the button: amplifiers, clock, haptic actuator, finger scan and button state";

} // namespace meaning_texts

inline constexpr FieldMeaning kLongDataMeanings[] = {
    {"subtype", kNotStated, kNotStated},
    {"packet-size", kNotStated, kNotStated},
    {"data-length", "bytes", "the number of bytes in raw-data; more than 24 count as 24"},
    {"data-offset", kNotStated, kNotStated},
    {"raw-data", kNoUnit, "the bytes themselves, as many as data-length says, at most 24"},
};

inline constexpr FieldMeaning kShortDataMeanings[] = {
    {"subtype", kNotStated, kNotStated},
    {"packet-size", kNotStated, "not stored in the report: the same in all of them"},
    {"data-length", "bytes", "not stored in the report: raw-data always has this many bytes"},
    {"data-offset", kNotStated, "not stored in the report: the same in all of them"},
    {"raw-data", kNoUnit, "the bytes themselves"},
};

inline constexpr FieldMeaning kEventMeanings[] = {
    {"arg1", kNotStated, "the event's word 1"},
    {"arg2", kNotStated, "the event's word 2"},
    {"arg3", kNotStated, "the event's word 3"},
    {"arg4", kNotStated, "the event's word 4"},
    {"arg5", kNotStated, "the event's word 5"},
    {"arg6", kNotStated, "the event's word 6"},
    {"xarg1", kNotStated, "the word of arg1 again, in hexadecimal"},
    {"xarg2", kNotStated, "the word of arg2 again, in hexadecimal"},
    {"xarg3", kNotStated, "the word of arg3 again, in hexadecimal"},
    {"xarg4", kNotStated, "the word of arg4 again, in hexadecimal"},
    {"xarg5", kNotStated, "the word of arg5 again, in hexadecimal"},
    {"xarg6", kNotStated, "the word of arg6 again, in hexadecimal"},
};

inline constexpr FieldMeaning kTriggerMeanings[] = {
    {"trigger", kNoUnit, "not stored in the report: marks a trigger"},
    {"thread-id", kNotStated, "the same word as arg"},
    {"arg", kNotStated, "the same word as thread-id"},
};

inline constexpr FieldMeaning kFunctionMeanings[] = {
    {"function-id", kNotStated, kNotStated},
    {"extra-id", kNotStated, kNotStated},
    {"thread-id", kNotStated, kNotStated},
    {"duration", kNotStated, kNotStated},
    {"depth", kNotStated, kNotStated},
    {"thread_duration", kNotStated, kNotStated},
};

inline constexpr FieldMeaning kSensorInfoMeanings[] = {
    {"name", kNoUnit, kNotStated},
    {"report-interval", kNotStated, kNotStated},
    {"batch-interval", kNotStated, kNotStated},
    {"threshold", kNotStated, kNotStated},
    {"time-limit", kNotStated, kNotStated},
    {"connected", kNotStated, kNotStated},
    {"decimation", kNotStated, kNotStated},
    {"gyroPowerMode", kNotStated, kNotStated},
};

inline constexpr FieldMeaning kExtFunctionMeanings[] = {
    {"function", kNoUnit, kNotStated},
    {"arg", kNotStated, kNotStated},
    {"task", kNotStated, kNotStated},
    {"thread", kNotStated, kNotStated},
    {"duration", kNotStated, kNotStated},
};

inline constexpr FieldMeaning kAnnotationMeanings[] = {
    {"global-id", kNotStated, kNotStated},
    {"entry-id", kNoUnit, "the number in the bytes that entry shows as text"},
    {"entry", kNoUnit, "a short tag: the bytes of entry-id as text"},
    {"arg1", kNotStated, kNotStated},
    {"arg2", kNotStated, kNotStated},
};

inline constexpr FieldMeaning kDecimationInfoMeanings[] = {
    {"name", kNoUnit, kNotStated},
    {"sample-interval", kNotStated, kNotStated},
    {"report-interval", kNotStated, kNotStated},
    {"batch-interval", kNotStated, kNotStated},
    {"next-dispatch", kNotStated, kNotStated},
};

inline constexpr FieldMeaning kSSHBTraceMeanings[] = {
    {"trace", kNoUnit, "the subject of the trace, whose names depend on the component"},
    {"thread", kNotStated, kNotStated},
    {"arg1", kNotStated, kNotStated},
    {"arg2", kNotStated, kNotStated},
    {"arg3", kNotStated, kNotStated},
    {"arg4", kNotStated, kNotStated},
};

inline constexpr FieldMeaning kSSHBButtonMeanings[] = {
    {"reportID", kNotStated, kNotStated},
    {"buttonState", kNotStated, kNotStated},
    {"fingerDetect", kNotStated, kNotStated},
    {"pressCount", kNotStated, kNotStated},
    {"longPress", kNotStated, kNotStated},
    {"terminalEvent", kNotStated, kNotStated},
    {"speed", kNotStated, kNotStated},
    {"stage", kNotStated, kNotStated},
    {"stageProgress", kNotStated, kNotStated},
    {"force", kNotStated, kNotStated},
};

inline constexpr FieldMeaning kSSHBClickStatusMeanings[] = {
    {"status-timestamp", kNotStated, kNotStated},
    {"fingerState", kNotStated, kNotStated},
    {"buttonState", kNotStated, kNotStated},
    {"buttonProgress", kNotStated, kNotStated},
    {"clickCount", kNotStated, kNotStated},
    {"clickCountIsTerminal", kNotStated, kNotStated},
    {"clickIsLong", kNotStated, kNotStated},
    {"clickSpeed", kNotStated, kNotStated},
};

inline constexpr FieldMeaning kSSHBContext3Meanings[] = {
    {"context-version", kNoUnit, "the version of the snapshot, which determines its fields"},
    {"currentContext0", kNotStated, kNotStated},
    {"currentContext1", kNotStated, kNotStated},
    {"ampsEnabled", kNotStated, kNotStated},
    {"enabled", kNotStated, kNotStated},
    {"mode", kNotStated, kNotStated},
    {"scan_time", kNotStated, kNotStated},
    {"active_scan_interval", kNotStated, kNotStated},
    {"background_scan_interval", kNotStated, kNotStated},
    {"fingerDetect", kNotStated, kNotStated},
    {"buttonState", kNotStated, kNotStated},
    {"pressCount", kNotStated, kNotStated},
    {"longPress", kNotStated, kNotStated},
    {"terminalEvent", kNotStated, kNotStated},
    {"speed", kNotStated, kNotStated},
    {"stage", kNotStated, kNotStated},
};

inline constexpr FieldMeaning kSSHBContext4Meanings[] = {
    {"context-version", kNoUnit, "the version of the snapshot, which determines its fields"},
    {"mclk_zel_enabled", kNoUnit, meaning_texts::kFlagOrState},
    {"mclk_ap_enabled", kNoUnit, meaning_texts::kFlagOrState},
    {"pellox_zel_enabled", kNoUnit, meaning_texts::kFlagOrState},
    {"pellox_ap_enabled", kNoUnit, meaning_texts::kFlagOrState},
    {"pelloxBusy", kNoUnit, meaning_texts::kFlagOrState},
    {"enableRIV", kNoUnit, meaning_texts::kFlagOrState},
    {"enableSpkr", kNoUnit, meaning_texts::kFlagOrState},
    {"mclk_on", kNoUnit, meaning_texts::kFlagOrState},
    {"pellox_on", kNoUnit, meaning_texts::kFlagOrState},
    {"pelloxPending", kNoUnit, meaning_texts::kFlagOrState},
    {"ampsEnabling", kNoUnit, meaning_texts::kTransitionFlag},
    {"kiru_ready", kNoUnit, meaning_texts::kFlagOrState},
    {"ampsPrewarming", kNoUnit, meaning_texts::kTransitionFlag},
    {"ampsDisabling", kNoUnit, meaning_texts::kTransitionFlag},
    {"ampsPending", kNoUnit, meaning_texts::kTransitionFlag},
    {"clickState", kNoUnit, meaning_texts::kFlagOrState},
    {"clickSpeed", kNoUnit, meaning_texts::kFlagOrState},
    {"test_mode", kNoUnit, meaning_texts::kFlagOrState},
    {"cl_enable", kNoUnit, meaning_texts::kFlagOrState},
    {"cl_zel_enable", kNoUnit, meaning_texts::kFlagOrState},
    {"cl_ap_enable", kNoUnit, meaning_texts::kFlagOrState},
    {"pellox_ready", kNoUnit, meaning_texts::kFlagOrState},
    {"apState0", kNoUnit, meaning_texts::kFlagOrState},
    {"apState1", kNoUnit, meaning_texts::kFlagOrState},
    {"zelState0", kNoUnit, meaning_texts::kFlagOrState},
    {"zelState1", kNoUnit, meaning_texts::kFlagOrState},
    {"state0", kNoUnit, meaning_texts::kFlagOrState},
    {"state1", kNoUnit, meaning_texts::kFlagOrState},
};

inline constexpr FieldMeaning kSSHBContext5Meanings[] = {
    {"context-version", kNoUnit, "the version of the snapshot, which determines its fields"},
    {"currentContext0", kNotStated, kNotStated},
    {"currentContext1", kNotStated, kNotStated},
    {"ampsEnabled", kNotStated, kNotStated},
    {"enabled", kNotStated, kNotStated},
    {"scan_period", kNotStated, "stands where version 3 has mode"},
    {"scan_time", kNotStated, kNotStated},
    {"fingerDetect", kNotStated, kNotStated},
    {"buttonState", kNotStated, kNotStated},
    {"pressCount", kNotStated, kNotStated},
    {"longPress", kNotStated, kNotStated},
    {"terminalEvent", kNotStated, kNotStated},
    {"speed", kNotStated, kNotStated},
    {"stage", kNotStated, kNotStated},
};

inline constexpr FieldMeaning kSSHBContext7Meanings[] = {
    {"context-version", kNoUnit, "the version of the snapshot, which determines its fields"},
    {"mclk_zel_enabled", kNoUnit, meaning_texts::kFlagOrState},
    {"mclk_ap_enabled", kNoUnit, meaning_texts::kFlagOrState},
    {"pellox_zel_enabled", kNoUnit, meaning_texts::kFlagOrState},
    {"pellox_ap_enabled", kNoUnit, meaning_texts::kFlagOrState},
    {"pelloxBusy", kNoUnit, meaning_texts::kFlagOrState},
    {"enableRIV", kNoUnit, meaning_texts::kFlagOrState},
    {"enableSpkr", kNoUnit, meaning_texts::kFlagOrState},
    {"mclk_on", kNoUnit, meaning_texts::kFlagOrState},
    {"pellox_on", kNoUnit, meaning_texts::kFlagOrState},
    {"pelloxPending", kNoUnit, meaning_texts::kFlagOrState},
    {"kiru_ready", kNoUnit, meaning_texts::kFlagOrState},
    {"ampsState", kNoUnit, "a state; stands for the four transition flags of the amplifiers in version 4"},
    {"clickState", kNoUnit, meaning_texts::kFlagOrState},
    {"clickSpeed", kNoUnit, meaning_texts::kFlagOrState},
    {"test_mode", kNoUnit, meaning_texts::kFlagOrState},
    {"cl_enable", kNoUnit, meaning_texts::kFlagOrState},
    {"cl_zel_enable", kNoUnit, meaning_texts::kFlagOrState},
    {"cl_ap_enable", kNoUnit, meaning_texts::kFlagOrState},
    {"pellox_ready", kNoUnit, meaning_texts::kFlagOrState},
    {"apState0", kNoUnit, meaning_texts::kFlagOrState},
    {"apState1", kNoUnit, meaning_texts::kFlagOrState},
    {"zelState0", kNoUnit, meaning_texts::kFlagOrState},
    {"zelState1", kNoUnit, meaning_texts::kFlagOrState},
    {"state0", kNoUnit, meaning_texts::kFlagOrState},
    {"state1", kNoUnit, meaning_texts::kFlagOrState},
};

inline constexpr FieldMeaning kVastrelDataInMeanings[] = {
    {"arg1", kNotStated, "the data's raw word 1"},
    {"arg2", kNotStated, "the data's raw word 2"},
    {"arg3", kNotStated, "the data's raw word 3"},
    {"arg4", kNotStated, "the data's raw word 4"},
    {"arg5", kNotStated, "the data's raw word 5"},
    {"arg6", kNotStated, "the data's raw word 6"},
    {"x", kNotStated, "component x of a vector: the bytes of arg1 as a signed number"},
    {"y", kNotStated, "component y of a vector: the bytes of arg2 as a signed number"},
    {"z", kNotStated, "component z of a vector: the bytes of arg3 as a signed number"},
};

inline constexpr FieldMeaning kVastrelDataOutMeanings[] = {
    {"arg1", kNotStated, "the data's raw word 1"},
    {"arg2", kNotStated, "the data's raw word 2"},
    {"arg3", kNotStated, "the data's raw word 3"},
    {"arg4", kNotStated, "the data's raw word 4"},
    {"arg5", kNotStated, "the data's raw word 5"},
    {"arg6", kNotStated, "the data's raw word 6"},
    {"x", kNotStated, "component x of a vector: the bytes of arg1 as a signed number"},
    {"y", kNotStated, "component y of a vector: the bytes of arg2 as a signed number"},
    {"z", kNotStated, "component z of a vector: the bytes of arg3 as a signed number"},
};

inline constexpr FieldMeaning kWakeRequestMeanings[] = {
    {"wake_reason", kNoUnit, "why the coprocessor woke the application processor; the values are the firmware's"},
    {"endpoint_ref", kNoUnit, "the endpoint on whose behalf it did"},
};

inline constexpr FieldMeaning kWakeEventMeanings[] = {
    {"wake_reason", kNoUnit, "why the coprocessor woke the application processor; the values are the firmware's"},
    {"service_id", kNoUnit, "the service on whose behalf it did"},
};

/** Every layout that a report can have. */
inline constexpr LayoutMeaning kLayoutMeanings[] = {
    {&kLongData, "long_data", "Data of up to 24 bytes, with their length", kLongDataMeanings},
    {&kShortData, "short_data", "Data of 30 bytes", kShortDataMeanings},
    {&kEvent, "event", "Six words", kEventMeanings},
    {&kTrigger, "trigger", "A trigger", kTriggerMeanings},
    {&kFunction, "function", "Function entry and exit", kFunctionMeanings},
    {&kSensorInfo, "sensorinfo", "The configuration of a sensor", kSensorInfoMeanings},
    {&kExtFunction, "extfunction", kNotStated, kExtFunctionMeanings},
    {&kAnnotation, "annotation", "An annotation", kAnnotationMeanings},
    {&kDecimationInfo, "decimationinfo", kNotStated, kDecimationInfoMeanings},
    {&kSSHBTrace, "sshb_trace", "A trace of a thread of the button's firmware", kSSHBTraceMeanings},
    {&kSSHBButton, "sshb_button", "An input packet of button and finger", kSSHBButtonMeanings},
    {&kSSHBClickStatus, "sshb_click_status", "A click status event", kSSHBClickStatusMeanings},
    {&kSSHBContext3, "sshb_context_3", meaning_texts::kSnapshot, kSSHBContext3Meanings},
    {&kSSHBContext4, "sshb_context_4", meaning_texts::kSnapshot, kSSHBContext4Meanings},
    {&kSSHBContext5, "sshb_context_5", meaning_texts::kSnapshot, kSSHBContext5Meanings},
    {&kSSHBContext7, "sshb_context_7", meaning_texts::kSnapshot, kSSHBContext7Meanings},
    {&kVastrelDataIn, "vastrel_data_in",
     "Data that flow into vastrel: six words, and a vector of three axes with 16 fraction bits",
     kVastrelDataInMeanings},
    {&kVastrelDataOut, "vastrel_data_out",
     "Data that flow out of vastrel: six words, and a vector of three axes with 12 fraction bits",
     kVastrelDataOutMeanings},
    {&kWakeRequest, "wake_request", "Why the coprocessor woke the application processor, and for which endpoint",
     kWakeRequestMeanings},
    {&kWakeEvent, "wake_event", "Why the coprocessor woke the application processor, and for which service",
     kWakeEventMeanings},
};

inline constexpr NameMeaning kCategoryNameMeanings[] = {
    {kSensor, kSensor, "sensor", "The motion and environment sensors"},
    {kVastrel, kVastrel, "vastrel", "Data that flow into and out of the firmware's component vastrel"},
    {kSSHB, kSSHB, "sshb", "The solid-state button: finger detection, press and click recognition, haptic feedback"},
    {kWake, kWake, "wake", "Why the coprocessor woke the application processor, and on whose behalf"},
};

/** Of types that have no layout of their own; the others mean what their layout shows. */
inline constexpr NameMeaning kTypeNameMeanings[] = {
    {10, 10, "sshb-context", meaning_texts::kSnapshot},
};

/** Of events that do not belong to single components. */
inline constexpr NameMeaning kEventNameMeanings[] = {
    {kVastrel, 0, "data-in", "data that flow into vastrel"},
    {kVastrel, 1, "data-out", "data that flow out of vastrel"},
    {kSSHB, 2, "input-packet", "an input packet of button and finger"},
    {kSSHB, 3, "status-event", "a click status event"},
    {kWake, 1, "wake-req-info", "a wake request"},
    {kWake, 2, "wake-event-info", "a wake event"},
};

// clang-format on

/** The row of a layout that a report can have. */
constexpr const LayoutMeaning &meaning_of(const Layout &layout) {
    return *std::ranges::find(kLayoutMeanings, layout.name, [](const LayoutMeaning &row) { return row.layout->name; });
}

/** The meaning of an id's name in one of the tables above, or `kNotStated`. */
constexpr std::string_view meaning_of(std::span<const NameMeaning> meanings, std::size_t category, std::size_t id) {
    for (const NameMeaning &row : meanings) {
        if (row.category == category && row.id == id) {
            return row.meaning;
        }
    }
    return kNotStated;
}

/** The meaning of a type: that of its layout if it has one. */
constexpr std::string_view meaning_of(const Type &type) {
    return type.layout->fields.empty() ? meaning_of(kTypeNameMeanings, type.id, type.id)
                                       : meaning_of(*type.layout).meaning;
}

/** How a program calls the way in which a field is read. */
constexpr std::string_view kind_name(How how) {
    switch (how) {
    case How::Number:
        return "unsigned";
    case How::Signed:
        return "signed";
    case How::Constant:
        return "constant";
    case How::Hexadecimal:
        return "hexadecimal";
    case How::Text:
        return "text";
    case How::Bytes:
        return "bytes";
    case How::CountedBytes:
        return "counted-bytes";
    case How::FixedPoint:
        return "fixed-point";
    case How::Subject:
        return "subject";
    }
    return "";
}

namespace meaning_checks {

constexpr bool is_a_number(How how) {
    return how != How::Text && how != How::Bytes && how != How::CountedBytes && how != How::Subject;
}

constexpr bool describe(std::span<const FieldMeaning> meanings, std::span<const Field> fields) {
    return std::ranges::equal(meanings, fields, [](const FieldMeaning &meaning, const Field &field) {
        return meaning.field == field.name && !meaning.unit.empty() && !meaning.meaning.empty() &&
               (is_a_number(field.how) || meaning.unit == kNoUnit);
    });
}

constexpr bool is_view_of(std::string_view view, std::string_view name) {
    return std::ranges::equal(view, name, [](char a, char b) { return a == (b == '-' ? '_' : b); });
}

/** A layout has one row, except that without fields, which has none. */
constexpr bool has_its_row(const Layout &layout) {
    const auto rows =
        std::ranges::count(kLayoutMeanings, layout.name, [](const LayoutMeaning &row) { return row.layout->name; });
    return rows == (layout.fields.empty() ? 0 : 1);
}

constexpr bool is_reached(const Layout &layout) {
    for (const Type &type : kTypes) {
        if (type.layout->name == layout.name) {
            return true;
        }
    }
    for (const Category &category : kCategories) {
        for (const PayloadRule &rule : category.payloads) {
            if (rule.layouts[0]->name == layout.name || rule.layouts[1]->name == layout.name) {
                return true;
            }
        }
    }
    return false;
}

constexpr bool are_complete() {
    for (const Type &type : kTypes) {
        if (!has_its_row(*type.layout)) {
            return false;
        }
    }
    for (const Category &category : kCategories) {
        for (const PayloadRule &rule : category.payloads) {
            if (!has_its_row(*rule.layouts[0]) || !has_its_row(*rule.layouts[1])) {
                return false;
            }
        }
    }
    return std::ranges::all_of(kLayoutMeanings, [](const LayoutMeaning &row) {
        return is_reached(*row.layout) && is_view_of(row.view, row.layout->name) && !row.meaning.empty() &&
               describe(row.fields, row.layout->fields);
    });
}

constexpr bool name_what_exists() {
    for (const NameMeaning &row : kCategoryNameMeanings) {
        if (kCategories[row.id].name != row.name) {
            return false;
        }
    }
    for (const NameMeaning &row : kTypeNameMeanings) {
        if (kTypes[row.id].name != row.name || !kTypes[row.id].layout->fields.empty()) {
            return false;
        }
    }
    return std::ranges::all_of(kEventNameMeanings, [](const NameMeaning &row) {
        return std::ranges::any_of(kCategories[row.category].events, [&row](const NamedId &event) {
            return event.id == row.id && event.name == row.name;
        });
    });
}

} // namespace meaning_checks

static_assert(meaning_checks::describe(kHeaderMeanings, kHeaderFields), "every field of the header has its row");
static_assert(meaning_checks::are_complete(), "every layout and every field has its row, and every row a field");
static_assert(meaning_checks::name_what_exists(), "every row about a name has that name");

} // namespace qor

#endif
