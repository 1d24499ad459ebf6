/**
 * The categories of reports: the names of their components and events, and the layouts of their payloads. A report's
 * type alone determines the layout of its payload, unless its category has a rule for it.
 */
#ifndef QOR_CATEGORIES_H
#define QOR_CATEGORIES_H

#include <array>
#include <iterator>

#include "qor/names.h"
#include "qor/payload_layouts.h"

namespace qor {

/** A report's type, and its layout in every category without a rule for it. */
struct Type {
    std::uint8_t id;
    const char *name;
    const Layout *layout;
};

/** The types, each at the index of its id. */
inline constexpr Type kTypes[] = {
    {0, "stop", &kNoLayout},
    {1, "long-data", &kLongData},
    {2, "short-data", &kShortData},
    {3, "event", &kEvent},
    {4, "trigger", &kTrigger},
    {5, "function", &kFunction},
    {6, "sshb-context1", &kNoLayout},
    {7, "sshb-context2", &kNoLayout},
    {8, "sensorinfo", &kSensorInfo},
    {9, "extfunction", &kExtFunction},
    {10, "sshb-context", &kNoLayout},
    {11, "annotation", &kAnnotation},
    {12, "decimationinfo", &kDecimationInfo},
};

/** The ids that a payload rule compares, as a mask of the header's first word. */
enum HeaderMask : std::uint32_t {
    kTypeAlone = 0x0000'00FF,
    kTypeAndEvent = 0x0000'FFFF,
    kWholeHeader = 0xFFFF'FFFF, ///< category and component as well
};

/** Matches every version in a payload rule. */
inline constexpr int kAnyVersion = -1;

/**
 * The layouts that a payload is shown with, one after the other. The first rule of the report's category that holds for
 * it applies.
 */
struct PayloadRule {
    std::uint32_t header; ///< category, component, event and type, from the highest byte to the lowest
    HeaderMask mask;
    int version;                           ///< the 16-bit number at the start of the payload
    std::array<const Layout *, 2> layouts; ///< `kNoLayout` for none

    constexpr std::uint8_t type() const { return static_cast<std::uint8_t>(header); }

