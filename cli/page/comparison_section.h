/** The section of a comparison: its ranked findings, with both distributions over each other and the devices as dots.
 */
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "cli/page/page.h"

namespace cli {

/** What is drawn of a finding. */
struct FindingDrawing {
    /** A value, and the share of values up to it. */
    using Curve = std::vector<std::pair<double, double>>;

    struct Device {
        std::string name; ///< any bytes
        bool is_of_b;
        double median;
        bool has_moved;
    };

    std::string label; ///< UTF-8
    Curve curve_a;     ///< in ascending order; empty for a finding that is not drawn
    Curve curve_b;
    std::vector<Device> devices;
};

/**
 * @param figures   of the comparison, as `compare --json` has them: an object with `findings`.
 * @param drawings  of these findings, in their order.
 */
PageSection comparison_section(Json figures, const std::vector<FindingDrawing> &drawings);

} // namespace cli
