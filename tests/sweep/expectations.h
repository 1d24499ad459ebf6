/** What each failure leads to: the log lines that it writes, and what is missing afterwards. */
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

/** The name under which allocations of the module stand among the operations. */
inline constexpr const char *kModuleMemory = "memory of the module";

/** An assertion line. */
struct ExpectedLine {
    const char *condition;
    int line = 0;              ///< 0: wherever it is checked
    std::uint32_t value = 0;   ///< the failing status, or 0
    bool names_status = false; ///< whether the platform's text for the value stands in the line
};

/** What a lost or changed thing may look like. */
enum class Change {
    None,           ///< it is lost
    Gain,           ///< it was not there before
    Any,            ///< it is another
    ToZero,         ///< it is none any more
    WithoutTime,    ///< a described report without its "calendar-time"
    WithoutBoot,    ///< a described report without its "boot-timestamp"
    Empty,          ///< an empty text
    UnreadProperty, ///< what a sensor's property is in the snapshot when it cannot be read
    EarlierPut,     ///< of a key that is put twice the first value
    DefaultCounters ///< the line of event counters with a default in it
};

struct Effect {
    const char *where; ///< a shell pattern in which * does not match the / between the keys of a path
    Change change = Change::None;
};

/**
 * One way in which a failure shows: the lines that it writes, and what is missing. With several effects the first
 * always shows and the others may come with it; one effect alone is one thing. Without effects nothing but the lines
 * shows.
 */
struct Outcome {
    std::vector<ExpectedLine> lines{};
    std::vector<Effect> effects{};
};

struct Expectation {
    unsigned runs; ///< together
    const char *operation;
    std::vector<Outcome> outcomes;
};

/** One row, or none, for each operation in a run. */
const Expectation *expectation(Run run, std::string_view operation);

/**
 * How much less is held for good for each strike at a registration, on a device on which every service has both
 * plug-ins: a failed registration gives back nothing of what its context held, and all else that it held.
 */
struct HeldLess {
    const char *operation;
    int plug_in_references; ///< of two: the driver's and the device's interface
    int entry_references;   ///< of two: the driver's and the device's entry
};

/** One row, or none. */
const HeldLess *held_less(std::string_view operation);

/** An operation that can fail and that no run strikes, with the reason. */
struct Exemption {
    const char *operation;
    const char *reason;
};

const std::vector<Exemption> &exemptions();

/**
 * Judges one struck run.
 * @param strikes_once  whether exactly one call failed: one outcome must explain everything then. Else the outcomes
 *                      that follow one another must explain the lines, and each difference must be one of theirs.
 * @return what is wrong; empty when the row explains everything.
 */
std::string judge(const Expectation &row, bool strikes_once, const std::vector<std::string> &lines,
                  const Differences &differences);

} // namespace sweep
