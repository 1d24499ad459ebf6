/** Filtering reports by their header. */
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "qor/report.h"

namespace cli {

/** The wanted names, as the decoder prints them, or ids in decimal. An empty list means all. */
struct FilterWords {
    std::vector<std::string> categories;
    std::vector<std::string> components;
    std::vector<std::string> events;
    std::vector<std::string> types;
    std::optional<std::uint64_t> since; ///< firmware microseconds, inclusive
    std::optional<std::uint64_t> until; ///< firmware microseconds, inclusive
};

/**
 * Decides by the 16 bytes of the header. A report passes when its category, component, event and type are each among
 * the wanted ones and its time stamp lies within the limits. The name of a component or an event is looked up in the
 * report's own category.
 */
class ReportFilter {
public:
    /** @throws WrongUse for a word that is neither an id nor a known name. */
    explicit ReportFilter(const FilterWords &words);

    /** Whether there is any condition; without one, every report passes. */
    bool has_conditions() const { return _has_conditions; }

    bool passes(const _QorProfileReport &report) const {
        return !_has_conditions || (passes_ids(report) && _since <= report.timestamp() && report.timestamp() <= _until);
    }

private:
    using Ids = std::bitset<256>;

    /** From the last row on, the decoder names the components and events of all categories alike: they share it. */
    static constexpr std::size_t kCategoryRows = 12;
    static constexpr std::size_t kIds = 256;

    bool passes_ids(const _QorProfileReport &report) const;
    void set_components(const std::vector<std::string> &words);
    void set_events(const std::vector<std::string> &words);

    bool _has_conditions;
    std::uint64_t _since;
    std::uint64_t _until;
    Ids _categories;
    Ids _types;
    std::array<Ids, kCategoryRows> _components; ///< by category
    std::vector<Ids> _events;                   ///< by category and component; empty when every event is wanted
};

} // namespace cli
