#include "cli/questions/payload_views.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "qor/categories.h"

namespace cli {
namespace {

using qor::How;

char lower_case(char c) { return 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool is_same_name(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, [](char x, char y) { return lower_case(x) == lower_case(y); });
}

bool is_taken(std::span<const ViewColumn> columns, std::string_view name) {
    const auto is_it = [name](const auto &column) { return is_same_name(column.name, name); };
    return std::ranges::any_of(kHeaderColumns, is_it) || std::ranges::any_of(columns, is_it);
}

std::string free_name(std::span<const ViewColumn> columns, const std::string &wanted) {
    std::string name = wanted;
    for (int number = 2; is_taken(columns, name); ++number) {
        name = wanted + "_" + std::to_string(number);
    }
    return name;
}

std::string with_underscores(std::string_view name) {
    std::string result(name);
    std::ranges::replace(result, '-', '_');
    return result;
}

ColumnType number_type(const qor::Field &field) {
    const bool is_signed = field.how == How::Signed;
    switch (field.size) {
    case 1:
        return is_signed ? ColumnType::Signed8 : ColumnType::Unsigned8;
    case 2:
        return ColumnType::Unsigned16;
    case 4:
        return is_signed ? ColumnType::Signed32 : ColumnType::Unsigned32;
    default:
        return is_signed ? ColumnType::Signed64 : ColumnType::Unsigned64;
    }
}

ColumnType type_of(const qor::Field &field) {
    switch (field.how) {
    case How::Number:
    case How::Signed:
    case How::Hexadecimal:
        return number_type(field);
    case How::Constant:
        return ColumnType::Unsigned8;
    case How::FixedPoint:
        return ColumnType::Real;
    case How::Text:
    case How::Bytes:
    case How::CountedBytes:
    case How::Subject:
        return ColumnType::Text;
    }
    throw std::logic_error("a field of unknown kind");
}

std::vector<ViewColumn> make_columns(const qor::LayoutMeaning &row) {
    std::vector<ViewColumn> columns;
    for (std::size_t i = 0; i < row.fields.size(); ++i) {
        const qor::Field &field = row.layout->fields[i];
        const qor::FieldMeaning &meaning = row.fields[i];
        const bool is_text = field.how == How::Text;
        const std::string name = free_name(columns, with_underscores(field.name));
        columns.push_back({name, type_of(field), is_text, meaning.unit, std::string(meaning.meaning), &field, false});
        if (is_text) {
            columns.push_back({free_name(columns, name + "_hex"), ColumnType::Text, true, qor::kNoUnit,
                               "the bytes of " + name + " in hexadecimal where they are not UTF-8; null where they are",
                               &field, true});
        }
    }
    return columns;
}

std::array<std::uint8_t, decoder::kPayloads.size()> make_places(const qor::Layout &layout) {
    std::array<std::uint8_t, decoder::kPayloads.size()> places{};
    for (std::size_t index = 0; index < places.size(); ++index) {
        const decoder::payload &payload = decoder::kPayloads[index];
        const auto place =
            std::ranges::find(payload, layout.name, [](const qor::Layout *shown) { return shown->name; });
        places[index] = static_cast<std::uint8_t>(place == payload.end() ? 0 : place - payload.begin() + 1);
    }
    return places;
}

/** A rule of the choice of payloads: the first one that holds for a report decides. */
struct Decision {
    ReportCondition condition;
    bool shows; ///< the view's layout
};

std::vector<Decision> decisions_about(const qor::Layout &layout) {
    std::vector<Decision> decisions;
    for (const qor::Category &category : qor::kCategories) {
        for (const qor::PayloadRule &rule : category.payloads) {
            const std::uint32_t id = std::uint32_t{category.id} << 24;
            decisions.push_back({{rule.header | id, rule.mask | 0xFF00'0000u, rule.version},
                                 std::ranges::any_of(rule.layouts, [&](const qor::Layout *shown) {
                                     return shown->name == layout.name;
                                 })});
        }
    }
    for (const qor::Type &type : qor::kTypes) {
        decisions.push_back({{type.id, qor::kTypeAlone, qor::kAnyVersion}, type.layout->name == layout.name});
    }
    return decisions;
}

/** Whether there are reports for which both hold. */
bool overlap(const ReportCondition &a, const ReportCondition &b) {
    return (a.header & b.mask) == (b.header & a.mask) &&
           (a.version == b.version || a.version == qor::kAnyVersion || b.version == qor::kAnyVersion);
}

/** Whether `wide` holds wherever `narrow` does. */
bool includes(const ReportCondition &wide, const ReportCondition &narrow) {
    return (wide.mask & ~narrow.mask) == 0 && (narrow.header & wide.mask) == wide.header &&
           (wide.version == qor::kAnyVersion || wide.version == narrow.version);
}

/** Whether `wide` holds wherever `narrow` does. May be false although it does. */
bool includes(const ViewCondition &wide, const ViewCondition &narrow) {
    return includes(wide.holds, narrow.holds) &&
           std::ranges::none_of(wide.unless, [&](const ReportCondition &exception) {
               return overlap(exception, narrow.holds) &&
                      std::ranges::find(narrow.unless, exception) == narrow.unless.end();
           });
}

std::vector<ViewCondition> make_conditions(const qor::Layout &layout) {
    const std::vector<Decision> decisions = decisions_about(layout);
    std::vector<ViewCondition> conditions;
    for (auto decision = decisions.begin(); decision != decisions.end(); ++decision) {
        if (!decision->shows) {
            continue;
        }
        ViewCondition made{decision->condition, {}};
        for (auto earlier = decisions.begin(); earlier != decision; ++earlier) {
            if (!earlier->shows && overlap(earlier->condition, made.holds)) {
                made.unless.push_back(earlier->condition);
            }
        }
        std::erase_if(conditions, [&](const ViewCondition &condition) { return includes(made, condition); });
        conditions.push_back(std::move(made));
    }
    return conditions;
}

} // namespace

std::span<const PayloadView> payload_views() {
    static const std::vector<PayloadView> views = [] {
        std::vector<PayloadView> made;
        for (const qor::LayoutMeaning &row : qor::kLayoutMeanings) {
            made.push_back({row.view, row.meaning, row.layout, make_columns(row), make_conditions(*row.layout),
                            make_places(*row.layout)});
        }
        return made;
    }();
    return views;
}

} // namespace cli
