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
    // Nobody waits for the reports of a file that is read in place, and full blocks are the faster ones.
    while (!_has_ended && (block.empty() || (_input.is_read_in_place() && block.size() < kBlockReports))) {
        read_selected(block);
    }
    return !block.empty();
}

std::span<const _QorProfileReport> ReportSource::next_in_place(std::vector<_QorProfileReport> &room) {
    room.clear();
    if (const std::size_t kept = _kept.size(); kept != 0) {
        // An observer excludes a filter, so the kept reports are the last of the dump.
        const std::uint64_t offset = _input.trailing_bytes().offset - kept * _QorProfileReport::kSize;
        give_kept(room);
        show({offset, room});
        return room;
    }
    std::span<const _QorProfileReport> selected;
    while (selected.empty() && !_has_ended) {
        require_last_piece();
        selected = read_in_place(room);
    }
    return selected;
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
        if (!_selector.filter().passes(report, _selector.filter().limits_in({}), std::nullopt)) {
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
    for (std::size_t i = std::min(_kept.size(), kBlockReports); i != 0; --i) {
        block.push_back(_kept.take_oldest());
    }
}

std::optional<ReportPiece> ReportSource::read_piece(std::size_t most_reports) {
    if (_watcher && _selector.wants_more()) {
        _watcher(_input.bytes_read());
    }
    std::optional<ReportPiece> piece;
    if (_selector.wants_more()) {
        piece = _input.read_next(most_reports);
    }
    _has_ended = !piece;
    return piece;
}

void ReportSource::read_selected(std::vector<_QorProfileReport> &block) {
    const std::size_t before = block.size();
    const std::optional<ReportPiece> piece = read_piece(kBlockReports - before);
    if (!piece) {
        return;
    }
    _selector.select(piece->reports, block);
    if (!_input.keeps_last_piece()) {
        block.resize(before);
    }
    _selector.count_selected(block.size() - before);
}

std::span<const _QorProfileReport> ReportSource::read_in_place(std::vector<_QorProfileReport> &room) {
    const std::optional<ReportPiece> piece = read_piece(kBlockReports);
    if (!piece) {
        return {};
    }
    std::size_t looked_at = 0;
    std::span<const _QorProfileReport> selected;
    if (_selector.filter().has_conditions()) {
        looked_at = _selector.select(piece->reports, room);
        selected = room;
    } else {
        looked_at = _selector.wanted_of(piece->count());
        selected = piece->reports.first(looked_at);
    }
    _selector.count_selected(selected.size());
    show(piece->first(looked_at));
    return selected;
}

/** What used a piece in place cannot take it back. */
void ReportSource::require_last_piece() {
    const std::uint64_t read = _input.bytes_read();
    if (_input.keeps_last_piece()) {
        return;
    }
    while (_input.read_next()) {
        // Finds what is wrong, and where.
    }
    _input.fail_truncated(read);
}

void ReportSource::show(const ReportPiece &piece) const {
    if (_observer) {
        _observer(piece);
    }
}

} // namespace cli
