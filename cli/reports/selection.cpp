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

std::size_t ReportSelector::select(std::span<const _QorProfileReport> reports,
                                   std::vector<_QorProfileReport> &selected) const {
    if (!_left) {
        _filter.append_passing(reports, _filter.limits_in({}), std::nullopt, selected);
        return reports.size();
    }
    std::size_t looked_at = 0;
    for (std::uint64_t left = *_left; looked_at < reports.size() && left != 0; ++looked_at) {
        if (_filter.passes(reports[looked_at], _filter.limits_in({}), std::nullopt)) {
            selected.push_back(reports[looked_at]);
            --left;
        }
    }
    return looked_at;
}

LastReports::LastReports(std::uint64_t count) : _count(static_cast<std::size_t>(count)) {
    if (count > kLastOfAPipeAtMost) {
        throw WrongUse(invalid_value("--last", std::to_string(count)) + ": expected at most " +
                       std::to_string(kLastOfAPipeAtMost) + " for a pipe");
    }
}

void LastReports::add(const _QorProfileReport &report) {
    if (_count == 0) {
        return;
    }
    if (_size == _count) {
        _oldest = (_oldest + 1) % _count;
        --_size;
    }
    const std::size_t number = (_oldest + _size++) % _count;
    if (number != _created) {
        place(number) = report;
        return;
    }
    if (_created++ % kBlockReports == 0) {
        _blocks.emplace_back().reserve(std::min(kBlockReports, _count - number));
    }
    _blocks.back().push_back(report);
}

_QorProfileReport LastReports::take_oldest() {
    const _QorProfileReport oldest = place(_oldest);
    _oldest = (_oldest + 1) % _count;
    --_size;
    return oldest;
}

} // namespace cli
