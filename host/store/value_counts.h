/** Distinct values with their counts. On the path of every push into a distribution. */
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace host {

/**
 * A hash table whose entries are contiguous, in the order of their first count, so that iterating and clearing cost
 * only what was counted. Allocates nothing for as many values as it has held before. No value is NaN or -0.
 */
class ValueCounts {
public:
    using Entry = std::pair<double, std::uint64_t>;

    bool empty() const { return _entries.empty(); }
    std::size_t size() const { return _entries.size(); }
    std::vector<Entry>::const_iterator begin() const { return _entries.begin(); }
    std::vector<Entry>::const_iterator end() const { return _entries.end(); }

    void add(double value, std::uint64_t count) {
        if (!_entries.empty() && _entries[_last].first == value) {
            _entries[_last].second += count;
            return;
        }
        if (_entries.size() * 2 >= _places.size()) {
            grow();
        }
        std::uint32_t &place = place_of(value);
        if (place == kFree) {
            _entries.emplace_back(value, 0);
            place = static_cast<std::uint32_t>(_entries.size());
        }
        _last = place - 1;
        _entries[_last].second += count;
    }

    void clear();

private:
    static constexpr std::uint32_t kFree = 0; ///< other places hold the number of an entry, counted from 1

    /** The place of a value, or the free place where it belongs. */
    std::uint32_t &place_of(double value) {
        // Mixes all bits of the value: fixed-point values differ in only a few of them.
        std::uint64_t hash = std::bit_cast<std::uint64_t>(value) * 0x9E3779B97F4A7C15;
        hash = (hash ^ (hash >> 32)) * 0xD6E8FEB86659FD93;
        const std::size_t mask = _places.size() - 1;
        std::size_t at = (hash ^ (hash >> 32)) & mask;
        while (_places[at] != kFree && _entries[_places[at] - 1].first != value) {
            at = (at + 1) & mask;
        }
        return _places[at];
    }

    void grow();

    std::vector<Entry> _entries;
    std::vector<std::uint32_t> _places; ///< a power of two, at least twice the number of entries
    std::size_t _last = 0;              ///< the entry of the last call: equal values tend to come in a row
};

} // namespace host
