/**
 * The section on top of a report: what was read of each device, what of it was lost, what woke the application
 * processor, and which functions took long.
 */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "cli/dumps/clock.h"
#include "cli/dumps/owner_names.h"
#include "cli/dumps/report_block.h"
#include "cli/dumps/sequence_break.h"
#include "cli/page/counted_durations.h"
#include "cli/page/page.h"
#include "cli/recordings/recordings.h"
#include "qor/report.h"

namespace cli {

/** Counts reports while they are read. One thread at a time. Memory is bounded by the distinct durations of functions.
 */
class SummarySection {
public:
    /** Functions that are listed: those with the greatest 99th percentile. */
    static constexpr std::size_t kFunctionsShown = 20;
    /** Gaps and restarts that are listed of each, the first ones. */
    static constexpr std::size_t kBreaksShown = 20;
    /** Distinct events, functions and reasons of wakes beyond these are counted together. */
    static constexpr std::size_t kDistinctAtMost = 10'000;

    /** @param names  the owner's; they and the clock outlive the section. */
    SummarySection(const OwnerNames &names, const DumpClock &clock);

    /** What follows, up to `end`, is of this recording. */
    void begin(const Recording &recording);
    void see(const ReportPiece &piece);
    /** @param trailing_bytes  after the last whole report. @param is_whole  whether it could be read to its end. */
    void end(std::size_t trailing_bytes, bool is_whole);

    PageSection finish();

private:
    struct Device {
        std::uint64_t recordings = 0;
        std::uint64_t damaged = 0; ///< recordings that could not be read to their end
        std::uint64_t reports = 0;
        std::uint64_t earliest = 0;
        std::uint64_t latest = 0;
        std::uint64_t time = 0; ///< sum over the stretches between restarts
        std::uint64_t gaps = 0;
        std::uint64_t missing = 0;
        std::uint64_t restarts = 0;
        std::uint64_t trailing_bytes = 0;
        std::uint64_t wakes = 0;
        std::optional<decoder::time_sync> sync; ///< of the first report
    };

    /** A place where a recording does not go on as it should. */
    struct Break {
        std::string device;
        std::string file;
        std::uint64_t offset;
        SequenceBreak what;
    };

    struct Wake {
        bool is_event; ///< a wake event, else a wake request
        std::uint32_t reason;

        friend auto operator<=>(const Wake &, const Wake &) = default;
    };

    struct Function {
        std::string name; ///< UTF-8
        std::optional<std::uint64_t> id;
        CountedDurations durations;
    };

    void see_report(const _QorProfileReport &report);
    void see_break(std::uint64_t offset, const SequenceBreak &found);
    void see_wake(std::size_t payload, const _QorProfileReport &report);
    void end_stretch();
    CountedDurations *durations_of(const struct FunctionCall &call);

    Json devices_json() const;
    Json events_json() const;
    Json wakes_json() const;
    Json functions_json();
    Json breaks_json(const std::vector<Break> &breaks) const;

    const OwnerNames &_names;
    const DumpClock &_clock;

    std::map<std::string, Device> _devices;
    std::unordered_map<std::uint32_t, std::uint64_t> _events; ///< by category, component and event
    std::uint64_t _other_events = 0;
    std::map<Wake, std::uint64_t> _wakes;
    std::uint64_t _other_wakes = 0;
    std::vector<Function> _functions;
    std::unordered_map<std::uint64_t, std::size_t> _functions_by_id; ///< places in `_functions`
    std::unordered_map<std::string, std::size_t> _functions_by_text; ///< the same
    std::uint64_t _other_calls = 0;
    std::uint64_t _gap_count = 0;
    std::vector<Break> _gaps;
    std::vector<Break> _restarts;

    // Of the recording that is being read.
    Device *_device = nullptr;
    std::string _device_name;
    std::string _file;
    BreakWatch _watch;
    std::uint64_t _stretch_earliest = 0;
    std::uint64_t _stretch_latest = 0;
    bool _has_stretch = false;
};

} // namespace cli
