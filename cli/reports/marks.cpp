#include "cli/reports/marks.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "cli/reports/brief.h"

namespace cli {
namespace {

std::string number_text(const SequenceBreak &found) {
    return std::to_string(found.number) + " after " + std::to_string(found.number_before);
}

} // namespace

std::string break_text(const SequenceBreak &found) {
    if (found.is_restart()) {
        return "restart: number " + number_text(found);
    }
    std::string text;
    if (found.is_gap()) {
        text = found.missing() != 0 ? "gap: " + std::to_string(found.missing()) + " missing"
                                    : "gap: number " + number_text(found);
    }
    if (found.goes_back_in_time()) {
        text += text.empty() ? "" : ", ";
        // Without its sign.
        text += "clock goes back " + elapsed_text(found.time_before, found.time).substr(1);
    }
    return text;
}

void MarkFinder::begin(ReportBlock &block) {
    _block = &block;
    _placed = 0;
}

void MarkFinder::see(const ReportPiece &piece) {
    Input &seen = input(piece.input);
    if (piece.offset < seen.seen_to) {
        // A new file of the name that is followed: everything in it is behind what was before.
        for (Break &waiting : seen.waiting) {
            waiting.offset = 0;
        }
        seen.last_shown.reset();
    }
    seen.seen_to = piece.offset_of(piece.count());
    seen.watch.see(piece.reports, [&](std::size_t index, const SequenceBreak &what) {
        place_before(piece.input, piece.offset_of(index));
        seen.keep({piece.offset_of(index), what, 0});
    });
    place_before(piece.input, std::numeric_limits<std::uint64_t>::max());
}

void MarkFinder::end() {
    while (_placed < _block->size()) {
        place_next();
    }
}

void MarkFinder::Input::keep(const Break &found) {
    constexpr std::size_t kWaitingAtMost = 2048;
    waiting.push_back(found);
    if (waiting.size() > kWaitingAtMost) {
        // What is shown later than it is read, with its neighbours, is behind the earlier half.
        const auto half = waiting.begin() + kWaitingAtMost / 2;
        std::vector<Break> fewer(waiting.begin(), half);
        count_together(fewer);
        fewer.insert(fewer.end(), half, waiting.end());
        waiting = std::move(fewer);
    }
}

/** Removes those up to `offset`. @return at most `kMarksAtMost`. */
std::vector<MarkFinder::Break> MarkFinder::Input::take_up_to(std::uint64_t offset) {
    const auto end =
        std::find_if(waiting.begin(), waiting.end(), [offset](const Break &each) { return each.offset > offset; });
    std::vector<Break> taken(waiting.begin(), end);
    waiting.erase(waiting.begin(), end);
    count_together(taken);
    return taken;
}

/** Leaves the first breaks, and a restart in place of the last of them. */
void MarkFinder::count_together(std::vector<Break> &breaks) {
    if (breaks.size() <= kMarksAtMost) {
        return;
    }
    Break &kept = breaks[kMarksAtMost - 1];
    for (std::size_t i = kMarksAtMost; i < breaks.size(); ++i) {
        kept.further += 1 + breaks[i].further;
        if (breaks[i].what.is_restart()) {
            kept.what = breaks[i].what;
        }
    }
    breaks.resize(kMarksAtMost);
}

MarkFinder::Input &MarkFinder::input(std::size_t number) {
    if (_inputs.size() <= number) {
        _inputs.resize(number + 1);
    }
    return _inputs[number];
}

/** Goes on up to the report of that input at `offset`, before which there is a break. */
void MarkFinder::place_before(std::size_t input, std::uint64_t offset) {
    while (_placed < _block->size() && (_block->input_of(_placed) != input || _block->offsets[_placed] < offset)) {
        place_next();
    }
}

/** Gives the next shown report the breaks before it. */
void MarkFinder::place_next() {
    const _QorProfileReport &report = _block->reports[_placed];
    Input &own = input(_block->input_of(_placed));
    const Shown shown{_block->offsets[_placed], report.sequence_num(), report.timestamp()};
    const auto &last = own.last_shown;
    const bool is_neighbour = last && last->offset + _QorProfileReport::kSize == shown.offset;
    if (!own.waiting.empty()) {
        const std::vector<Break> before = own.take_up_to(shown.offset);
        // Neighbours need no memory of what was read, which may be that of later reports.
        for (std::size_t i = 0; !is_neighbour && i < before.size(); ++i) {
            _block->marks.push_back({_placed, before[i].what, before[i].further});
        }
    }
    if (is_neighbour) {
        const SequenceBreak step{last->number, shown.number, last->time, shown.time};
        if (step.is_gap() || step.goes_back_in_time()) {
            _block->marks.push_back({_placed, step, 0});
        }
    }
    own.last_shown = shown;
    ++_placed;
}

} // namespace cli
