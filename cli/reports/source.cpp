#include "cli/reports/source.h"

#include <algorithm>

namespace cli {

ReportSource::ReportSource(std::unique_ptr<ReportInput> input, ReportSelector &selector, const SourceOptions &options)
    : _selector(selector), _input(std::move(input)), _options(options) {
    if (!_options.last) {
        return;
    }
    if (_input->can_be_read_backwards()) {
        start_at_last(*_options.last);
    } else {
        keep_last(*_options.last);
    }
}

bool ReportSource::next(ReportBlock &block) {
    block.clear();
    block.input = _options.number;
    give_kept(block);
    // Nobody waits for the reports of a file that is read in place, and full blocks are the faster ones.
    while (!_has_ended && (block.empty() || (_input->is_read_in_place() && block.size() < kBlockReports))) {
        read_selected(block);
    }
    return !block.empty();
}

ReportPiece ReportSource::next_in_place(ReportBlock &room) {
    room.clear();
    if (_kept.size() != 0) {
        give_kept(room);
        return {0, room.reports, {}, _options.number};
    }
    ReportPiece selected;
    while (selected.reports.empty() && !_has_ended) {
        require_last_piece();
        selected = read_in_place(room);
    }
    return selected;
}

bool ReportSource::observe(ReportObserver observer) {
    if (_kept.size() != 0 && _selector.filter().has_conditions()) {
        return false;
    }
    _observer = std::move(observer);
    return true;
}

std::optional<TrailingBytes> ReportSource::trailing_bytes() const {
    const TrailingBytes trailing = _input->trailing_bytes();
    return trailing.count != 0 && _selector.wants_more() && !_input->is_cut_short() ? std::optional(trailing)
                                                                                    : std::nullopt;
}

void ReportSource::start_at_last(std::uint64_t count) {
    // Where fewer pass, the first that passes.
    std::uint64_t found = _input->end_of_reports();
    const auto is_last_wanted = [&](const _QorProfileReport &report, std::uint64_t offset) {
        if (!_selector.filter().passes(report)) {
            return false;
        }
        found = offset;
        return ++_last_count == count;
    };
    if (count != 0) {
        _input->find_backwards(is_last_wanted);
    }
    _input->start_at(found);
}

void ReportSource::keep_last(std::uint64_t count) {
    _kept = LastReports(count, _options.with_offsets);
    ReportBlock block;
    while (!_has_ended) {
        block.clear();
        read_selected(block);
        for (std::size_t i = 0; i < block.size(); ++i) {
            _kept.add(block.reports[i], block.offsets.empty() ? 0 : block.offsets[i]);
        }
    }
    _last_count = _kept.size();
}

void ReportSource::give_kept(ReportBlock &block) {
    // An observer excludes a filter, so the kept reports are the last of the input.
    const std::uint64_t offset = _input->trailing_bytes().offset - _kept.size() * _QorProfileReport::kSize;
    for (std::size_t i = std::min(_kept.size(), kBlockReports); i != 0; --i) {
        _kept.give_oldest(block);
    }
    if (!block.empty()) {
        show({offset, block.reports, {}, _options.number});
    }
}

std::optional<ReportPiece> ReportSource::read_piece(std::size_t most_reports) {
    if (_watcher && _selector.wants_more()) {
        _watcher(_input->bytes_read());
    }
    std::optional<ReportPiece> piece;
    if (_selector.wants_more()) {
        piece = _input->read_next(most_reports);
    }
    _has_ended = !piece;
    if (piece) {
        piece->input = _options.number;
    }
    return piece;
}

void ReportSource::read_selected(ReportBlock &block) {
    const std::size_t before = block.size();
    std::optional<ReportPiece> piece = read_piece(kBlockReports - before);
    if (!piece) {
        return;
    }
    if (_observer) {
        // The copy does not change after it has been found intact.
        _seen.assign(piece->reports.begin(), piece->reports.end());
        piece->reports = _seen;
    }
    const std::size_t looked_at = _selector.select(*piece, block, _options.with_offsets);
    if (!_input->keeps_last_piece()) {
        block.shrink_to(before);
        return;
    }
    _selector.count_selected(block.size() - before);
    show(piece->first(looked_at));
}

ReportPiece ReportSource::read_in_place(ReportBlock &room) {
    const std::optional<ReportPiece> piece = read_piece(kBlockReports);
    if (!piece) {
        return {};
    }
    std::size_t looked_at = 0;
    ReportPiece selected = *piece;
    if (_selector.filter().has_conditions()) {
        looked_at = _selector.select(*piece, room, false);
        selected.reports = room.reports;
        selected.clocks = room.clocks;
    } else {
        looked_at = _selector.wanted_of(piece->count());
        selected = piece->first(looked_at);
    }
    _selector.count_selected(selected.count());
    show(piece->first(looked_at));
    return selected;
}

/** What used a piece in place cannot take it back. */
void ReportSource::require_last_piece() {
    const std::uint64_t read = _input->bytes_read();
    if (!_input->keeps_last_piece()) {
        _input->fail_after_lost_piece(read);
    }
}

void ReportSource::show(const ReportPiece &piece) const {
    if (_observer) {
        _observer(piece);
    }
}

} // namespace cli
