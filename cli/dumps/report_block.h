/** Reports on their way from an input to the output. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "cli/dumps/sequence_break.h"
#include "decoder/device_clock.h"
#include "qor/report.h"

namespace cli {

/** Reports that follow one another in an input. */
struct ReportPiece {
    std::uint64_t offset = 0;                        ///< of the first report, in the input
    std::span<const _QorProfileReport> reports;      ///< belong to the input; valid until its next call
    std::span<const decoder::device_clock> clocks{}; ///< of each report; empty when the input brings no clocks
    std::size_t input = 0;                           ///< the number of the input, from 0

    std::size_t count() const { return reports.size(); }
    const _QorProfileReport &report(std::size_t index) const { return reports[index]; }
    std::uint64_t offset_of(std::size_t index) const { return offset + index * _QorProfileReport::kSize; }
    ReportPiece first(std::size_t wanted) const {
        return {offset, reports.first(wanted), clocks.empty() ? clocks : clocks.first(wanted), input};
    }
};

/** What is said before a report. */
struct Mark {
    std::size_t place; ///< the index of that report in its block
    SequenceBreak what;
    std::uint64_t further; ///< how many more breaks followed this one before that report
};

/**
 * Selected reports, with what else is known of each. A vector besides `reports` is either empty or as long as
 * `reports`, except `separators` and `marks`.
 */
struct ReportBlock {
    std::vector<_QorProfileReport> reports;
    std::vector<std::uint64_t> offsets;        ///< in the input; empty unless they are wanted
    std::vector<decoder::device_clock> clocks; ///< empty when the input brings no clocks
    std::size_t input = 0;                     ///< the number of the input of all of them, unless there are `inputs`
    std::vector<std::size_t> inputs;           ///< of each report; empty unless several inputs are merged
    /** The indexes, in ascending order, of reports that begin a group of neighbours and are not the first of all. */
    std::vector<std::size_t> separators;
    std::vector<Mark> marks; ///< by place; empty unless they are wanted

    std::size_t size() const { return reports.size(); }
    bool empty() const { return reports.empty(); }
    std::size_t input_of(std::size_t index) const { return inputs.empty() ? input : inputs[index]; }

    void clear() {
        shrink_to(0);
        marks.clear();
    }

    /** Removes the reports from `size` on; there must be as many. */
    void shrink_to(std::size_t size) {
        while (!separators.empty() && separators.back() >= size) {
            separators.pop_back();
        }
        reports.resize(size);
        offsets.resize(offsets.empty() ? 0 : size);
        clocks.resize(clocks.empty() ? 0 : size);
        inputs.resize(inputs.empty() ? 0 : size);
    }

    /** Appends all reports of a piece, with their offsets if these are wanted. */
    void add_all(const ReportPiece &piece, bool with_offsets) {
        reports.insert(reports.end(), piece.reports.begin(), piece.reports.end());
        for (std::size_t i = 0; with_offsets && i < piece.count(); ++i) {
            offsets.push_back(piece.offset_of(i));
        }
        clocks.insert(clocks.end(), piece.clocks.begin(), piece.clocks.end());
    }

    /** Appends a report of a piece, with its offset if that is wanted. */
    void add(const ReportPiece &piece, std::size_t index, bool with_offset) {
        reports.push_back(piece.report(index));
        if (with_offset) {
            offsets.push_back(piece.offset_of(index));
        }
        if (!piece.clocks.empty()) {
            clocks.push_back(piece.clocks[index]);
        }
    }
};

} // namespace cli
