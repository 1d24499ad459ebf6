/** The colours by which people tell categories of reports apart. */
#pragma once

#include <array>
#include <cstddef>
#include <optional>

namespace cli {

/** By category id, for `TextStyle::colour`. */
inline constexpr std::array<int, 11> kCategoryColours{34, 35, 32, 33, 36, 31, 94, 95, 92, 93, 96};

/** The colour of a category. Nothing for a category without a name. */
constexpr std::optional<int> colour_of_category(std::size_t category) {
    return category < kCategoryColours.size() ? std::optional(kCategoryColours[category]) : std::nullopt;
}

} // namespace cli
