/** Breaks on their way to the output, between the reports that are shown. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "cli/reports/report_block.h"
#include "cli/reports/sequence_break.h"

namespace cli {

/**
 * Gives each block the breaks between its reports. Everything that is read counts, so a filter makes no gaps: what lies
 * between two shown reports stands before the second one. Breaks behind the last shown report are not given.
 *
 * Memory is bounded: between two shown reports, the first breaks are kept and further ones counted; of those a restart
 * takes the place of the last one kept. One thread at a time.
 */
class MarkFinder {
public:
    /** The most breaks that are told apart between two shown reports. */
    static constexpr std::size_t kMarksAtMost = 8;

    /** From now on marks go to `block`, which is about to be filled. It must have offsets, and outlive the filling. */
    void begin(ReportBlock &block);

    /** Sees what was read, when the block has those of its reports that are shown: an observer of the reading. */
    void see(const ReportPiece &piece);

private:
    void keep(const SequenceBreak &what);
    void place_before(std::uint64_t offset);

    ReportBlock *_block = nullptr;
    std::size_t _placed = 0; ///< the reports of the block that have their marks
    std::optional<std::size_t> _input;
    BreakWatch _watch; ///< of that input
    std::vector<Mark> _pending;
};

} // namespace cli
