/** Compares two sides: every measure that both have, tested over the devices, ranked. */
#pragma once

#include <cstddef>
#include <cstdint>

#include "cli/comparison/result.h"
#include "cli/comparison/side.h"
#include "cli/dumps/owner_names.h"

namespace cli {

struct ComparisonOptions {
    std::uint64_t seed = 1;
    double level = 0.05;     ///< of false discoveries, above 0 and below 1
    bool keeps_all = false;  ///< also the measures without a finding, behind the findings
    const OwnerNames *names; ///< not null; outlives the comparison
};

ComparisonResult compare_sides(const Side &a, const Side &b, const ComparisonOptions &options);

} // namespace cli
