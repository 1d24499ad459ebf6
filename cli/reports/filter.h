/** Filtering reports by their header. */
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <optional>
#include <span>
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
        return !_has_conditions ||
               (passes_ids(report.header()) && _since <= report.timestamp() && report.timestamp() <= _until);
    }

    /** Appends those of `reports` that pass, in their order. */
    void append_passing(std::span<const _QorProfileReport> reports, std::vector<_QorProfileReport> &passing) const;

private:
    using Ids = std::bitset<256>;

    /** From the last row on, the decoder names the components and events of all categories alike: they share it. */
    static constexpr std::size_t kCategoryRows = 12;
    static constexpr std::size_t kIds = 256;

    /**
     * Looks at the category first, with a table of bytes, and at nothing else of most reports that do not pass.
     * @param header  the four ids.
     */
    bool passes_ids(std::uint32_t header) const {
        return _categories[header >> 24] && _types[header & 0xFF] &&
               (_takes_all_places || passes_place((header >> 24), (header >> 16) & 0xFF, (header >> 8) & 0xFF));
    }
    bool passes_place(std::size_t category, std::size_t component, std::size_t event) const;
    void set_components(const std::vector<std::string> &words);
    void set_events(const std::vector<std::string> &words);

    bool _has_conditions;
    bool _takes_all_places; ///< components and events
    std::uint64_t _since;
    std::uint64_t _until;
    Ids _categories;
    Ids _types;
    std::array<Ids, kCategoryRows> _components; ///< by category
    std::vector<Ids> _events;                   ///< by category and component; empty when every event is wanted
};

} // namespace cli
