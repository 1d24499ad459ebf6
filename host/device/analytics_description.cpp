#include "host/device/analytics_description.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "host/count_text.h"
#include "host/device/description_table.h"
#include "host/error.h"
#include "host/nearest_word.h"
#include "qor/analytics.h"

namespace host {
namespace {

namespace analytics = qor::analytics;

constexpr std::uint64_t kLargestByte = 0xFF;
constexpr std::int64_t kMostPushes = kLargestByte - analytics::kPush + 1;

/** Beyond any use, and far below what the clock can count: 366 days. */
constexpr double kLongestSeconds = 366.0 * 24 * 3600;
constexpr double kShortestInterval = 0.001;

std::uint8_t byte_of(const DescriptionValue &value) { return static_cast<std::uint8_t>(value.number(kLargestByte)); }

std::uint8_t operation_code(const DescriptionValue &value) {
    if (!value.is_text()) {
        return byte_of(value);
    }
    const std::string name = value.text();
    const auto *const found = std::ranges::find(analytics::kOperations, name, &qor::NamedId::name);
    if (found != std::end(analytics::kOperations)) {
        return static_cast<std::uint8_t>(found->id);
    }
    std::vector<std::string_view> names;
    std::ranges::transform(analytics::kOperations, std::back_inserter(names), &qor::NamedId::name);
    throw value.error("cannot be " + in_quotes(name) + suggestion(name, names));
}

/** The code of the operation, with the count of pushes in it. */
std::uint8_t read_operation(const DescriptionTable &entry) {
    const std::uint8_t code = operation_code(entry.value("operation"));
    if (!entry.has("times")) {
        return code;
    }
    const std::int64_t times = entry.value("times").signed_number(1, kMostPushes);
    if (code != analytics::kPush) {
        throw entry.error_at("times", "only a \"push\" has \"times\"");
    }
    return static_cast<std::uint8_t>(code + times - 1);
}

std::uint8_t key_index(const DescriptionValue &value) {
    if (!value.is_text()) {
        return byte_of(value);
    }
    const std::string name = value.text();
    const auto *const found = std::ranges::find(analytics::kKeys, name);
    if (found != std::end(analytics::kKeys)) {
        return static_cast<std::uint8_t>(found - std::begin(analytics::kKeys));
    }
    throw value.error("names no analytics key: " + in_quotes(name) +
                      suggestion(name, {std::begin(analytics::kKeys), std::end(analytics::kKeys)}));
}

std::int32_t read_value(const DescriptionTable &entry, std::uint8_t operation) {
    const bool has_raw = entry.has("raw_value");
    if (has_raw && entry.has("value")) {
        throw entry.error_at("raw_value", "\"value\" and \"raw_value\" exclude each other");
    }
    if (!has_raw && !entry.has("value")) {
        return 0;
    }
    const DescriptionValue value = entry.value(has_raw ? "raw_value" : "value");
    if (!has_raw && operation >= analytics::kSetDistribution) {
        return value.fixed_point();
    }
    return static_cast<std::int32_t>(
        value.signed_number(std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()));
}

void append_entry(std::vector<std::byte> &bytes, const DescriptionTable &entry) {
    std::uint8_t version = analytics::kVersion;
    if (entry.has("version")) {
        version = byte_of(entry.value("version"));
    }
    const std::uint8_t operation = read_operation(entry);
    const std::int32_t value = read_value(entry, operation);
    for (const std::uint8_t byte :
         analytics::make_entry(version, operation, key_index(entry.value("key")), value).bytes) {
        bytes.push_back(std::byte{byte});
    }
}

std::chrono::nanoseconds seconds(const DescriptionTable &table, std::string_view key, double shortest) {
    const DescriptionValue value = table.value(key);
    const double seconds = value.decimal();
    if (!(seconds >= shortest && seconds <= kLongestSeconds)) {
        throw value.error(std::string("must be ") + (shortest > 0 ? "0.001" : "0") + " to 31622400 seconds");
    }
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(seconds));
}

} // namespace

std::vector<std::string_view> analytics_timing_keys() { return {"after", "every", "count"}; }

void read_analytics_timing(const DescriptionTable &table, AnalyticsDescription &batch) {
    if (table.has("after")) {
        batch.after = seconds(table, "after", 0);
    }
    if (table.has("every")) {
        batch.every = seconds(table, "every", kShortestInterval);
    }
    batch.count = table.optional_number("count", std::numeric_limits<std::uint64_t>::max());
    if (batch.count && !batch.every) {
        throw table.error_at("count", "\"count\" needs an \"every\"");
    }
    if (batch.count && *batch.count == 0) {
        throw table.error_at("count", "\"count\" must be at least 1");
    }
}

std::vector<std::byte> build_analytics_entries(const DescriptionTable &table) {
    std::vector<std::byte> bytes;
    for (const DescriptionTable &entry :
         table.tables("entry", "an analytics entry", {"version", "operation", "times", "key", "value", "raw_value"})) {
        append_entry(bytes, entry);
    }
    return bytes;
}

void check_analytics_entries(const DescriptionTable &table, std::string_view key, std::size_t size) {
    if (const std::size_t rest = size % analytics::kEntrySize; rest != 0) {
        throw table.error_at(key, in_quotes(key) + " gives " + std::to_string(size) + " bytes, not whole entries of " +
                                      std::to_string(analytics::kEntrySize) + ": " +
                                      count_text(rest, "is left over", "are left over"));
    }
}

} // namespace host
