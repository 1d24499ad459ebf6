/** Metric families in the OpenMetrics text format. */
#pragma once

#include <string>
#include <vector>

#include "cli/metrics/families.h"

namespace cli {

/** The whole exposition, its end marker included. Integers are written exactly, other numbers so that they read back.
 */
std::string openmetrics_text(const std::vector<MetricFamily> &families);

} // namespace cli
