#include "host/store/value_counts.h"

#include <algorithm>

namespace host {
namespace {

constexpr std::size_t kFewestPlaces = 16;
/** Larger tables are freed when cleared, so that one huge batch does not slow down later ones. */
constexpr std::size_t kMostPlacesKept = 8192;

} // namespace

void ValueCounts::grow() {
    std::vector<std::uint32_t> larger(std::max(kFewestPlaces, _places.size() * 2), kFree);
    _entries.reserve(larger.size() / 2);
    _places.swap(larger);
    for (std::size_t i = 0; i < _entries.size(); ++i) {
        place_of(_entries[i].first) = static_cast<std::uint32_t>(i + 1);
    }
}

void ValueCounts::clear() {
    _last = 0;
    _entries.clear();
    if (_places.size() > kMostPlacesKept) {
        _entries.shrink_to_fit();
        _places = {};
    }
    std::fill(_places.begin(), _places.end(), kFree);
}

} // namespace host
