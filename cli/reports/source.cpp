#include "cli/reports/source.h"

#include <algorithm>

#include "cli/arguments/wrong_use.h"

namespace cli {

ReportSource::ReportSource(const std::string &argument, const Selection &selection)
    : _selector(selection), _input(argument, selection.follow) {
    if (selection.last && (_input.has_known_end() || _input.is_followed())) {
        _input.start_at(offset_of_last(*selection.last));
    } else if (selection.last) {
        keep_last(*selection.last);
    }
}

bool ReportSource::next(std::vector<_QorProfileReport> &block) {
    block.clear();
    give_kept(block);
    while (block.empty() && !_has_ended) {
        read_selected(block);
    }
    return !block.empty();
}

void ReportSource::observe(Observer observer) {
    if (_kept.size() != 0 && _selector.filter().has_conditions()) {
        throw WrongUse("--stats with --last and a filter needs a file: a pipe cannot be read backwards");
    }
    _observer = std::move(observer);
}

std::optional<TrailingBytes> ReportSource::trailing_bytes() const {
    const TrailingBytes trailing = _input.trailing_bytes();
    return trailing.count != 0 && _selector.wants_more() && !_input.is_cut_short() ? std::optional(trailing)
                                                                                   : std::nullopt;
}

std::uint64_t ReportSource::offset_of_last(std::uint64_t count) const {
    if (count == 0) {
        return _input.end_of_file_reports();
    }
    // Where fewer pass, the first that passes.
    std::uint64_t found = _input.end_of_file_reports();
    _input.find_backwards([&](const _QorProfileReport &report, std::uint64_t offset) {
        if (!_selector.filter().passes(report)) {
            return false;
        }
        found = offset;
        return --count == 0;
    });
    return found;
}

void ReportSource::keep_last(std::uint64_t count) {
    _kept = LastReports(count);
    std::vector<_QorProfileReport> block;
    while (!_has_ended) {
        block.clear();
        read_selected(block);
        for (const _QorProfileReport &report : block) {
            _kept.add(report);
        }
    }
}

void ReportSource::give_kept(std::vector<_QorProfileReport> &block) {
    // An observer excludes a filter, so the kept reports are the last of the dump.
    const std::uint64_t offset = _input.trailing_bytes().offset - _kept.size() * _QorProfileReport::kSize;
    for (std::size_t i = std::min(_kept.size(), kBlockReports); i != 0; --i) {
        block.push_back(_kept.take_oldest());
    }
    if (_observer) {
        _observer({offset, block});
    }
}

void ReportSource::read_selected(std::vector<_QorProfileReport> &block) {
    if (!_selector.wants_more()) {
        _has_ended = true;
        return;
    }
    if (_watcher) {
        _watcher(_input.bytes_read());
    }
    const std::optional<ReportPiece> piece = _input.read_next();
    if (!piece) {
        _has_ended = true;
        return;
    }
    const std::size_t looked_at = _selector.select(piece->reports, block);
    if (_observer) {
        _observer(piece->first(looked_at));
    }
}

} // namespace cli
