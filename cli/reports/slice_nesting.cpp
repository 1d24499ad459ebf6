#include "cli/reports/slice_nesting.h"

#include <algorithm>
#include <cstddef>

namespace cli {
namespace {

constexpr std::size_t kThreadsAtMost = 1024;
constexpr std::size_t kSlicesAtMost = 256;

bool encloses(const Slice &outer, const Slice &inner) { return outer.begin <= inner.begin && inner.end <= outer.end; }

/** The part of `slice` that overlaps none of `others` in part. */
Slice cut(const Slice &slice, const std::vector<Slice> &others) {
    Slice left = slice;
    for (const Slice &other : others) {
        if (other.begin < slice.begin && slice.begin < other.end) {
            left.begin = other.end;
        }
        if (other.begin < slice.end && slice.end < other.end) {
            left.end = other.begin;
        }
    }
    return left;
}

/** Inserts `slice` in order and removes the slices that it encloses. */
void insert(std::vector<Slice> &outermost, const Slice &slice) {
    outermost.erase(
        std::remove_if(outermost.begin(), outermost.end(), [&](const Slice &other) { return encloses(slice, other); }),
        outermost.end());
    if (outermost.size() == kSlicesAtMost) {
        outermost.erase(outermost.begin());
    }
    const auto place = std::upper_bound(outermost.begin(), outermost.end(), slice,
                                        [](const Slice &a, const Slice &b) { return a.begin < b.begin; });
    outermost.insert(place, slice);
}

} // namespace

Slice SliceNesting::fit(std::uint64_t thread, Slice slice) {
    if (_outermost.size() == kThreadsAtMost && !knows(thread)) {
        _outermost.clear();
    }
    std::vector<Slice> &outermost = _outermost[thread];
    if (std::any_of(outermost.begin(), outermost.end(), [&](const Slice &other) { return encloses(other, slice); })) {
        return slice;
    }
    const Slice left = cut(slice, outermost);
    insert(outermost, left);
    return left;
}

} // namespace cli
