/** Counts of the firmware's analytics entries. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace cli {

/** What the plug-in does with entries, judging by their version and operation. */
struct EntryCounts {
    std::uint64_t applied = 0;
    std::uint64_t without_operation = 0;
    std::uint64_t of_other_version = 0;
};

/**
 * Adds the entries of a batch that is delivered `times` times.
 * @param batch  whole entries of 7 bytes.
 */
void count_entries(EntryCounts &counts, std::span<const std::byte> batch, std::uint64_t times = 1);

/** "6 entries: 4 applied, 1 without an operation, 1 skipped for their version". */
std::string entry_counts_text(const EntryCounts &counts);

} // namespace cli
