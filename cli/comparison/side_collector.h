/** Collects the measures of a side from its recordings. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "cli/comparison/side.h"
#include "cli/dumps/function_call.h"
#include "cli/dumps/sequence_break.h"
#include "cli/dumps/slice_nesting.h"
#include "host/state_records.h"
#include "host/store/analytics_store.h"
#include "qor/report.h"

namespace cli {

/**
 * Takes recordings one after the other, each report once. What it keeps grows with distinct values and not with
 * reports: about four bytes for each distinct value of a device and measure. One thread at a time.
 */
class SideCollector {
public:
    /** Reports of id paths, functions and wake reasons beyond these are counted in `Side::not_compared`. */
    static constexpr std::size_t kMostPaths = 10'000;
    static constexpr std::size_t kMostFunctions = 10'000;
    static constexpr std::size_t kMostReasons = 1'000;

    SideCollector();
    ~SideCollector();
    SideCollector(const SideCollector &) = delete;
    SideCollector &operator=(const SideCollector &) = delete;

    /** Begins a recording of `device`. Cheapest when those of a device follow one another. */
    void begin_recording(const std::string &device);

    /** The next reports of a dump, or of a record's file, which began last. */
    void add_reports(std::span<const _QorProfileReport> reports);

    /** The contents of a store, which began last. Several stores of a device are added up as a merge of stores is. */
    void add_store(const host::StoreContents &contents);

    /**
     * Latencies and settings of a capture, which began last.
     * @param taken  the newest capture of a device counts; of the same time, the later one.
     */
    void add_records(const std::vector<host::StateRecord> &records, std::int64_t taken);

    /** The side. Do not call anything after that. */
    Side finish();

private:
    struct State;
    std::unique_ptr<State> _state;
};

} // namespace cli
