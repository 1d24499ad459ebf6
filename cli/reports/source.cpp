#include "cli/reports/source.h"

#include <algorithm>

#include "host/error.h"

namespace cli {

ReportSource::ReportSource(std::unique_ptr<ReportInput> input, ReportSelector &selector, const SourceOptions &options)
    : _selector(selector), _input(std::move(input)), _options(options) {
    measure_end();
    measure_times();
    if (needs_windows()) {
        open_windows();
    } else if (_options.last && _input->can_be_read_backwards()) {
        start_at_last(*_options.last);
    } else if (_options.last) {
        keep_last(*_options.last);
    } else if (_options.start != 0) {
        start_at(_options.start);
    }
}

bool ReportSource::next(ReportBlock &block) {
    block.clear();
    block.input = _options.number;
    if (_windows) {
        return next_of_windows(block);
    }
    give_kept(block);
    // Full blocks are the faster ones, and a file that is read in place has no reports to wait for. Where few pass, the
    // first of them is not kept back until the block is full.
    constexpr int kReadsAtMost = 64;
    for (int reads = 0;
         !_has_ended && (block.empty() ||
                         (_input->is_read_in_place() && block.size() < _options.most_reports && reads < kReadsAtMost));
         ++reads) {
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
    const bool has_read_all = _windows && _options.last;
    if (has_read_all || (_kept.size() != 0 && _selector.filter().has_conditions())) {
        return false;
    }
    _observer = std::move(observer);
    return true;
}

std::optional<TrailingBytes> ReportSource::trailing_bytes() const {
    const TrailingBytes trailing = _input->trailing_bytes();
    return trailing.count != 0 && wants_more() && !_input->is_cut_short() ? std::optional(trailing) : std::nullopt;
}

void ReportSource::start_at(std::uint64_t offset) {
    if (offset > _input->end_of_reports()) {
        throw host::Error(_input->name(), "byte " + std::to_string(offset),
                          "the file was truncated while it was being read");
    }
    _input->start_at(offset);
}

void ReportSource::start_at_last(std::uint64_t count) {
    // Where fewer pass, the first that passes.
    std::uint64_t found = _input->end_of_reports();
    const auto is_last_wanted = [&](const _QorProfileReport &report, std::uint64_t offset) {
        if (!_selector.filter().passes(report, _limits, _selector.sync())) {
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

bool ReportSource::keep_fewer(std::uint64_t count) {
    if (_windows) {
        return false;
    }
    for (ReportBlock rest; _kept.size() > count; rest.clear()) {
        _kept.give_oldest(rest);
    }
    return true;
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
    if (_watcher && wants_more()) {
        _watcher(_input->bytes_read());
    }
    std::optional<ReportPiece> piece;
    if (wants_more()) {
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
    std::optional<ReportPiece> piece = read_piece(_options.most_reports - before);
    if (!piece) {
        return;
    }
    if (_observer) {
        // The copy does not change after it has been found intact.
        _seen.assign(piece->reports.begin(), piece->reports.end());
        piece->reports = _seen;
    }
    begin(*piece);
    const std::size_t looked_at = _selector.select(*piece, _limits, block, _options.with_offsets);
    if (!_input->keeps_last_piece()) {
        block.shrink_to(before);
        return;
    }
    _has_begun = _has_begun || piece->count() != 0;
    _selector.count_selected(block.size() - before);
    show(piece->first(looked_at));
}

ReportPiece ReportSource::read_in_place(ReportBlock &room) {
    const std::optional<ReportPiece> piece = read_piece(kBlockReports);
    if (!piece) {
        return {};
    }
    begin(*piece);
    _has_begun = _has_begun || piece->count() != 0;
    std::size_t looked_at = 0;
    ReportPiece selected = *piece;
    if (_selector.filter().has_conditions()) {
        looked_at = _selector.select(*piece, _limits, room, false);
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

/** Whether the reports go through `_windows`, which also keep the last ones with their clocks, and read forwards. */
bool ReportSource::needs_windows() const {
    const TimeNeeds &needs = _selector.needs();
    return _selector.context() || (_options.last && (needs.first_report || (needs.clock && _input->has_clocks())));
}

void ReportSource::open_windows() {
    const WindowKind kind = _selector.around() ? WindowKind::Nearest
                            : _options.last    ? WindowKind::Last
                                               : WindowKind::Each;
    _windows.emplace(kind, _selector.context().value_or(0), _options.last.value_or(0));
    while (_options.last && !_has_ended) {
        read_windows();
    }
    _last_count = _windows->hit_count();
}

/** Finds out what times need besides the first report. */
void ReportSource::measure_end() {
    const TimeNeeds &needs = _selector.needs();
    if (needs.clock && !_selector.sync() && !_input->has_clocks()) {
        throw host::Error(_input->name(), "",
                          "a date and time of day needs the clock of the reports: give --time-sync or --live");
    }
    if (!needs.last_report) {
        return;
    }
    const std::optional<std::uint64_t> last = _input->last_timestamp();
    if (!last) {
        throw host::Error(_input->name(), "",
                          "a time from the end, such as -10m, needs a file: a pipe cannot be read backwards");
    }
    _origins.last = *last;
}

void ReportSource::measure_times() {
    _limits = _selector.filter().limits_in(_origins);
    if (_selector.around()) {
        _around = around_in(*_selector.around(), _origins);
    }
}

/** Measures the times that count from the first report, unless that was in a piece before. */
void ReportSource::begin(const ReportPiece &piece) {
    if (!_has_begun && _selector.needs().first_report && piece.count() != 0) {
        _origins.first = piece.report(0).timestamp();
        measure_times();
    }
}

bool ReportSource::wants_more() const {
    if (!_windows) {
        return _selector.wants_more();
    }
    return (_selector.wants_more() || _windows->shows_next()) && !_windows->is_settled();
}

bool ReportSource::next_of_windows(ReportBlock &block) {
    while (!_has_ended &&
           (_windows->ready() == 0 || (_input->is_read_in_place() && _windows->ready() < kBlockReports))) {
        read_windows();
    }
    for (const std::size_t start : _windows->give(block, kBlockReports, _options.with_offsets)) {
        if (!_selector.begin_group() && _selector.context()) {
            block.separators.push_back(start);
        }
    }
    return !block.empty();
}

void ReportSource::read_windows() {
    std::optional<ReportPiece> piece = read_piece(kBlockReports);
    if (piece) {
        // The copy does not change after it has been found intact.
        _seen.assign(piece->reports.begin(), piece->reports.end());
        piece->reports = _seen;
        if (!_input->keeps_last_piece()) {
            return;
        }
        begin(*piece);
        _has_begun = _has_begun || piece->count() != 0;
        std::size_t looked_at = 0;
        for (; looked_at < piece->count() && wants_more(); ++looked_at) {
            add_to_windows(*piece, looked_at);
        }
        show(piece->first(looked_at));
        _has_ended = !wants_more();
    }
    if (_has_ended) {
        _windows->end();
    }
}

void ReportSource::add_to_windows(const ReportPiece &piece, std::size_t index) {
    const std::optional<decoder::time_sync> &sync = _selector.sync_of(piece, index);
    std::optional<std::uint64_t> distance;
    if (_selector.wants_more() && _selector.filter().passes(piece.report(index), _limits, sync)) {
        distance = _around ? distance_from(*_around, piece.report(index), sync) : 0;
        _selector.count_selected(1);
    }
    _windows->add(piece, index, distance);
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
