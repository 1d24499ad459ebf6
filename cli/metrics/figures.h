/** A distribution's statistics as the cells of a table. */
#pragma once

#include <string>
#include <vector>

#include "cli/terminal/text_style.h"
#include "host/store/analytics_store.h"

namespace cli {

/** What `figures_of` gives, in its order. */
const std::vector<std::string> &figure_titles();

/** The statistics of a distribution that is not empty, with at most six significant digits. */
std::vector<std::string> figures_of(const host::Distribution &distribution);

/** A bar for each of `kBars` equal parts of its range, one column wide each; a part without values has a space. */
std::string bars_of(const host::Distribution &distribution, const TextStyle &style);

} // namespace cli
