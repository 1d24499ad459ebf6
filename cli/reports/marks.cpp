#include "cli/reports/marks.h"

namespace cli {

void MarkFinder::begin(ReportBlock &block) {
    _block = &block;
    _placed = 0;
}

void MarkFinder::see(const ReportPiece &piece) {
    if (_input != piece.input) {
        _input = piece.input;
        _watch = {};
        _pending.clear();
    }
    _watch.see(piece.reports, [&](std::size_t index, const SequenceBreak &what) {
        place_before(piece.offset_of(index));
        keep(what);
    });
    place_before(std::numeric_limits<std::uint64_t>::max());
}

void MarkFinder::keep(const SequenceBreak &what) {
    if (_pending.size() < kMarksAtMost) {
        _pending.push_back({0, what, 0});
        return;
    }
    ++_pending.back().further;
    if (what.is_restart()) {
        _pending.back().what = what;
    }
}

/** The shown reports before `offset` are behind all pending breaks: the first of them gets them. */
void MarkFinder::place_before(std::uint64_t offset) {
    for (; _placed < _block->size() && _block->offsets[_placed] < offset; ++_placed) {
        for (Mark &mark : _pending) {
            mark.place = _placed;
            _block->marks.push_back(mark);
        }
        _pending.clear();
    }
}

} // namespace cli
