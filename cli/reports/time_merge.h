/** The reports of several inputs in the order of time. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <queue>
#include <utility>
#include <vector>

#include "cli/dumps/report_block.h"
#include "cli/reports/source.h"
#include "decoder/device_clock.h"
#include "host/error.h"

namespace cli {

/**
 * Merges sources by the time stamps of their reports, or by the wall-clock time when every source begins with a report
 * that brings its own. Each input keeps its order: a report whose time goes back comes when its turn comes. Of equal
 * times, the input with the lower number is first.
 *
 * At most `kOpenAtMost` of the sources that can be opened again are open. One thread at a time.
 */
class TimeMerge {
public:
    static constexpr std::size_t kOpenAtMost = 128;
    /** The most reports of a source that are in memory. */
    static constexpr std::size_t kReportsOfASource = 256;

    /** What the owner of the inputs does. The number is that of the input. */
    struct Hooks {
        /** Opens an input again, at that offset. @throws host::Error. */
        std::function<std::unique_ptr<ReportSource>(std::size_t number, std::uint64_t offset)> open_again;
        std::function<void(std::size_t number, const ReportSource &source)> at_end;
        std::function<void(const host::Error &error)> at_failure;
    };

    /** How many of the merged reports are given. */
    struct Limits {
        std::optional<std::uint64_t> first{};
        std::optional<std::uint64_t> last{}; ///< kept in memory; not together with `first`
    };

    /** @throws WrongUse when more of the last are wanted than are kept. */
    TimeMerge(Hooks hooks, const Limits &limits);

    /** Adds a source, before any `next`, and reads nothing. Its blocks have at most `kReportsOfASource` reports. */
    void add(std::size_t number, std::unique_ptr<ReportSource> source, bool can_be_opened_again);

    /** Calls the function with the sources that are open. What opens one again sees to the others. */
    void for_each_open(const std::function<void(ReportSource &source)> &use);

    /** Gives up to `ReportSource::kBlockReports`, with their inputs. @return false, with an empty block, at the end. */
    bool next(ReportBlock &block);

private:
    /** A source, or the place where it goes on, and its next reports. */
    struct Cursor {
        std::size_t number;
        std::unique_ptr<ReportSource> source; ///< null when it is closed
        bool can_be_opened_again;
        std::uint64_t offset = 0; ///< where a closed one goes on
        ReportBlock block{};
        std::size_t at = 0; ///< in the block
        std::optional<decoder::time_sync> sync{};
    };
    struct Merged {
        _QorProfileReport report;
        std::uint64_t offset;
        decoder::device_clock clock;
        std::size_t input;
    };
    using Turn = std::pair<std::uint64_t, std::size_t>; ///< the time, and an index into `_cursors`

    void start();
    void keep_last(std::size_t count);
    std::optional<Merged> take();
    void queue(std::size_t index);
    bool refill(Cursor &cursor);
    void close(Cursor &cursor);
    void give(const Merged &merged, ReportBlock &block) const;

    Hooks _hooks;
    Limits _limits;
    std::deque<Cursor> _cursors;
    std::priority_queue<Turn, std::vector<Turn>, std::greater<>> _turns;
    std::size_t _open = 0; ///< of those that can be opened again
    std::deque<Merged> _kept;
    bool _has_started = false;
    bool _has_offsets = false;
    bool _has_clocks = false;   ///< of any source
    bool _is_wall_time = false; ///< the times by which reports are merged
};

} // namespace cli
