#include "cli/reports/report_windows.h"

#include <algorithm>
#include <limits>

namespace cli {

ReportWindows::ReportWindows(WindowKind kind, std::uint64_t context, std::uint64_t last)
    : _windows(windows_of(kind, context, last)),
      _most_hits(kind == WindowKind::Last ? last : std::numeric_limits<std::uint64_t>::max()) {}

ReportWindows::Windows ReportWindows::windows_of(WindowKind kind, std::uint64_t context, std::uint64_t last) {
    switch (kind) {
    case WindowKind::Nearest:
        return NearestWindow<Placed>(context);
    case WindowKind::Last:
        return LastWindows<Placed>(last, context);
    case WindowKind::Each:
        break;
    }
    return ContextWindow<Placed>(context);
}

void ReportWindows::add(const ReportPiece &piece, std::size_t index, const std::optional<std::uint64_t> &distance) {
    const Placed placed{piece.report(index), piece.offset_of(index),
                        piece.clocks.empty() ? std::nullopt : std::optional(piece.clocks[index])};
    _hits = std::min(_most_hits, _hits + (distance ? 1 : 0));
    if (auto *const each = std::get_if<ContextWindow<Placed>>(&_windows)) {
        each->add(placed, distance.has_value(), [this](const Shown<Placed> &shown) { _ready.push_back(shown); });
    } else if (auto *const nearest = std::get_if<NearestWindow<Placed>>(&_windows)) {
        nearest->add(placed, distance);
    } else {
        std::get<LastWindows<Placed>>(_windows).add(placed, distance.has_value());
    }
}

void ReportWindows::end() {
    const auto make_ready = [this](const Shown<Placed> &shown) { _ready.push_back(shown); };
    if (auto *const nearest = std::get_if<NearestWindow<Placed>>(&_windows)) {
        nearest->show_all(make_ready);
    } else if (auto *const last = std::get_if<LastWindows<Placed>>(&_windows)) {
        last->show_all(make_ready);
    }
}

bool ReportWindows::shows_next() const {
    const auto *const each = std::get_if<ContextWindow<Placed>>(&_windows);
    return each != nullptr && each->shows_next();
}

bool ReportWindows::is_settled() const {
    const auto *const nearest = std::get_if<NearestWindow<Placed>>(&_windows);
    return nearest != nullptr && nearest->is_settled();
}

std::vector<std::size_t> ReportWindows::give(ReportBlock &block, std::size_t most, bool with_offsets) {
    std::vector<std::size_t> starts;
    for (std::size_t left = std::min(most, _ready.size()); left != 0; --left) {
        const Shown<Placed> &shown = _ready.front();
        if (_next_number != shown.number) {
            starts.push_back(block.size());
        }
        _next_number = shown.number + 1;
        block.reports.push_back(shown.item.report);
        if (with_offsets) {
            block.offsets.push_back(shown.item.offset);
        }
        if (shown.item.clock) {
            block.clocks.push_back(*shown.item.clock);
        }
        _ready.pop_front();
    }
    return starts;
}

} // namespace cli
