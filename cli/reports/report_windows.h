/** The reports of an input that are looked for, with those around them. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <variant>
#include <vector>

#include "cli/dumps/report_block.h"
#include "cli/reports/context_window.h"
#include "decoder/device_clock.h"
#include "qor/report.h"

namespace cli {

/** Which of the reports that are looked for are shown. */
enum class WindowKind {
    Each,    ///< every one
    Nearest, ///< the nearest one, the first of several
    Last,    ///< the last ones
};

/** Takes the reports of one input one after the other and gives those that are shown. One thread at a time. */
class ReportWindows {
public:
    /**
     * @param context  how many reports before and after each.
     * @param last     how many, for `WindowKind::Last`.
     */
    ReportWindows(WindowKind kind, std::uint64_t context, std::uint64_t last);

    /** Adds the next report. @param distance  nothing for a report that is not looked for; only the nearest needs it.
     */
    void add(const ReportPiece &piece, std::size_t index, const std::optional<std::uint64_t> &distance);
    /** After the last report: what is shown is known now. */
    void end();

    /** Whether the next report is shown whatever it is. */
    bool shows_next() const;
    /** Whether no later report is shown. */
    bool is_settled() const;
    /** How many reports were looked for and found; at most the last ones that are wanted. */
    std::uint64_t hit_count() const { return _hits; }

    /** How many reports can be given. */
    std::size_t ready() const { return _ready.size(); }
    /**
     * Moves up to `most` reports that can be given to the end of `block`.
     * @param with_offsets  with their offsets.
     * @return the indexes, in the block, of those that do not follow the report that was given before them.
     */
    std::vector<std::size_t> give(ReportBlock &block, std::size_t most, bool with_offsets);

private:
    /** A report with what a piece knows of it. */
    struct Placed {
        _QorProfileReport report;
        std::uint64_t offset;
        std::optional<decoder::device_clock> clock;
    };
    using Windows = std::variant<ContextWindow<Placed>, NearestWindow<Placed>, LastWindows<Placed>>;

    static Windows windows_of(WindowKind kind, std::uint64_t context, std::uint64_t last);

    Windows _windows;
    std::uint64_t _most_hits;
    std::uint64_t _hits = 0;
    std::deque<Shown<Placed>> _ready;
    std::optional<std::uint64_t> _next_number; ///< of the report behind the one that was given last
};

} // namespace cli
