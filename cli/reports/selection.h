/** Which reports of a dump are decoded: a filter, and the first or the last of those that pass it. */
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "cli/reports/filter.h"
#include "cli/reports/followed_file.h"
#include "cli/reports/report_block.h"
#include "qor/report.h"

namespace cli {

/** The user's choice of reports. */
struct Selection {
    FilterWords filter;
    std::optional<std::uint64_t> first; ///< of those that pass the filter
    std::optional<std::uint64_t> last;  ///< of those that pass the filter; not together with `first`
    Follow follow = Follow::Nothing;    ///< a regular file is read as it grows, until an interruption
};

/** The limit of `last` where the input cannot be read backwards: those reports are kept in memory. */
inline constexpr std::uint64_t kLastOfAPipeAtMost = 1'000'000;

/**
 * Decides report by report, in their order, up to the first N that pass: of all inputs together, which share the
 * object. One thread at a time.
 */
class ReportSelector {
public:
    /** @throws WrongUse for unknown names, and for `first` together with `last`. */
    explicit ReportSelector(const Selection &selection);
    ReportSelector(const ReportSelector &) = delete;
    ReportSelector &operator=(const ReportSelector &) = delete;

    /** False when the first N have been selected: no later report will be. */
    bool wants_more() const { return _left != 0U; }

    /**
     * Appends the selected reports of the next piece of an input to `selected`, without counting them.
     * @param with_offsets  appends their offsets too.
     * @return how many were looked at: those behind the last one that `first` wants are not.
     */
    std::size_t select(const ReportPiece &piece, ReportBlock &selected, bool with_offsets) const;
    /** Of so many reports that pass, how many are selected; does not count them. */
    std::size_t wanted_of(std::size_t passing) const {
        return static_cast<std::size_t>(std::min<std::uint64_t>(passing, _left.value_or(passing)));
    }
    /** Counts reports that `select` or `wanted_of` selected. */
    void count_selected(std::size_t count) {
        if (_left) {
            *_left -= count;
        }
    }

    const ReportFilter &filter() const { return _filter; }

private:
    ReportFilter _filter;
    std::optional<std::uint64_t> _left; ///< how many of the first N are still to come
};

/** Keeps the last N reports of a sequence. One thread at a time. */
class LastReports {
public:
    /**
     * @param with_offsets  keeps their offsets too, 8 bytes each.
     * @throws WrongUse when `count` is above `kLastOfAPipeAtMost`.
     */
    explicit LastReports(std::uint64_t count, bool with_offsets = false);

    /** @param offset  forgotten unless offsets are kept. */
    void add(const _QorProfileReport &report, std::uint64_t offset = 0);

    std::size_t size() const { return _size; }
    /** Removes the oldest report and appends it to `block`, with its offset if that was kept. There must be one. */
    void give_oldest(ReportBlock &block);

private:
    /** A block is large enough to be the system's own pages, so that memory is 48 bytes a report and no more. */
    static constexpr std::size_t kBlockReports = 4096;

    struct Block {
        std::vector<_QorProfileReport> reports;
        std::vector<std::uint64_t> offsets; ///< empty unless they are kept
    };

    std::size_t _count;
    bool _keeps_offsets;
    std::vector<Block> _blocks; ///< a ring of `_count` places, created when first used
    std::size_t _created = 0;
    std::size_t _oldest = 0;
    std::size_t _size = 0;
};

} // namespace cli
