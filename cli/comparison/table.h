/** A comparison for people. */
#pragma once

#include <cstddef>
#include <string>

#include "cli/comparison/result.h"
#include "cli/terminal/text_style.h"

namespace cli {

/** The most findings that are shown unless all are wanted. */
inline constexpr std::size_t kFindingsShown = 20;

/**
 * What was compared, then the findings with their sizes, ranked, then settings.
 * @return styled lines, no longer than `style.columns` where words allow it.
 */
std::string comparison_text(const ComparisonResult &result, bool shows_all, const TextStyle &style);

} // namespace cli
