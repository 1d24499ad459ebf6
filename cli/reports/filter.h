/** Filtering reports by their header. */
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "cli/arguments/time_text.h"
#include "cli/dumps/owner_names.h"
#include "cli/reports/time_limits.h"
#include "decoder/device_clock.h"
#include "qor/report.h"

namespace cli {

/**
 * Names, as the reports are shown with them, or ids, in decimal or in hexadecimal after "0x". A word may be a list with
 * commas. An empty list of wanted ones means all.
 */
struct FilterWords {
    std::vector<std::string> categories;
    std::vector<std::string> components;
    std::vector<std::string> events;
    std::vector<std::string> types;
    std::optional<SaidTime> since; ///< inclusive
    std::optional<SaidTime> until; ///< inclusive
    std::vector<std::string> unwanted_categories{};
    std::vector<std::string> unwanted_components{};
    std::vector<std::string> unwanted_events{};
    std::vector<std::string> unwanted_types{};
    const OwnerNames *names = nullptr; ///< the owner's, which may be wanted as well; null for none
};

/**
 * Decides by the 16 bytes of the header. A report passes when its category, component, event and type are each among
 * the wanted ones and not among the unwanted ones, and its time lies within the limits of its input. The name of a
 * component or an event is looked up in the report's own category.
 */
class ReportFilter {
public:
    /**
     * @throws WrongUse for a word that is neither an id nor a known name, and as `since_epoch` for a time.
     */
    explicit ReportFilter(const FilterWords &words);

    /** Whether there is any condition; without one, every report passes. */
    bool has_conditions() const { return _has_conditions; }

    /** The limits of time in one input. */
    TimeLimits limits_in(const TimeOrigins &origins) const { return time_limits(_since, _until, origins); }

    /**
     * @param limits  of the report's input.
     * @param sync    of the report.
     */
    bool passes(const _QorProfileReport &report, const TimeLimits &limits,
                const std::optional<decoder::time_sync> &sync) const {
        return !_has_conditions || (passes_ids(report.header()) && limits.include(report.timestamp(), sync));
    }

    /** Appends those of `reports` that pass, in their order. All have the same limits and the same clock. */
    void append_passing(std::span<const _QorProfileReport> reports, const TimeLimits &limits,
                        const std::optional<decoder::time_sync> &sync, std::vector<_QorProfileReport> &passing) const;

private:
    using Ids = std::bitset<256>;

    /**
     * From the last row on, the decoder names the components and events of all categories alike: they share it. Rows
     * behind it are for categories whose components or events only the owner names.
     */
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
    /** Gives each category its row. @return a category of each row. */
    std::vector<std::uint8_t> assign_rows(const OwnerNames &names);

    bool _has_conditions;
    bool _takes_all_places; ///< components and events
    std::optional<SaidTime> _since;
    std::optional<SaidTime> _until;
    Ids _categories;
    Ids _types;
    std::array<std::uint8_t, kIds> _rows{}; ///< by category
    std::vector<Ids> _components;           ///< by row
    std::vector<Ids> _events;               ///< by row and component; empty when every event is wanted
};

} // namespace cli
