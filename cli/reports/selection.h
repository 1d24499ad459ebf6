/** Which reports of a dump are decoded: a filter, and the first or the last of those that pass it. */
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "cli/dumps/followed_file.h"
#include "cli/dumps/report_block.h"
#include "cli/reports/around.h"
#include "cli/reports/filter.h"
#include "cli/reports/time_limits.h"
#include "decoder/device_clock.h"
#include "qor/report.h"

namespace cli {

/** The user's choice of reports. */
struct Selection {
    FilterWords filter;
    std::optional<std::uint64_t> first;     ///< of those that pass the filter
    std::optional<std::uint64_t> last;      ///< of those that pass the filter; not together with `first`
    Follow follow = Follow::Nothing;        ///< a regular file is read as it grows, until an interruption
    std::optional<std::uint64_t> context{}; ///< how many reports are shown before and after each that is chosen
    /** Of each input only the nearest to that is chosen, with `kContextOfAround` or `context`; without first and last.
     */
    std::optional<Around> around{};
    /** The clock of inputs for wall-clock times; nothing when it is that which an input brings. */
    std::optional<decoder::time_sync> sync{};
};

/** What has to be known of an input before its reports can be chosen. */
TimeNeeds needs_of(const Selection &selection);

/** How many reports are shown before and after the one that is asked for, unless it is said. */
inline constexpr std::uint64_t kContextOfAround = 10;
/** The limit of `context`: so many reports are kept in memory. */
inline constexpr std::uint64_t kContextAtMost = 100'000;

/** The limit of `last` where the input cannot be read backwards: those reports are kept in memory. */
inline constexpr std::uint64_t kLastOfAPipeAtMost = 1'000'000;

/**
 * Decides report by report, in their order, up to the first N that pass: of all inputs together, which share the
 * object. One thread at a time.
 */
class ReportSelector {
public:
    /**
     * @throws WrongUse for unknown names, for what excludes each other, and for more than is kept in memory.
     */
    explicit ReportSelector(const Selection &selection);
    ReportSelector(const ReportSelector &) = delete;
    ReportSelector &operator=(const ReportSelector &) = delete;

    /** False when the first N have been selected: no later report will be. */
    bool wants_more() const { return _left != 0U; }

    /**
     * Appends the selected reports of the next piece of an input to `selected`, without counting them.
     * @param limits        of that input.
     * @param with_offsets  appends their offsets too.
     * @return how many were looked at: those behind the last one that `first` wants are not.
     */
    std::size_t select(const ReportPiece &piece, const TimeLimits &limits, ReportBlock &selected,
                       bool with_offsets) const;
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
    const std::optional<Around> &around() const { return _around; }

    /** How many reports are shown before and after each that is chosen; nothing when only those are shown. */
    std::optional<std::uint64_t> context() const { return _context; }
    /** `needs_of` the selection. */
    const TimeNeeds &needs() const { return _needs; }
    /** The clock of all inputs; nothing when it is that which an input brings. */
    const std::optional<decoder::time_sync> &sync() const { return _sync; }
    /** The clock of a report. */
    const std::optional<decoder::time_sync> &sync_of(const ReportPiece &piece, std::size_t index) const {
        return _sync || piece.clocks.empty() ? _sync : piece.clocks[index].sync;
    }

    /** Counts a group of neighbours that is shown. @return whether it is the first one of all inputs. */
    bool begin_group() { return !std::exchange(_has_groups, true); }

private:
    ReportFilter _filter;
    std::optional<std::uint64_t> _left; ///< how many of the first N are still to come
    std::optional<std::uint64_t> _context;
    std::optional<Around> _around;
    std::optional<decoder::time_sync> _sync;
    TimeNeeds _needs;
    bool _has_groups = false;
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