    constexpr bool holds_for(const _QorProfileReport &report) const {
        return (report.header() & mask) == header &&
               (version == kAnyVersion || version == report.at<std::uint16_t>(kPayloadOffset));
    }
};

// clang-format off

/** Incoming data is followed by the generic layout, that of the type; outgoing data is not. Intended. */
inline constexpr PayloadRule kVastrelPayloads[] = {
    {0x04000003, kWholeHeader, kAnyVersion, {&kVastrelDataIn, &kEvent}},
    {0x04000103, kWholeHeader, kAnyVersion, {&kVastrelDataOut, &kNoLayout}},
};

/**
 * Short data of any other event is shown twice. Intended. Context versions 3 and 4 are followed by the generic layout,
 * versions 5 and 7 are not. This makes no difference, because contexts have no generic layout.
 */
inline constexpr PayloadRule kSSHBPayloads[] = {
    {0x0202, kTypeAndEvent, kAnyVersion, {&kSSHBButton, &kShortData}},
    {0x0302, kTypeAndEvent, kAnyVersion, {&kSSHBClickStatus, &kShortData}},
    {0x02,   kTypeAlone,    kAnyVersion, {&kShortData, &kShortData}},
    {0x03,   kTypeAlone,    kAnyVersion, {&kSSHBTrace, &kEvent}},
    {0x0A,   kTypeAlone,    3,           {&kSSHBContext3, &kNoLayout}},
    {0x0A,   kTypeAlone,    4,           {&kSSHBContext4, &kNoLayout}},
    {0x0A,   kTypeAlone,    5,           {&kSSHBContext5, &kNoLayout}},
    {0x0A,   kTypeAlone,    7,           {&kSSHBContext7, &kNoLayout}},
};

/** An event is not followed by the generic layout. Intended. The type of a request has no generic layout. */
inline constexpr PayloadRule kWakePayloads[] = {
    {0x0A00010D, kWholeHeader, kAnyVersion, {&kWakeRequest, &kNoLayout}},
    {0x0A000203, kWholeHeader, kAnyVersion, {&kWakeEvent, &kNoLayout}},
};

// clang-format on

/** The names of one component's events or subjects. */
struct ComponentEvents {
    std::uint8_t component;
    std::span<const NamedId> names;
};

/** The execution category names the events of each component separately. */
inline constexpr ComponentEvents kExecutionEvents[] = {
    {0, kSchedulerEvents}, {1, kFunctionEvents}, {2, kWorkloopEvents}, {3, kCommandEvents}, {4, kExtFunctionEvents},
};

/** The id of the component "latency", whose events are the checkpoints. */
inline constexpr std::uint8_t kSSHBLatency = 3;

inline constexpr ComponentEvents kSSHBLatencyEvents[] = {
    {kSSHBLatency, kSSHBCheckpoints},
};

/** The names of the subjects of SSHB traces, by the trace's component. Subjects of other components have no names. */
inline constexpr ComponentEvents kSSHBTraceSubjects[] = {
    {0, kSSHBSubjects}, {1, kSSHBSubjects}, {2, kSSHBSubjects}, {kSSHBLatency, kSSHBCheckpoints}, {4, kSSHBSubjects},
};

enum CategoryId : std::uint8_t {
    kExecution,
    kTrace,
    kSensor,
    kQuoril,
    kVastrel,
    kInterrupt,
    kUart,
    kSSHB,
    kControl,
    kSCM,
    kWake,
};

/** A category. Ids without a name are shown as decimal numbers. */
struct Category {
    CategoryId id; ///< its index in the table
    const char *name;
    std::span<const NamedId> components;
    std::span<const ComponentEvents> events_of_components; ///< for the components with their own events
    std::span<const NamedId> events;                       ///< for every other component
    std::span<const PayloadRule> payloads;                 ///< applied before the layout of the type
};

// clang-format off

/** The categories, each at the index of its id. */
inline constexpr Category kCategories[] = {
    {kExecution, "exec",      kExecutionComponents, kExecutionEvents,   {},               {}},
    {kTrace,     "trace",     kTraceComponents,     {},                 {},               {}},
    {kSensor,    "sensor",    kSensorComponents,    {},                 kSensorEvents,    {}},
    {kQuoril,    "quoril",    kQuorilComponents,    {},                 kQuorilEvents,    {}},
    {kVastrel,   "vastrel",   kVastrelComponents,   {},                 kVastrelEvents,   kVastrelPayloads},
    {kInterrupt, "interrupt", kInterruptComponents, {},                 kInterruptEvents, {}},
    {kUart,      "uart",      kUartComponents,      {},                 kUartEvents,      {}},
    {kSSHB,      "sshb",      kSSHBComponents,      kSSHBLatencyEvents, kSSHBEvents,      kSSHBPayloads},
    {kControl,   "control",   {},                   {},                 {},               {}},
    {kSCM,       "scm",       kSCMComponents,       {},                 {},               {}},
    {kWake,      "wake",      kWakeComponents,      {},                 kWakeEvents,      kWakePayloads},
};

// clang-format on

static_assert(
    [] {
        for (std::size_t id = 0; id < std::size(kCategories); ++id) {
            if (kCategories[id].id != id) {
                return false;
            }
            for (const PayloadRule &rule : kCategories[id].payloads) {
                for (const Layout *layout : rule.layouts) {
                    if (!stay_inside(layout->fields, kReportSize)) {
                        return false;
                    }
                }
            }
        }
        for (std::size_t id = 0; id < std::size(kTypes); ++id) {
            if (kTypes[id].id != id || !stay_inside(kTypes[id].layout->fields, kReportSize)) {
                return false;
            }
        }
        return true;
    }(),
    "every row stands at its id, and no field leaves the report");

} // namespace qor

#endif
