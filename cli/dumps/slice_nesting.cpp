#include "cli/dumps/slice_nesting.h"

#include <algorithm>
#include <cstddef>

namespace cli {
namespace {

constexpr std::size_t kThreadsAtMost = 65'536;
constexpr std::size_t kSharedPlaces = 1024;
constexpr std::size_t kSlicesAtMost = 524'288;
constexpr std::uint64_t kFibonacci = 0x9E37'79B9'7F4A'7C15; ///< spreads neighbouring threads over the places of a table
constexpr unsigned kRecentBits = 12;
constexpr std::size_t kManyThreads = 64; ///< fewer are found as fast where they are

bool encloses(const Slice &outer, const Slice &inner) { return outer.begin <= inner.begin && inner.end <= outer.end; }

} // namespace

Slice NestedSlices::fit(Slice slice, std::uint32_t label, std::vector<SettledSlice> *settled) {
    if (slice.begin == slice.end) {
        return slice; // overlaps nothing
    }
    if (append(slice, label, settled)) {
        return slice;
    }
    Level level{0, _nodes.size()};
    for (;;) {
        // From the last one back. In a dump in the order of ends, all that are passed come to lie in the new slice, so
        // each is passed once.
        std::size_t next_end =
            level.end; // the end of the level from the first slice on that ends after the new one begins
        std::size_t first = level.end;  // that slice, if there is one
        std::size_t second = level.end; // the one behind it
        while (next_end != level.begin && _nodes[next_end - 1].slice.end > slice.begin) {
            second = first;
            first = next_end - 1;
            next_end = begin_of(first);
        }
        if (first != level.end && !encloses(_nodes[first].slice, slice) && _nodes[first].slice.begin < slice.begin) {
            slice.begin = _nodes[first].slice.end;
            next_end = first + 1;
            first = second; // the rest may lie in it
        }
        if (first != level.end && encloses(_nodes[first].slice, slice)) {
            const Node &outer = _nodes[first];
            if (outer.is_sealed) {
                return encloses(slice, outer.slice) ? slice : Slice{outer.slice.end, outer.slice.end};
            }
            level = inside(first);
            continue;
        }
        Level held{next_end, level.end};
        while (held.end != held.begin && _nodes[held.end - 1].slice.begin >= slice.end) {
            held.end = begin_of(held.end - 1);
        }
        if (held.end != held.begin && _nodes[held.end - 1].slice.end > slice.end) {
            slice.end = _nodes[held.end - 1].slice.begin;
            held.end = begin_of(held.end - 1);
        }
        insert(held, slice, label, settled);
        find_last();
        return slice;
    }
}

bool NestedSlices::append(Slice &slice, std::uint32_t label, std::vector<SettledSlice> *settled) {
    if (_last_count != 0 && slice.end <= _last[0].slice.end) {
        return false;
    }
    unsigned held = 0;
    while (held != _last_count && _last[held].slice.begin >= slice.begin) {
        ++held;
    }
    std::size_t begin = 0;
    if (held != _last_count) {
        slice.begin = std::max(slice.begin, _last[held].slice.end);
        begin = _last[held].index + 1;
    } else if (held != 0 && begin_of(_last[held - 1].index) != 0) {
        return false; // there are others before
    }
    const std::size_t size = _nodes.size();
    insert({begin, size}, slice, label, settled);
    if (_nodes.size() > size) {
        if (held == 0) {
            _last[1] = _last[0];
        }
        _last_count = 1 + std::min(_last_count - held, 1U);
        _last[0] = {slice, size};
    }
    return true;
}

void NestedSlices::find_last() {
    _last_count = 0;
    for (std::size_t end = _nodes.size(); end != 0 && _last_count != _last.size(); end = begin_of(end - 1)) {
        _last[_last_count++] = {_nodes[end - 1].slice, end - 1};
    }
}

/** Puts a slice around those that it holds. */
void NestedSlices::insert(const Level &held, const Slice &slice, std::uint32_t label,
                          std::vector<SettledSlice> *settled) {
    for (std::size_t later = held.end; later < _nodes.size(); ++later) {
        if (encloses(_nodes[later].slice, slice)) {
            ++_nodes[later].count;
        }
    }
    _nodes.insert(_nodes.begin() + static_cast<std::ptrdiff_t>(held.end),
                  {slice, label, static_cast<std::uint16_t>(held.end - held.begin + 1), false});
    if (_nodes.size() > kSlicesAtMost) {
        shrink_to(kSlicesAtMost / 2, settled);
    }
}

void NestedSlices::shrink_to(std::size_t count, std::vector<SettledSlice> *settled) {
    constexpr std::size_t kHandful = 8;
    while (_nodes.size() > std::max(count, kHandful)) {
        if (!seal_early_half(settled)) {
            seal_inner_half(settled);
        }
    }
    find_last();
}

void NestedSlices::settle(std::size_t begin, std::size_t end, std::vector<SettledSlice> &settled) const {
    std::vector<std::size_t> begins; // of the slices around, the innermost last
    for (std::size_t node = _nodes.size(); node != begin; --node) {
        while (!begins.empty() && begins.back() >= node) {
            begins.pop_back();
        }
        const Node &slice = _nodes[node - 1];
        if (node <= end && slice.slice.begin != slice.slice.end) {
            settled.push_back({slice.label, static_cast<std::uint32_t>(begins.size())});
        }
        begins.push_back(begin_of(node - 1));
    }
}

void NestedSlices::erase_before(std::size_t begin, std::size_t index, std::vector<SettledSlice> *settled) {
    if (settled != nullptr) {
        settle(begin, index, *settled);
    }
    const std::size_t erased = index - begin;
    for (std::size_t later = index + 1; later < _nodes.size(); ++later) {
        if (begin_of(later) <= begin) {
            _nodes[later].count = static_cast<std::uint16_t>(_nodes[later].count - erased); // it lies around them
        }
    }
    _nodes[index].count = 1;
    _nodes[index].is_sealed = true;
    const auto first = _nodes.begin() + static_cast<std::ptrdiff_t>(begin);
    _nodes.erase(first, first + static_cast<std::ptrdiff_t>(erased));
}

/**
 * Makes one sealed slice of the earlier half of those that lie side by side, at the outermost place where there are
 * enough. @return false when there is no such place: each slice holds the next one.
 */
bool NestedSlices::seal_early_half(std::vector<SettledSlice> *settled) {
    Level level{0, _nodes.size()};
    std::vector<std::size_t> slices; // of the level, from the last one back
    for (; level.begin != level.end; level = inside(level.end - 1)) {
        slices.clear();
        for (std::size_t end = level.end; end != level.begin; end = begin_of(end - 1)) {
            slices.push_back(end - 1);
        }
        if (slices.size() > 2 || (slices.size() == 2 && _nodes[slices.back()].count > 1)) {
            const std::size_t last = slices[slices.size() / 2]; // of the earlier half
            _nodes[last].slice.begin = _nodes[slices.back()].slice.begin;
            erase_before(level.begin, last, settled);
            return true;
        }
    }
    return false;
}

/** Of slices each of which holds the next one, forgets the inner ones. */
void NestedSlices::seal_inner_half(std::vector<SettledSlice> *settled) {
    std::size_t node = _nodes.size() - 1;
    for (std::size_t depth = 0; depth < _nodes.size() / 4; ++depth) {
        --node; // the last one inside
    }
    erase_before(begin_of(node), node, settled);
}

SliceNesting::Fitted SliceNesting::fit(std::uint64_t thread, const Slice &slice, std::uint32_t label) {
    const Place place = place_of(thread);
    const std::size_t size = place.slices.size();
    const Slice left = place.slices.fit(slice, label, _settled);
    _size = _size - size + place.slices.size();
    if (_size > kSlicesAtMost) {
        shrink();
    }
    return {left, place.is_new};
}

void SliceNesting::settle_all(std::vector<SettledSlice> &settled) const {
    for (const auto &[thread, slices] : _threads) {
        slices.settle_all(settled);
    }
    for (const NestedSlices &slices : _shared) {
        slices.settle_all(settled);
    }
}

SliceNesting::Place SliceNesting::place_of(std::uint64_t thread) {
    if (_recent.empty()) {
        if (_threads.size() < kManyThreads) {
            return look_up(thread);
        }
        _recent.resize(std::size_t{1} << kRecentBits);
    }
    Recent &recent = _recent[(thread * kFibonacci) >> (64 - kRecentBits)];
    if (recent.slices != nullptr && recent.thread == thread) {
        return {*recent.slices, false};
    }
    const Place place = look_up(thread);
    if (_shared.empty()) {
        recent = {thread, &place.slices};
    }
    return place;
}

SliceNesting::Place SliceNesting::look_up(std::uint64_t thread) {
    if (_threads.size() < kThreadsAtMost) {
        const auto [place, is_new] = _threads.try_emplace(thread);
        return {place->second, is_new};
    }
    if (const auto found = _threads.find(thread); found != _threads.end()) {
        return {found->second, false};
    }
    _shared.resize(kSharedPlaces);
    return {_shared[thread % kSharedPlaces], true};
}

void SliceNesting::shrink() {
    _size = 0;
    const auto shrink_one = [this](NestedSlices &slices) {
        slices.shrink_to(slices.size() / 2, _settled);
        _size += slices.size();
    };
    for (auto &[thread, slices] : _threads) {
        shrink_one(slices);
    }
    std::for_each(_shared.begin(), _shared.end(), shrink_one);
}

} // namespace cli
