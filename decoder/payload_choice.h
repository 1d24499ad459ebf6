/** Chooses a report's payload. Every rendering uses this choice, so that all of them show the same fields. */
#ifndef DECODER_PAYLOAD_CHOICE_H
#define DECODER_PAYLOAD_CHOICE_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "qor/categories.h"

namespace decoder {

/** The layouts that a payload is shown with, one after the other; `qor::kNoLayout` for none. */
using payload = std::array<const qor::Layout *, 2>;

/** The tables of categories and types, arranged for the look-up in `payload_index`. */
namespace payload_tables {

inline constexpr std::size_t kCategoryCount = std::size(qor::kCategories);
inline constexpr std::size_t kTypeCount = std::size(qor::kTypes);

inline constexpr std::size_t kRuleCount = [] {
    std::size_t count = 0;
    for (const qor::Category &category : qor::kCategories) {
        count += category.payloads.size();
    }
    return count;
}();

/** The rules of all categories, in the order of the categories. */
inline constexpr auto kRules = [] {
    std::array<qor::PayloadRule, kRuleCount> rules{};
    auto end = rules.begin();
    for (const qor::Category &category : qor::kCategories) {
        end = std::copy(category.payloads.begin(), category.payloads.end(), end);
    }
    return rules;
}();

/** An exclusive upper bound for the types that occur in the tables. */
inline constexpr std::size_t kTypeLimit = [] {
    std::size_t limit = kTypeCount;
    for (const qor::PayloadRule &rule : kRules) {
        limit = std::max(limit, rule.type() + std::size_t{1});
    }
    return limit;
}();

/** The choice for one category and type: the first rule of a range that holds, otherwise the type's own payload. */
struct choice {
    std::uint8_t first_rule = 0;
    std::uint8_t end_rule = 0;
    std::uint8_t otherwise = 0; ///< an index into `kPayloads`
};

/** By category and type. The last row is for unknown categories, the last column for unknown types. */
inline constexpr auto kChoices = [] {
    std::array<std::array<choice, kTypeLimit + 1>, kCategoryCount + 1> choices{};
    std::size_t first_of_category = 0;
    for (std::size_t category = 0; category < choices.size(); ++category) {
        const std::size_t end_of_category =
            first_of_category + (category < kCategoryCount ? qor::kCategories[category].payloads.size() : 0);
        for (std::size_t type = 0; type < kTypeLimit; ++type) {
            choice &made = choices[category][type];
            made.otherwise = static_cast<std::uint8_t>(type < kTypeCount ? 1 + type : 0);
            for (std::size_t rule = first_of_category; rule < end_of_category; ++rule) {
                if (kRules[rule].type() != type) {
                    continue;
                }
                if (made.end_rule == 0) {
                    made.first_rule = static_cast<std::uint8_t>(rule);
                } else if (made.end_rule != rule) {
                    throw "the rules of one type must stand together";
                }
                made.end_rule = static_cast<std::uint8_t>(rule + 1);
            }
        }
        first_of_category = end_of_category;
    }
    return choices;
}();

} // namespace payload_tables

/** All payloads: first none, then one for each type, then one for each rule. */
inline constexpr auto kPayloads = [] {
    std::array<payload, 1 + payload_tables::kTypeCount + payload_tables::kRuleCount> payloads{};
    payloads[0] = {&qor::kNoLayout, &qor::kNoLayout};
    auto end = payloads.begin() + 1;
    for (const qor::Type &type : qor::kTypes) {
        *end++ = {type.layout, &qor::kNoLayout};
    }
    for (const qor::PayloadRule &rule : payload_tables::kRules) {
        *end++ = rule.layouts;
    }
    return payloads;
}();

/**
 * The index into `kPayloads` of the payload that the decoder of `category` shows for `report`. The report itself may be
 * of another category.
 * @param category  any number. From 11 on, the type alone determines the payload.
 */
constexpr std::size_t payload_index(std::uint32_t category, const _QorProfileReport &report) {
    using namespace payload_tables; // NOLINT(google-build-using-namespace): four names, used only in this function
    const choice &made =
        kChoices[std::min<std::size_t>(category, kCategoryCount)][std::min<std::size_t>(report.type_id(), kTypeLimit)];
    for (std::size_t rule = made.first_rule; rule < made.end_rule; ++rule) {
        if (kRules[rule].holds_for(report)) {
            return 1 + kTypeCount + rule;
        }
    }
    return made.otherwise;
}

/** The same for the report's own category. */
constexpr std::size_t payload_index(const _QorProfileReport &report) {
    return payload_index(report.category_id(), report);
}

} // namespace decoder

#endif
