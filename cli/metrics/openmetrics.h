/** Metric families in the OpenMetrics text format. */
#pragma once

#include <string>
#include <vector>

#include "cli/metrics/families.h"

namespace cli {

/** The whole exposition, including its end marker. All numbers read back exactly. */
std::string openmetrics_text(const std::vector<MetricFamily> &families);

} // namespace cli
