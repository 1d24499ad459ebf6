/** The section of a page that shows every report on a line of time. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "cli/dumps/clock.h"
#include "cli/dumps/owner_names.h"
#include "cli/dumps/report_block.h"
#include "cli/dumps/sequence_break.h"
#include "cli/page/page.h"
#include "cli/recordings/recordings.h"

namespace cli {

/** How much of its recordings a time line keeps. */
struct TimeLineLimits {
    /** Of all recordings. When there are more, every second one is kept, or every fourth, and so on. */
    std::size_t reports = std::size_t{1} << 20;
    /** Of the packed columns. When even the columns without payloads are larger, reports are left out as above. */
    std::size_t packed_bytes = 5'400'000;
    /** Of breaks, and of stretches: of all recordings, each of which gets an equal share. */
    std::size_t breaks = std::size_t{1} << 14;
};

/** The reports between two restarts of the coprocessor. */
struct TimeLineStretch {
    std::uint64_t first_report; ///< its index in the recording
    std::uint64_t first_time;   ///< the least time stamp
    std::uint64_t last_time;    ///< the greatest
};

/** A place where a recording does not go on as it should. */
struct TimeLineBreak {
    std::size_t stretch; ///< of the report after it
    SequenceBreak what;
};

/** What is kept of a recording. */
struct TimeLineRecording {
    /** Breaks that are kept of a recording at most; of the others there is the number. The same for stretches. */
    static constexpr std::size_t kBreaksAtMost = 4096;

    std::string file;
    std::string device;
    std::uint64_t report_count = 0;         ///< of all that were read
    std::vector<_QorProfileReport> reports; ///< every report whose index is a multiple of the stride
    std::vector<TimeLineStretch> stretches;
    std::vector<TimeLineBreak> breaks;
    std::uint64_t break_count = 0;
    BreakWatch watch{};
    decoder::device_clock clock{};
};

/**
 * Gathers reports, in memory that is bounded by the limits, and makes them a section of a page with its blocks.
 * `docs/report.md` says what the section shows, and what it leaves out when there is much. One thread at a time.
 */
class TimeLine {
public:
    /** @param names  must live as long as the object. */
    explicit TimeLine(const OwnerNames &names, TimeLineLimits limits = {}) : _names(names), _limits(limits) {}

    /** The reports that follow are of this recording. */
    void begin(const Recording &recording);
    void add(const ReportPiece &piece);
    /** The reports of the recording have been added. @param clock  of the recording. */
    void end(const decoder::device_clock &clock);

    /** Adds the section and its blocks. Afterwards the object is used up. */
    void finish(Page &page);

private:
    bool can_be_fewer() const { return _kept > _recordings.size(); }
    void halve();

    const OwnerNames &_names;
    TimeLineLimits _limits;
    std::vector<TimeLineRecording> _recordings;
    std::uint64_t _stride = 1; ///< of the reports that are kept: a power of two
    std::size_t _kept = 0;     ///< reports of all recordings
};

} // namespace cli
