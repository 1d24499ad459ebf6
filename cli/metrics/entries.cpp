#include "cli/metrics/entries.h"

#include "host/count_text.h"
#include "qor/analytics.h"

namespace cli {

namespace analytics = qor::analytics;

void count_entries(EntryCounts &counts, std::span<const std::byte> batch, std::uint64_t times) {
    for (; !batch.empty(); batch = batch.subspan(analytics::kEntrySize)) {
        if (batch[analytics::kEntryVersion.offset] != std::byte{analytics::kVersion}) {
            counts.of_other_version += times;
        } else if (batch[analytics::kEntryOperation.offset] == std::byte{analytics::kNone}) {
            counts.without_operation += times;
        } else {
            counts.applied += times;
        }
    }
}

std::string entry_counts_text(const EntryCounts &counts) {
    const std::uint64_t entries = counts.applied + counts.without_operation + counts.of_other_version;
    return host::count_text(entries, "entry", "entries") + ": " + std::to_string(counts.applied) + " applied, " +
           std::to_string(counts.without_operation) + " without an operation, " +
           std::to_string(counts.of_other_version) + " skipped for their version";
}

} // namespace cli
