/** What the user may add to a format. */
#pragma once

#include <memory>

#include "cli/reports/owner_names.h"

namespace cli {

struct RenderingOptions {
    std::shared_ptr<const OwnerNames> names = {}; ///< null for none
    bool has_raw = false;                         ///< rows for programs end with all bytes of their report

    /** Whether a row is that without any option. */
    bool are_default() const { return names == nullptr && !has_raw; }
};

} // namespace cli
