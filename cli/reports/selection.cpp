#include "cli/reports/selection.h"

#include <algorithm>
#include <string>
#include <variant>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/wrong_use.h"

namespace cli {

namespace {

void require_possible(const Selection &selection) {
    if (selection.first && selection.last) {
        throw WrongUse("--first excludes --last");
    }
    if (selection.around && (selection.first || selection.last)) {
        throw WrongUse(std::string("--around excludes ") + (selection.first ? "--first" : "--last"));
    }
    const bool follows = selection.follow != Follow::Nothing;
    if (follows && selection.around) {
        throw WrongUse("--around excludes --follow");
    }
    if (follows && selection.last && selection.context) {
        throw WrongUse("--follow excludes --last with --context");
    }
    const std::uint64_t context = selection.context.value_or(0);
    if (context > kContextAtMost) {
        throw WrongUse(invalid_value("--context", std::to_string(context)) + ": expected at most " +
                       std::to_string(kContextAtMost));
    }
    // The context has its limit, so nothing wraps.
    if (selection.last && selection.context && *selection.last > kLastOfAPipeAtMost / (2 * context + 1)) {
        throw WrongUse(invalid_value("--last", std::to_string(*selection.last)) + ": expected at most " +
                       std::to_string(kLastOfAPipeAtMost / (2 * context + 1)) + " with that --context");
    }
}

std::optional<std::uint64_t> context_of(const Selection &selection) {
    return selection.around ? selection.context.value_or(kContextOfAround) : selection.context;
}

} // namespace

TimeNeeds needs_of(const Selection &selection) {
    TimeNeeds needs;
    needs.add(selection.filter.since);
    needs.add(selection.filter.until);
    if (selection.around && std::holds_alternative<SaidTime>(*selection.around)) {
        needs.add(std::get<SaidTime>(*selection.around));
    }
    return needs;
}

ReportSelector::ReportSelector(const Selection &selection)
    : _filter(selection.filter), _left(selection.first), _context(context_of(selection)), _around(selection.around),
      _sync(selection.sync), _needs(needs_of(selection)) {
    require_possible(selection);
    if (_around) {
        around_in(*_around, {}); // what is wrong with a date is told before any input is opened
    }
}

std::size_t ReportSelector::select(const ReportPiece &piece, const TimeLimits &limits, ReportBlock &selected,
                                   bool with_offsets) const {
    if (!_left && !_filter.has_conditions()) {
        selected.add_all(piece, with_offsets);
        return piece.count();
    }
    if (!_left && !with_offsets && piece.clocks.empty()) {
        _filter.append_passing(piece.reports, limits, _sync, selected.reports);
        return piece.count();
    }
    std::size_t looked_at = 0;
    for (std::uint64_t left = wanted_of(piece.count()); looked_at < piece.count() && left != 0; ++looked_at) {
        if (_filter.passes(piece.report(looked_at), limits, sync_of(piece, looked_at))) {
            selected.add(piece, looked_at, with_offsets);
            --left;
        }
    }
    return looked_at;
}

LastReports::LastReports(std::uint64_t count, bool with_offsets)
    : _count(static_cast<std::size_t>(count)), _keeps_offsets(with_offsets) {
    if (count > kLastOfAPipeAtMost) {
        throw WrongUse(invalid_value("--last", std::to_string(count)) + ": expected at most " +
                       std::to_string(kLastOfAPipeAtMost) + " for a pipe");
    }
}

void LastReports::add(const _QorProfileReport &report, std::uint64_t offset) {
    if (_count == 0) {
        return;
    }
    if (_size == _count) {
        _oldest = (_oldest + 1) % _count;
        --_size;
    }
    const std::size_t number = (_oldest + _size++) % _count;
    if (number == _created && _created++ % kBlockReports == 0) {
        const std::size_t places = std::min(kBlockReports, _count - number);
        Block &block = _blocks.emplace_back();
        block.reports.resize(places);
        block.offsets.resize(_keeps_offsets ? places : 0);
    }
    Block &block = _blocks[number / kBlockReports];
    block.reports[number % kBlockReports] = report;
    if (_keeps_offsets) {
        block.offsets[number % kBlockReports] = offset;
    }
}

void LastReports::give_oldest(ReportBlock &block) {
    const Block &from = _blocks[_oldest / kBlockReports];
    block.reports.push_back(from.reports[_oldest % kBlockReports]);
    if (_keeps_offsets) {
        block.offsets.push_back(from.offsets[_oldest % kBlockReports]);
    }
    _oldest = (_oldest + 1) % _count;
    --_size;
}

} // namespace cli
