#include "tests/sweep/expectations.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <optional>
#include <set>

#include <fnmatch.h>

#include "platform/RvStatus.h"

namespace sweep {
namespace {

constexpr unsigned kCaptures = kFaultCapture | kRequestCapture;

const Outcome kNothingShows{};

/** One outcome for each place: its value is lost, and no line is logged. */
std::vector<Outcome> one_missing_of(std::initializer_list<const char *> places, std::initializer_list<Outcome> others) {
    std::vector<Outcome> outcomes;
    for (const char *place : places) {
        outcomes.push_back({{}, {{place}}});
    }
    outcomes.insert(outcomes.end(), others);
    return outcomes;
}

std::vector<Outcome> one_record_missing(std::initializer_list<Outcome> others = {}) {
    return one_missing_of({"ZEL Profile *", "SSHB Statistics", "SSHB assets", "SensorInfo"}, others);
}

// ---- an unreadable source of profile reports, by the first line that reports it

std::vector<Outcome> unreadable_source(const ExpectedLine &first) {
    return {
        {{first, {"kr == 0", 1072}}, {{"ZEL Profile * ;type=fw"}}},
        {{first, {"kr == 0", 1077}}, {{"ZEL Profile * ;type=drvx"}}},
        {{first, {"kr == 0", 1082}}, {{"ZEL Profile * ;type=err"}}},
    };
}

const Outcome kReportMissing{{}, {{"ZEL Profile */*"}}};

// ---- a value that cannot be created or set

/** The play-asset time is set for the down edge and then, under the same key, for the up edge. */
const Outcome kDownEdgeStays{{}, {{"SSHB Statistics/last button press/click [123]/play asset ts", Change::EarlierPut}}};

const std::vector<Outcome> kValueMissing =
    one_missing_of({"SSHB Statistics/*", "SSHB Statistics/*/*", "SSHB Statistics/*/*/*", "SSHB assets/*",
                    "SensorInfo/*", "SensorInfo/extra/*"},
                   {kDownEdgeStays,
                    // The down edge's play-asset time is lost: the up edge's overwrites it anyway.
                    kNothingShows});

// ---- a service that is not kept, or kept without an interface; the host observes the missing records

/**
 * Lost with a service: the button's records, a sensor's, or the analytics. The raw debug data is lost only with the
 * last service, since any kept service registers it.
 */
std::vector<Outcome> services_gone(const std::vector<ExpectedLine> &lines) {
    return {
        {lines,
         {{"kept services", Change::ToZero},
          {"SSHB Statistics"},
          {"SSHB assets"},
          {"SensorInfo"},
          {"callback of *"},
          {"ZEL Profile *"}}},
        {lines,
         {{"kept services", Change::Any}, {"SSHB Statistics"}, {"SSHB assets"}, {"SensorInfo"}, {"callback of *"}}},
    };
}

std::vector<Outcome> join(std::vector<Outcome> first, const std::vector<Outcome> &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/** The button's analytics callback was installed before. */
const std::vector<Effect> kServiceGoneButItsCallback = {
    {"kept services", Change::Any}, {"SSHB Statistics"}, {"SSHB assets"}};

/** No records at all. Without an object there is no factory instance either. */
const std::vector<Effect> kNoObject = {{"object"},
                                       {"interface"},
                                       {"factory instances", Change::Any},
                                       {"kept services", Change::Any},
                                       {"notification"},
                                       {"callback of *"},
                                       {"SSHB Statistics"},
                                       {"SSHB assets"},
                                       {"SensorInfo"},
                                       {"ZEL Profile *"}};
const std::vector<Effect> kNoInterface = {{"interface"},       {"kept services", Change::Any},
                                          {"notification"},    {"callback of *"},
                                          {"SSHB Statistics"}, {"SSHB assets"},
                                          {"SensorInfo"},      {"ZEL Profile *"}};

/** A kept service without a driver interface: its snapshots fail and log it in each capture. */
const std::vector<Effect> kNoDriverInterface = {{"a capture says context->_driver._interface", Change::Gain},
                                                {"a capture says result == 0 ", Change::Gain},
                                                {"SSHB Statistics"},
                                                {"SSHB assets"},
                                                {"SensorInfo"}};
const std::vector<Effect> kNoDeviceInterface = {{"callback of *"}};

const std::vector<Expectation> kTable = {
    // ---- from the factory to the last registered service

    {kStart,
     "RvUUIDGetConstantWithBytes",
     {{{}, kNoObject},                            // the plug-in type: the requested type differs from it
      {{}, {{"factory instances", Change::Any}}}, // the factory's UUID: the object is not counted as an instance
      {{}, kNoInterface},                         // an interface's UUID: it is not the requested one
      {{}, kNoDriverInterface},                   // a driver plug-in's: none can be created, and nothing is logged
      {{}, kNoDeviceInterface},                   // a device plug-in's
      kNothingShows}},                            // a plug-in's, for a service that needs none of its replies
    {kStart, "RvUUIDCreateWithBytes", {{{}, kNoInterface}}},
    {kStart,
     "RvAllocatorAllocate",
     {{{}, kNoObject},
      {{{"context->_device._hid"}}, kServiceGoneButItsCallback},
      kNothingShows}}, // the array or its growth: the service is kept anyway
    // The process has one log: without it no line is ever written, not even for the fault notification.
    {kStart, "RvLogCreate", {{{}, {{"notification"}}}}},
    {kStart, "TvStringCreateWithCString", {{{}, {{"key *"}}}}},
    {kStart, "RvNotifyRegister", {{{}, {{"notification"}}}}},
    {kStart, "RvHIDServiceCopyProperty",
     join(services_gone({}), {kNothingShows})}, // the service is ignored; some are ignored anyway
    // "ZELSupportsTallybook" then counts as false: no analytics, and a button group only by a usage.
    {kStart, "RvHIDServiceGetProperty", {{{}, kNoDeviceInterface}, kNothingShows}},
    {kStart, "RvHIDServiceGetRegistryID", services_gone({{"context->_driver._service"}})},
    {kStart, "RvRegistryCopyServiceMatchingID", services_gone({{"context->_driver._service"}})},
    {kStart, "RvRegistryEntryCopyParent", services_gone({{"kr == 0 ", 0, kRvStatusError}})},
    {kStart, "RvPlugInCreateForService", {{{}, kNoDriverInterface}, {{}, kNoDeviceInterface}, kNothingShows}},
    {kStart,
     "QorDriverQueryInterface",
     {{{{"((HRESULT)(Status) >= 0)"}, {"context->_driver._interface"}}, kNoDriverInterface},
      {{{"((HRESULT)(Status) >= 0)"}, {"context->_driver._interface"}}, {}}}},
    {kStart, "QorDriverStart", services_gone({{"kr == 0 ", 0, kRvStatusError}})},
    {kStart, "QorDriverCommand", {kNothingShows}}, // the analytics-ready command: its status is ignored
    {kStart,
     "QorDeviceQueryInterface",
     {{{{"((HRESULT)(Status) >= 0)"}, {"context->_device._interface"}}, kNoDeviceInterface},
      {{{"((HRESULT)(Status) >= 0)"}, {"context->_device._interface"}}, {}}}},
    {kStart, "QorDeviceStart", {kNothingShows}}, // the status is ignored
    {kStart, "RvHIDDeviceCreate", {{{{"context->_device._hid"}}, kServiceGoneButItsCallback}}},
    {kStart, "RvStateCaptureAddHandler", one_record_missing()},
    {kStart, kModuleMemory, join(services_gone({}), one_record_missing())}, // a handler's captures, or a context

    // ---- captures: the raw debug data, in either kind of request

    {kCaptures, "RvRegistryCopyServiceMatchingName", unreadable_source({"service"})},
    {kCaptures, "RvConnectionOpen", unreadable_source({"kr == 0 ", 0, kRvStatusError, true})},
    {kCaptures, "RvConnectionCallMethod", unreadable_source({"kr == 0 ", 0, kRvStatusError, true})},
    {kCaptures, "RvConnectionClose", {kNothingShows}}, // the status is ignored
    {kCaptures, "TvArrayCreateMutable", {{{{"array", 1093}}, {{"ZEL Profile *"}}}}},
    {kCaptures, "TvArrayAppend", {kReportMissing}},
    {kCaptures, "TvStringCreateWithBytes", {kReportMissing}},
    {kCaptures, "RvRegistryCopyServiceMatchingClass", {{{}, {{"ZEL Profile */*", Change::WithoutTime}}}}},
    {kCaptures, "RvKernelGetBootTime", {{{}, {{"ZEL Profile */*", Change::WithoutBoot}}}}},
    {kCaptures, "TvCreateBinaryEncoding", one_record_missing()},
    {kCaptures, "TvDataCreate", one_record_missing()}, // the host's own call, for an encoding
    {kCaptures, kModuleMemory,
     // The buffer of reports, a record, or the text of a report.
     one_record_missing({{{}, {{"ZEL Profile */*", Change::Empty}}}})},

    {kFaultCapture, "RvRegistryEntryCopyProperty", {{{}, {{"ZEL Profile */*", Change::WithoutTime}}}}},
    {kRequestCapture,
     "RvRegistryEntryCopyProperty",
     {{{}, {{"ZEL Profile */*", Change::WithoutTime}}},
      {{}, {{"SensorInfo/APEvents", Change::DefaultCounters}}},
      kNothingShows}}, // counters that are not published in any case

    // ---- captures: the snapshots, which only an explicit request includes

    {kRequestCapture,
     "QorDriverCommand",
     {{{{"result == 0 ", 613, kRvStatusError}}, {{"SSHB Statistics"}}},
      {{{"result == 0 ", 707, kRvStatusError}}, {{"SSHB assets"}}},
      {{{"result == 0 ", 922, kRvStatusError, true}}, {{"SensorInfo"}}},
      {{{"result == 0 ", 0, kRvStatusError}, {"result == 0 ", 1012, kRvStatusError, true}}, {{"SensorInfo"}}},
      {{}, {{"SensorInfo/*", Change::UnreadProperty}, {"SensorInfo/*", Change::UnreadProperty}}},
      {{}, {{"SensorInfo/extra/*"}, {"SensorInfo/extra/*"}}},
      kNothingShows}}, // a property that the driver lacks, or whose value is the default
    {kRequestCapture,
     "TvDictionaryCreateMutable",
     {{{{"state", 532}, {"sshbState != __null", 616}}, {{"SSHB Statistics"}}},
      {{{"stateDict", 641}, {"sshbState != __null", 710}}, {{"SSHB assets"}}},
      {{{"state", 919}}, {{"SensorInfo"}}},
      {{}, {{"SSHB Statistics/last button press"}}},
      {{}, {{"SSHB Statistics/last button press/click [123]"}}},
      {{}, {{"SSHB Statistics/latency"}}}}},
    {kRequestCapture, "TvNumberCreateSInt32",
     one_missing_of({"SSHB Statistics/last button press/*", "SensorInfo/*"}, {})},
    {kRequestCapture, "TvNumberCreateSInt64",
     one_missing_of({"SSHB Statistics/*/*", "SSHB Statistics/last button press/click [123]/*"},
                    {kDownEdgeStays, kNothingShows})},
    {kRequestCapture, "TvStringCreateWithCString", kValueMissing},
    {kRequestCapture, "TvDictionarySetValue", kValueMissing},
    {kRequestCapture, "RvRegistryEntryCopyParent", {{{{"kr == 0 ", 926, kRvStatusError, true}}, {{"SensorInfo"}}}}},
    {kRequestCapture, "RvRegistryEntryGetName", {{{}, {{"SensorInfo/sensorType", Change::Empty}}}}},
    {kRequestCapture,
     "RvRegistryEntryCopyChild",
     {{{{"interface"}}, {{"SensorInfo/APEvents"}}},
      {{{"driver"}}, {{"SensorInfo/APEvents"}}},
      {{{"uc"}}, {{"SensorInfo/APEvents"}}}}},

    // ---- analytics: compared with the model, without the calls that failed

    {kAnalyticsBatch, "TallybookScalarClear", {kNothingShows}},
    {kAnalyticsBatch, "TallybookScalarSet", {kNothingShows}},
    {kAnalyticsBatch, "TallybookScalarAdd", {kNothingShows}},
    {kAnalyticsBatch, "TallybookDistributionClear", {kNothingShows}},
    {kAnalyticsBatch, "TallybookDistributionSet", {kNothingShows}},
    {kAnalyticsBatch, "TallybookDistributionPush", {kNothingShows}},
    {kAnalyticsBatch, "TvStringCreateWithCString", {kNothingShows}}, // the key for unknown indexes

    // ---- shutdown

    // The object is destroyed anyway, but the host still counts it.
    {kShutdown, "RvUUIDGetConstantWithBytes", {{{}, {{"factory instances", Change::Any}}}}},
};

constexpr HeldLess kHeldLess[] = {
    {"RvHIDServiceGetRegistryID", 2, 2},
    {"RvRegistryCopyServiceMatchingID", 2, 2},
    {"RvRegistryEntryCopyParent", 2, 1}, // the driver's entry is held when either look-up fails
    {"RvPlugInCreateForService", 1, 0},
    {"QorDriverQueryInterface", 0, 0}, // instead of the interface, the plug-in object itself is never released
    {"QorDriverStart", 1, 0},
    {"QorDriverCommand", 0, 0},
    {"QorDeviceQueryInterface", 1, 0},
    {"QorDeviceStart", 0, 0},
    {"RvHIDDeviceCreate", 0, 0},
    {"RvStateCaptureAddHandler", 0, 0},
    {"RvNotifyRegister", 0, 0},
    {"TvStringCreateWithCString", 0, 0},
};

const std::vector<Exemption> kExemptions = {
    {"TvStringCreateWithFormat", "the module formats its texts itself and never calls it"},
};

// ---- judging

struct SeenLine {
    std::string condition;
    std::string error_text;
    std::string file;
    int line = 0;
    std::uint32_t value = 0;
};

/** Removes everything up to and including the first `separator` from `text` and returns the part before it. */
std::optional<std::string> cut(std::string &text, const std::string &separator) {
    const std::size_t at = text.find(separator);
    if (at == std::string::npos) {
        return std::nullopt;
    }
    std::string before = text.substr(0, at);
    text.erase(0, at + separator.size());
    return before;
}

template <typename Number>
bool parse(const std::string &text, Number &number, int base) {
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return result.ec == std::errc{} && result.ptr == text.data() + text.size();
}

/** "%s: Kelmarks: %s, %s file: %s, line: %d value:%x" with an empty component. */
std::optional<SeenLine> parse_assertion(std::string text) {
    const auto component = cut(text, ": Kelmarks: ");
    const auto condition = cut(text, ", ");
    const auto error_text = cut(text, " file: ");
    const auto file = cut(text, ", line: ");
    const auto line = cut(text, " value:");
    SeenLine seen;
    if (!component || !component->empty() || !condition || !error_text || !file || !line ||
        !parse(*line, seen.line, 10) || !parse(text, seen.value, 16)) {
        return std::nullopt;
    }
    seen.condition = *condition;
    seen.error_text = *error_text;
    seen.file = *file;
    return seen;
}

bool matches(const ExpectedLine &expected, const std::string &text) {
    const auto seen = parse_assertion(text);
    const char *status = RvStatusGetText(expected.value);
    const std::string error_text = expected.names_status && status != nullptr ? status : "";
    return seen && seen->condition == expected.condition && seen->error_text == error_text &&
           seen->file.find("OndreQORHIDStatistics") != std::string::npos && seen->value == expected.value &&
           (expected.line == 0 ? seen->line > 0 : seen->line == expected.line);
}

/** A described report without this field and the comma before it. */
std::string without_field(std::string text, const std::string &name) {
    const std::size_t begin = text.find(", '" + name + "':");
    if (begin == std::string::npos) {
        return text;
    }
    const std::size_t end = text.find_first_of(",}", begin + 1);
    return text.erase(begin, end - begin);
}

/** Whether this is a sensor property's text when it cannot be read: zeros, or the default of a word. */
bool is_unread_property(std::string_view key, const std::string &text) {
    static const std::set<std::string_view> words = {"systickInterval", "decimationEnabled",   "rawMode", "factoryMode",
                                                     "startupTime",     "calibrationComplete", "intCal"};
    static const std::set<std::string_view> intervals = {"sensorBatchInterval", "muxBatchInterval", "apBatchInterval",
                                                         "apReportInterval", "endpointBatchCount"};
    static const std::set<std::string_view> matrices = {"calibrationMatrix", "compassSensitivityCalibrationMatrix"};
    static const std::set<std::string_view> texts = {"manufacturer", "model", "registers"};
    static const std::string row = "0.000000 0.000000 0.000000";
    if (words.contains(key)) {
        return text == "-1";
    }
    if (intervals.contains(key)) {
        return text == "0";
    }
    if (matrices.contains(key)) {
        return text == row + " | " + row + " | " + row;
    }
    if (texts.contains(key)) {
        return text.empty();
    }
    return (key == "location" && text == "N/A") || (key == "calibrationOffset" && text == "0 0 0") ||
           (key == "orientationMatrix" && text == "0 0 0, 0 0 0, 0 0 0");
}

/** Whether one half of the line, or both, are at their defaults. */
bool has_default_counters(const Difference &difference) {
    const auto half_of = [](const std::string &text, bool second) {
        const std::size_t at = text.find(" [");
        return at == std::string::npos ? text : second ? text.substr(at) : text.substr(0, at);
    };
    const std::string driver = half_of(difference.after, false);
    const std::string client = half_of(difference.after, true);
    const bool driver_is_default = driver == "-1";
    const bool client_is_default = client == " [enqueued=-1 dropped=-1; event_delta=0.000000 dropped_delta=0.000000]\n";
    return (driver_is_default || driver == half_of(difference.before, false)) &&
           (client_is_default || client == half_of(difference.before, true)) &&
           (driver_is_default || client_is_default);
}

bool is_such_change(Change change, const Difference &difference) {
    if (change == Change::None || change == Change::Gain) {
        return difference.kind == (change == Change::None ? Difference::Lost : Difference::Gained);
    }
    if (difference.kind != Difference::Changed) {
        return false;
    }
    switch (change) {
    case Change::Any:
        return true;
    case Change::ToZero:
        return difference.after == "0";
    case Change::WithoutTime:
        return difference.after == without_field(difference.before, "calendar-time");
    case Change::WithoutBoot:
        return difference.after == without_field(difference.before, "boot-timestamp");
    case Change::Empty:
        return difference.after.empty();
    case Change::UnreadProperty:
        return is_unread_property(difference.where.substr(difference.where.rfind('/') + 1), difference.after);
    case Change::EarlierPut:
        return true; // the row's pattern names the key
    case Change::DefaultCounters:
        return has_default_counters(difference);
    default:
        return false;
    }
}

bool matches(const Effect &effect, const Difference &difference) {
    return ::fnmatch(effect.where, difference.where.c_str(), FNM_PATHNAME) == 0 &&
           is_such_change(effect.change, difference);
}

bool explains(const Outcome &outcome, const Difference &difference) {
    return std::any_of(outcome.effects.begin(), outcome.effects.end(),
                       [&](const Effect &effect) { return matches(effect, difference); });
}

/** Whether the outcome's first effect, which always shows, is among the differences. */
bool shows(const Outcome &outcome, const Differences &differences) {
    return outcome.effects.empty() ||
           std::any_of(differences.begin(), differences.end(),
                       [&](const Difference &difference) { return matches(outcome.effects.front(), difference); });
}

bool line_sequence_matches(const std::vector<ExpectedLine> &expected, const std::vector<std::string> &lines,
                           std::size_t at) {
    if (lines.size() - at < expected.size()) {
        return false;
    }
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (!matches(expected[i], lines[at + i])) {
            return false;
        }
    }
    return true;
}

/** Whether exactly this outcome, once, was observed. */
bool is_exactly(const Outcome &outcome, const std::vector<std::string> &lines, const Differences &differences) {
    const bool is_one_thing = outcome.effects.size() > 1 || differences.size() == outcome.effects.size();
    return lines.size() == outcome.lines.size() && line_sequence_matches(outcome.lines, lines, 0) && is_one_thing &&
           shows(outcome, differences) &&
           std::all_of(differences.begin(), differences.end(),
                       [&](const Difference &difference) { return explains(outcome, difference); });
}

/** Finds a sequence of outcomes that writes exactly these lines and each of which shows. */
bool cover(const Expectation &row, const std::vector<std::string> &lines, const Differences &differences,
           std::size_t at, std::vector<const Outcome *> &used) {
    if (at == lines.size()) {
        return true;
    }
    for (const Outcome &outcome : row.outcomes) {
        if (!outcome.lines.empty() && line_sequence_matches(outcome.lines, lines, at) && shows(outcome, differences)) {
            used.push_back(&outcome);
            if (cover(row, lines, differences, at + outcome.lines.size(), used)) {
                return true;
            }
            used.pop_back();
        }
    }
    return false;
}

std::string judge_series(const Expectation &row, const std::vector<std::string> &lines,
                         const Differences &differences) {
    std::vector<const Outcome *> used;
    if (!cover(row, lines, differences, 0, used)) {
        return "no sequence of expected outcomes explains these lines";
    }
    for (const Outcome &outcome : row.outcomes) {
        if (outcome.lines.empty()) {
            used.push_back(&outcome);
        }
    }
    for (const Difference &difference : differences) {
        if (std::none_of(used.begin(), used.end(),
                         [&](const Outcome *outcome) { return explains(*outcome, difference); })) {
            return "unexpected: " + to_string(difference);
        }
    }
    return "";
}

} // namespace

const char *name_of(Run run) {
    switch (run) {
    case kStart:
        return "start to registered";
    case kFaultCapture:
        return "fault capture";
    case kRequestCapture:
        return "request capture";
    case kAnalyticsBatch:
        return "analytics batch";
    default:
        return "shutdown";
    }
}

const Expectation *expectation(Run run, std::string_view operation) {
    const auto found = std::find_if(kTable.begin(), kTable.end(), [&](const Expectation &row) {
        return (row.runs & run) != 0 && row.operation == operation;
    });
    return found == kTable.end() ? nullptr : &*found;
}

const HeldLess *held_less(std::string_view operation) {
    const auto *found = std::find_if(std::begin(kHeldLess), std::end(kHeldLess),
                                     [&](const HeldLess &row) { return row.operation == operation; });
    return found == std::end(kHeldLess) ? nullptr : found;
}

const std::vector<Exemption> &exemptions() { return kExemptions; }

std::string judge(const Expectation &row, bool strikes_once, const std::vector<std::string> &lines,
                  const Differences &differences) {
    if (!strikes_once) {
        return judge_series(row, lines, differences);
    }
    const bool explained = std::any_of(row.outcomes.begin(), row.outcomes.end(),
                                       [&](const Outcome &outcome) { return is_exactly(outcome, lines, differences); });
    return explained ? "" : "none of the expected outcomes is what was seen";
}

} // namespace sweep
