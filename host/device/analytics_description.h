/** Analytics batches as a device description gives them. `docs/device-description.md` has the schema. */
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

class DescriptionTable;

/** A batch, with when it is delivered. */
struct AnalyticsDescription {
    std::string device;             ///< a key of `DeviceDescription::devices`
    std::vector<std::byte> entries; ///< whole ones of 7 bytes, laid end to end
    std::chrono::nanoseconds after{0};
    std::optional<std::chrono::nanoseconds> every; ///< repeats at this interval; at least a millisecond
    std::optional<std::uint64_t> count;            ///< deliveries in all, when there is an end to them
};

/** The keys of a batch's table, apart from `device` and those that say where its entries are. */
std::vector<std::string_view> analytics_timing_keys();

/** Reads those keys. @throws Error for what they cannot be. */
void read_analytics_timing(const DescriptionTable &table, AnalyticsDescription &batch);

/** The entries of `entry`, an array of tables. @throws Error for what no entry can hold. */
std::vector<std::byte> build_analytics_entries(const DescriptionTable &table);

/** Refuses bytes that are no whole entries. @param key  what gave them. */
void check_analytics_entries(const DescriptionTable &table, std::string_view key, std::size_t size);

} // namespace host
