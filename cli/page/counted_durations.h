/** Durations, each with how often it came. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace cli {

/** Exact counts in memory of at most twice the distinct durations, however many are added. One thread at a time. */
class CountedDurations {
public:
    using Counted = std::pair<std::uint64_t, std::uint64_t>; ///< a duration and its count

    void add(std::uint64_t duration) {
        if (_fresh.size() >= kFewest && _fresh.size() >= _counted.size()) {
            settle();
        }
        _fresh.push_back(duration);
    }

    /** In ascending order of the durations. Valid until the next `add`. */
    const std::vector<Counted> &counted() {
        settle();
        return _counted;
    }

private:
    static constexpr std::size_t kFewest = 1024;

    /** Moves the fresh ones to the counted ones. */
    void settle();

    std::vector<Counted> _counted;
    std::vector<std::uint64_t> _fresh; ///< not yet counted
};

} // namespace cli
