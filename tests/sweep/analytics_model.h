/** The sweep's own model of analytics batches: the resulting store contents and log lines. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "host/fault_points.h"
#include "host/store/analytics_store.h"

namespace sweep {

/** The calls of one operation that fail, and so have no effect. */
struct LeftOut {
    std::string operation; ///< empty: none
    std::uint64_t call = 0;
    host::Strikes strikes = host::Strikes::Once;
};

struct AnalyticsOutcome {
    host::StoreContents contents;
    std::vector<std::string> lines; ///< without the newline at their end
};

/**
 * Applies entries in order to an empty store.
 * @param has_fallback_key  whether this process has already created the key for unknown indexes.
 */
AnalyticsOutcome expected_analytics(std::span<const std::byte> entries, const LeftOut &left_out, bool has_fallback_key);

} // namespace sweep
