/** Which reports of a dump are wanted. */
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "qor/report.h"

namespace cli {

/** What is asked for: names as the decoder shows them, or ids in decimal; an empty list asks for everything. */
struct FilterWords {
    std::vector<std::string> categories;
    std::vector<std::string> components;
    std::vector<std::string> events;
    std::vector<std::string> types;
    std::optional<std::uint64_t> since; ///< firmware microseconds, included
    std::optional<std::uint64_t> until; ///< firmware microseconds, included
};

/**
 * Decides by the 16 bytes of the header. A report passes when its category, its component, its event and its
 * type are each among those asked for, and its time stamp lies between the two given. A name of a component or
 * an event means that name in the report's own category.
 */
class ReportFilter {
public:
    /** @throws WrongUse for a word that is neither an id nor a name that the decoder knows. */
    explicit ReportFilter(const FilterWords &words);

    /** Whether there is anything that it may drop. */
    bool asks() const { return _asks; }

    bool passes(const _QorProfileReport &report) const {
        return !_asks || (passes_ids(report) && _since <= report.timestamp() && report.timestamp() <= _until);
    }

private:
    using Ids = std::bitset<256>;

    /** The decoder names components and events of these categories alike: one row for all from the last on. */
    static constexpr std::size_t kCategoryRows = 12;
    static constexpr std::size_t kIds = 256;

    bool passes_ids(const _QorProfileReport &report) const;
    void ask_for_components(const std::vector<std::string> &words);
    void ask_for_events(const std::vector<std::string> &words);

    bool _asks;
    std::uint64_t _since;
    std::uint64_t _until;
    Ids _categories;
    Ids _types;
    std::array<Ids, kCategoryRows> _components; ///< by category
    std::vector<Ids> _events;                   ///< by category and component; empty when all are wanted
};

} // namespace cli
