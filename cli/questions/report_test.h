/** Which reports a scan gives. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <vector>

#include "cli/questions/number_range.h"
#include "cli/questions/payload_views.h"
#include "cli/questions/sqlite_table.h"
#include "qor/report.h"

namespace cli {

/** The number of a column of `reports`, and of every view. Does not compile for an unknown name. */
consteval int report_column(std::string_view name) {
    for (std::size_t i = 0; i < std::size(kReportColumns); ++i) {
        if (kReportColumns[i].name == name) {
            return static_cast<int>(i);
        }
    }
    throw "no such column";
}

/** Whether reports hold conditions on their header, and are in a view. One thread at a time. */
class ReportTest {
public:
    /** Whether a condition on this column is looked at. */
    static bool uses(int column, Comparison comparison);

    /**
     * @param conditions  others than on columns of the header are ignored.
     * @param view        nothing for all reports.
     */
    ReportTest(std::span<const ColumnCondition> conditions, const PayloadView *view);

    /** Whether every report passes. */
    bool is_open() const { return _is_open; }

    /** Looks at the category first, with a table of bytes, and at nothing else of most reports that do not pass. */
    bool passes(const _QorProfileReport &report) {
        const std::uint32_t header = report.header();
        return _categories[header >> 24] && _types[header & 0xFF] && (!_places || passes_place(header >> 8)) &&
               (!_has_numbers ||
                (_sequence_nums.includes(report.sequence_num()) && _timestamps.includes(report.timestamp()))) &&
               (_view == nullptr || is_in_view(report));
    }

private:
    /** By component and event of each category. */
    enum class Place : std::uint8_t { Unknown, Passes, Fails };

    struct Free {
        void operator()(Place *places) const { std::free(places); } // NOLINT: from calloc
    };

    bool passes_place(std::uint32_t place) {
        Place &known = _places.get()[place];
        if (known == Place::Unknown) [[unlikely]] {
            known = finds_place(place) ? Place::Passes : Place::Fails;
        }
        return known == Place::Passes;
    }
    bool finds_place(std::uint32_t place) const;
    bool is_in_view(const _QorProfileReport &report) const {
        return _view_types[report.header() >> 24][report.type_id()] && _view->shows(decoder::payload_index(report));
    }
    void find_types_of_view();

    using Ids = std::array<bool, 256>;

    Ids _categories;
    Ids _types;
    std::vector<ColumnCondition> _place_conditions;
    /** 2^24 of them; null without a condition. Of the memory only what is touched is there. */
    std::unique_ptr<Place[], Free> _places;
    bool _has_numbers = false;
    NumberSet _sequence_nums;
    NumberSet _timestamps;
    const PayloadView *_view;
    std::vector<Ids> _view_types; ///< by category: types that may be in the view
    bool _is_open;
};

} // namespace cli
