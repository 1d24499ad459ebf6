#include "cli/page/counted_durations.h"

#include <algorithm>

namespace cli {

void CountedDurations::settle() {
    std::sort(_fresh.begin(), _fresh.end());
    std::vector<Counted> all;
    all.reserve(_counted.size() + _fresh.size());
    auto before = _counted.begin();
    for (const std::uint64_t duration : _fresh) {
        while (before != _counted.end() && before->first <= duration) {
            all.push_back(*before++);
        }
        if (all.empty() || all.back().first != duration) {
            all.emplace_back(duration, 0);
        }
        ++all.back().second;
    }
    all.insert(all.end(), before, _counted.end());
    _counted = std::move(all);
    _fresh.clear();
}

} // namespace cli
