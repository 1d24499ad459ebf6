/** The expected effects of each failure: the log lines that it causes, and what is missing afterwards. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/sweep/difference.h"

namespace sweep {

enum Run : unsigned { kStart = 1, kFaultCapture = 2, kRequestCapture = 4, kAnalyticsBatch = 8, kShutdown = 16 };

/** The name under which a run is printed. */
const char *name_of(Run run);

/** The name of the module's allocations among the operations. */
inline constexpr const char *kModuleMemory = "memory of the module";

/** An assertion line. */
struct ExpectedLine {
    const char *condition;
    int line = 0;              ///< 0: any line
    std::uint32_t value = 0;   ///< the failing status, or 0
    bool names_status = false; ///< whether the line contains the platform's text for the value
};

/** How a value may be lost or changed. */
enum class Change {
    None,           ///< lost
    Gain,           ///< gained
    Any,            ///< changed to any value
    ToZero,         ///< changed to zero
    WithoutTime,    ///< a described report without its "calendar-time"
    WithoutBoot,    ///< a described report without its "boot-timestamp"
    Empty,          ///< an empty text
    UnreadProperty, ///< the value of a sensor property that cannot be read
    EarlierPut,     ///< the first value of a key that is set twice
    DefaultCounters ///< the line of event counters with a default in it
};

struct Effect {
    const char *where; ///< a shell pattern in which * does not match the / between the keys of a path
    Change change = Change::None;
};

/**
 * One way in which a failure shows: the lines that it causes, and what is missing. Of several effects the first always
 * shows and the others may; a single effect stands for exactly one difference. Without effects only the lines show.
 */
struct Outcome {
    std::vector<ExpectedLine> lines{};
    std::vector<Effect> effects{};
};

struct Expectation {
    unsigned runs; ///< a combination of `Run` values
    const char *operation;
    std::vector<Outcome> outcomes;
};

/** At most one row for each operation in a run. */
const Expectation *expectation(Run run, std::string_view operation);

/**
 * How much less is held permanently for each strike at a registration, on a device on which every service has both
 * plug-ins: a failed registration releases nothing that its context held, and everything else that it held.
 */
struct HeldLess {
    const char *operation;
    int plug_in_references; ///< of two: the driver's and the device's interface
    int entry_references;   ///< of two: the driver's and the device's entry
};

/** At most one row for each operation. */
const HeldLess *held_less(std::string_view operation);

/** An operation that can fail but that no run calls, with the reason. */
struct Exemption {
    const char *operation;
    const char *reason;
};

const std::vector<Exemption> &exemptions();

/**
 * Judges one struck run.
 * @param strikes_once  whether exactly one call failed. If so, one outcome must explain everything; if not, a sequence
 * of outcomes must explain the lines, and each difference must belong to one of them.
 * @return the problem; empty if the row explains everything.
 */
std::string judge(const Expectation &row, bool strikes_once, const std::vector<std::string> &lines,
                  const Differences &differences);

} // namespace sweep
