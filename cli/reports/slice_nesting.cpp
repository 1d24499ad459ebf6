#include "cli/reports/slice_nesting.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace cli {
namespace {

constexpr std::size_t kThreadsAtMost = 65'536;
constexpr std::size_t kSharedPlaces = 1024;
constexpr std::size_t kSlicesAtMost = 524'288;

bool encloses(const Slice &outer, const Slice &inner) { return outer.begin <= inner.begin && inner.end <= outer.end; }

} // namespace

Slice NestedSlices::fit(Slice slice) {
    if (slice.begin == slice.end) {
        return slice; // overlaps nothing
    }
    Level *level = &_outermost;
    for (;;) {
        const auto first = std::partition_point(level->begin(), level->end(),
                                                [&](const Node &node) { return node.slice.end <= slice.begin; });
        if (first != level->end() && encloses(first->slice, slice)) {
            if (first->is_sealed) {
                return encloses(slice, first->slice) ? slice : Slice{first->slice.end, first->slice.end};
            }
            level = &first->inner;
            continue;
        }
        if (first != level->end() && first->slice.begin < slice.begin) {
            slice.begin = first->slice.end;
            continue; // the rest may lie in the next one
        }
        auto last =
            std::partition_point(first, level->end(), [&](const Node &node) { return node.slice.begin < slice.end; });
        if (last != first && std::prev(last)->slice.end > slice.end) {
            --last;
            slice.end = last->slice.begin;
        }
        insert(*level, first, last, slice);
        return slice;
    }
}

/** Puts a node in place of those from `first` to `last`, which come to lie in it. */
void NestedSlices::insert(Level &level, Level::iterator first, Level::iterator last, const Slice &slice) {
    Node node{slice, {}};
    node.inner.assign(std::move_iterator(first), std::move_iterator(last));
    if (first == last) {
        level.insert(first, std::move(node));
    } else {
        *first = std::move(node);
        level.erase(std::next(first), last);
    }
    if (++_size > kSlicesAtMost) {
        shrink_to(kSlicesAtMost / 2);
    }
}

void NestedSlices::shrink_to(std::size_t count) {
    constexpr std::size_t kHandful = 8;
    while (_size > std::max(count, kHandful)) {
        if (!seal_early_half()) {
            seal_inner_half();
        }
    }
}

std::size_t NestedSlices::count(const Level &level) {
    std::size_t total = level.size();
    for (const Node &node : level) {
        total += count(node.inner);
    }
    return total;
}

void NestedSlices::seal(Node &node) {
    node.inner = {};
    node.is_sealed = true;
}

/**
 * Makes one sealed slice of the earlier half of those that lie side by side, at the outermost place where there are
 * enough. @return false when there is no such place: each slice holds the next one.
 */
bool NestedSlices::seal_early_half() {
    Level *level = &_outermost;
    const auto has_two_parts = [](const Level &slices) {
        return slices.size() > 2 || (slices.size() == 2 && !slices.front().inner.empty());
    };
    while (!has_two_parts(*level)) {
        if (level->empty() || level->back().inner.empty()) {
            return false;
        }
        level = &level->back().inner;
    }
    const auto end = level->begin() + static_cast<std::ptrdiff_t>((level->size() + 1) / 2);
    Node &first = level->front();
    first.slice.end = std::prev(end)->slice.end;
    level->erase(std::next(level->begin()), end);
    seal(level->front());
    _size = count(_outermost);
    return true;
}

/** Of slices each of which holds the next one, forgets the inner ones. */
void NestedSlices::seal_inner_half() {
    Level *level = &_outermost;
    for (std::size_t depth = 0; depth < _size / 4; ++depth) {
        level = &level->back().inner;
    }
    seal(level->back());
    _size = count(_outermost);
}

Slice SliceNesting::fit(std::uint64_t thread, Slice slice) {
    NestedSlices &slices = slices_of(thread);
    const std::size_t size = slices.size();
    const Slice left = slices.fit(slice);
    _size = _size - size + slices.size();
    if (_size > kSlicesAtMost) {
        shrink();
    }
    return left;
}

NestedSlices &SliceNesting::slices_of(std::uint64_t thread) {
    if (const auto found = _threads.find(thread); found != _threads.end()) {
        return found->second;
    }
    if (_threads.size() < kThreadsAtMost) {
        return _threads[thread];
    }
    _shared.resize(kSharedPlaces);
    return _shared[thread % kSharedPlaces];
}

void SliceNesting::shrink() {
    _size = 0;
    const auto shrink_one = [this](NestedSlices &slices) {
        slices.shrink_to(slices.size() / 2);
        _size += slices.size();
    };
    for (auto &[thread, slices] : _threads) {
        shrink_one(slices);
    }
    std::for_each(_shared.begin(), _shared.end(), shrink_one);
}

} // namespace cli
