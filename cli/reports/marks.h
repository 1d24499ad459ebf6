/** Breaks on their way to the output, between the reports that are shown. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/dumps/report_block.h"
#include "cli/dumps/sequence_break.h"

namespace cli {

/** What people read: "gap: 3 missing", "clock goes back 0.000020s", "restart: number 3 after 9255". */
std::string break_text(const SequenceBreak &found);

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

    /**
     * Sees what was read, when the block has those of its reports that are shown, or has them later: an observer of
     * the reading. Without it there are only the breaks between shown neighbours.
     */
    void see(const ReportPiece &piece);

    /** Ends what `begin` began, when the block is filled. */
    void end();

private:
    struct Break {
        std::uint64_t offset; ///< of the report behind it
        SequenceBreak what;
        std::uint64_t further;
    };
    struct Shown {
        std::uint64_t offset;
        std::uint32_t number;
        std::uint64_t time;
    };
    struct Input {
        BreakWatch watch;
        std::uint64_t seen_to = 0;
        std::vector<Break> waiting; ///< for a report that is shown behind them
        std::optional<Shown> last_shown;

        void keep(const Break &found);
        std::vector<Break> take_up_to(std::uint64_t offset);
    };

    static void count_together(std::vector<Break> &breaks);
    Input &input(std::size_t number);
    void place_before(std::size_t input, std::uint64_t offset);
    void place_next();

    ReportBlock *_block = nullptr;
    std::size_t _placed = 0;    ///< the reports of the block that have their marks
    std::vector<Input> _inputs; ///< by number
};

} // namespace cli
