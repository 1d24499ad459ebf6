#include "cli/reports/selection.h"

#include <algorithm>
#include <string>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/wrong_use.h"

namespace cli {

ReportSelector::ReportSelector(const Selection &selection) : _filter(selection.filter), _left(selection.first) {
    if (selection.first && selection.last) {
        throw WrongUse("--first excludes --last");
    }
}

std::size_t ReportSelector::select(const ReportPiece &piece, ReportBlock &selected, bool with_offsets) const {
    if (!_left && !with_offsets && piece.clocks.empty()) {
        _filter.append_passing(piece.reports, selected.reports);
        return piece.count();
    }
    std::size_t looked_at = 0;
    for (std::uint64_t left = wanted_of(piece.count()); looked_at < piece.count() && left != 0; ++looked_at) {
        if (_filter.passes(piece.report(looked_at))) {
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
