#include "cli/questions/report_test.h"

#include <algorithm>
#include <new>
#include <string_view>

#include "decoder/name_tables.h"

namespace cli {
namespace {

constexpr std::size_t kPlaces = std::size_t{1} << 24;

bool is_name(int column) {
    return column == report_column("category") || column == report_column("component") ||
           column == report_column("event") || column == report_column("type");
}

bool is_id(int column) { return is_name(column - 1); }

bool holds_for_id(const ColumnCondition &condition, std::uint8_t id) {
    return std::ranges::any_of(condition.operands, [&](const Operand &operand) {
        return range_of(condition.comparison, operand).includes(id);
    });
}

} // namespace

static_assert(report_column("category_id") == report_column("category") + 1 &&
                  report_column("component_id") == report_column("component") + 1 &&
                  report_column("event_id") == report_column("event") + 1 &&
                  report_column("type_id") == report_column("type") + 1,
              "an id stands behind its name");

bool ReportTest::uses(int column, Comparison comparison) {
    return is_name(column)
               ? comparison == Comparison::Equal
               : is_id(column) || column == report_column("sequence_num") || column == report_column("timestamp");
}

ReportTest::ReportTest(std::span<const ColumnCondition> conditions, const PayloadView *view) : _view(view) {
    _categories.fill(true);
    _types.fill(true);
    _is_open = view == nullptr;
    for (const ColumnCondition &condition : conditions) {
        const int column = condition.column;
        _is_open = _is_open && !uses(column, condition.comparison);
        const auto restrict_ids = [&](Ids &ids, int name_column, const auto &name_of) {
            for (std::size_t i = 0; i < ids.size(); ++i) {
                const auto id = static_cast<std::uint8_t>(i);
                ids[i] =
                    ids[i] && (column == name_column ? may_hold(condition, name_of(id)) : holds_for_id(condition, id));
            }
        };
        if (column == report_column("category") || column == report_column("category_id")) {
            restrict_ids(_categories, report_column("category"), decoder::category_name);
        } else if (column == report_column("type") || column == report_column("type_id")) {
            restrict_ids(_types, report_column("type"), decoder::type_name);
        } else if (is_name(column) || is_id(column)) {
            _place_conditions.push_back(condition);
        } else if (column == report_column("sequence_num")) {
            _sequence_nums.restrict_to(condition);
        } else if (column == report_column("timestamp")) {
            _timestamps.restrict_to(condition);
        }
    }
    _has_numbers = _sequence_nums.is_restricted() || _timestamps.is_restricted();
    if (!_place_conditions.empty()) {
        _places.reset(static_cast<Place *>(std::calloc(kPlaces, sizeof(Place)))); // NOLINT: zeros without touching them
        if (!_places) {
            throw std::bad_alloc();
        }
    }
    if (view != nullptr) {
        find_types_of_view();
    }
}

bool ReportTest::finds_place(std::uint32_t place) const {
    const auto category = static_cast<std::uint8_t>(place >> 16);
    const auto component = static_cast<std::uint8_t>(place >> 8);
    const auto event = static_cast<std::uint8_t>(place);
    return std::ranges::all_of(_place_conditions, [&](const ColumnCondition &condition) {
        switch (condition.column) {
        case report_column("component"):
            return may_hold(condition, decoder::component_name(category, component));
        case report_column("component_id"):
            return holds_for_id(condition, component);
        case report_column("event"):
            return may_hold(condition, decoder::event_name(category, component, event));
        default:
            return holds_for_id(condition, event);
        }
    });
}

/** The types of each category of which any payload has the view's layout. */
void ReportTest::find_types_of_view() {
    using namespace decoder::payload_tables; // NOLINT(google-build-using-namespace): for this function
    _view_types.resize(256);
    for (std::size_t category = 0; category < _view_types.size(); ++category) {
        for (std::size_t type = 0; type < _view_types[category].size(); ++type) {
            const choice &made = kChoices[std::min(category, kCategoryCount)][std::min(type, kTypeLimit)];
            bool may_show = _view->shows(made.otherwise);
            for (std::size_t rule = made.first_rule; rule < made.end_rule; ++rule) {
                may_show = may_show || _view->shows(1 + kTypeCount + rule);
            }
            _view_types[category][type] = may_show;
        }
    }
}

} // namespace cli
