#include "cli/reports/time_merge.h"

#include <algorithm>
#include <string>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/wrong_use.h"
#include "cli/reports/selection.h"

namespace cli {

TimeMerge::TimeMerge(Hooks hooks, const Limits &limits) : _hooks(std::move(hooks)), _limits(limits) {
    if (limits.last.value_or(0) > kLastOfAPipeAtMost) {
        throw WrongUse(invalid_value("--last", std::to_string(*limits.last)) + ": expected at most " +
                       std::to_string(kLastOfAPipeAtMost) + " with --merge-by");
    }
}

void TimeMerge::add(std::size_t number, std::unique_ptr<ReportSource> source, bool can_be_opened_again) {
    Cursor cursor{.number = number, .source = std::move(source), .can_be_opened_again = can_be_opened_again};
    _open += can_be_opened_again ? 1 : 0;
    if (can_be_opened_again && _open > kOpenAtMost) {
        close(cursor);
    }
    _cursors.push_back(std::move(cursor));
}

void TimeMerge::for_each_open(const std::function<void(ReportSource &source)> &use) {
    for (Cursor &cursor : _cursors) {
        if (cursor.source) {
            use(*cursor.source);
        }
    }
}

bool TimeMerge::next(ReportBlock &block) {
    block.clear();
    if (!_has_started) {
        start();
    }
    if (_limits.last) {
        for (; !_kept.empty() && block.size() < ReportSource::kBlockReports; _kept.pop_front()) {
            give(_kept.front(), block);
        }
        return !block.empty();
    }
    while (block.size() < ReportSource::kBlockReports && _limits.first != 0U) {
        const std::optional<Merged> merged = take();
        if (!merged) {
            break;
        }
        give(*merged, block);
        if (_limits.first) {
            --*_limits.first;
        }
    }
    return !block.empty();
}

/** Reads the first reports, and decides what holds for all. */
void TimeMerge::start() {
    _has_started = true;
    std::deque<Cursor> filled;
    for (Cursor &cursor : _cursors) {
        if (refill(cursor)) {
            filled.push_back(std::move(cursor));
        }
    }
    _cursors = std::move(filled);
    _is_wall_time = !_cursors.empty();
    for (const Cursor &cursor : _cursors) {
        _has_offsets = _has_offsets || !cursor.block.offsets.empty();
        _has_clocks = _has_clocks || !cursor.block.clocks.empty();
        _is_wall_time = _is_wall_time && !cursor.block.clocks.empty() && cursor.block.clocks.front().sync;
    }
    for (std::size_t index = 0; index < _cursors.size(); ++index) {
        queue(index);
    }
    if (_limits.last) {
        keep_last(static_cast<std::size_t>(*_limits.last));
    }
}

void TimeMerge::keep_last(std::size_t count) {
    while (std::optional<Merged> merged = take()) {
        _kept.push_back(*merged);
        if (_kept.size() > count) {
            _kept.pop_front();
        }
    }
}

/** The next report of all. */
std::optional<TimeMerge::Merged> TimeMerge::take() {
    if (_turns.empty()) {
        return std::nullopt;
    }
    const std::size_t index = _turns.top().second;
    _turns.pop();
    Cursor &cursor = _cursors[index];
    const ReportBlock &block = cursor.block;
    const Merged merged{block.reports[cursor.at], _has_offsets ? block.offsets[cursor.at] : 0,
                        block.clocks.empty() ? decoder::device_clock{} : block.clocks[cursor.at], cursor.number};
    ++cursor.at;
    if (cursor.at != block.size() || refill(cursor)) {
        queue(index);
    }
    return merged;
}

/** Queues the next report of a cursor, which has one. */
void TimeMerge::queue(std::size_t index) {
    Cursor &cursor = _cursors[index];
    std::uint64_t time = cursor.block.reports[cursor.at].timestamp();
    if (_is_wall_time) {
        // One without a clock lies by that of the report before it.
        const std::optional<decoder::time_sync> &own = cursor.block.clocks[cursor.at].sync;
        cursor.sync = own ? own : cursor.sync;
        time = decoder::wall_time(time, *cursor.sync);
    }
    _turns.emplace(time, index);
}

/** @return false when the source has ended or failed; the cursor is closed then. */
bool TimeMerge::refill(Cursor &cursor) {
    cursor.at = 0;
    try {
        if (!cursor.source) {
            cursor.source = _hooks.open_again(cursor.number, cursor.offset);
            ++_open;
        }
        if (cursor.source->next(cursor.block)) {
            if (cursor.can_be_opened_again && _open > kOpenAtMost) {
                cursor.offset = cursor.source->input().trailing_bytes().offset;
                close(cursor);
            }
            return true;
        }
        _hooks.at_end(cursor.number, *cursor.source);
        close(cursor);
    } catch (const host::Error &error) {
        close(cursor);
        _hooks.at_failure(error);
    }
    cursor.block = {};
    return false;
}

void TimeMerge::close(Cursor &cursor) {
    _open -= cursor.source && cursor.can_be_opened_again ? 1 : 0;
    cursor.source.reset();
}

void TimeMerge::give(const Merged &merged, ReportBlock &block) const {
    block.reports.push_back(merged.report);
    block.inputs.push_back(merged.input);
    if (_has_offsets) {
        block.offsets.push_back(merged.offset);
    }
    if (_has_clocks) {
        block.clocks.push_back(merged.clock);
    }
}

} // namespace cli
