/** The analytics store behind `platform/TallybookStore.h`, read back. Any thread. */
#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <string>

namespace host {

/** Orders doubles totally, so that every value, not-a-number included, can be a key. */
struct TotalOrder {
    bool operator()(double a, double b) const { return std::strong_order(a, b) < 0; }
};

/** How often each distinct value was put into a distribution. */
using Distribution = std::map<double, std::uint64_t, TotalOrder>;

/** Everything that the store holds at one moment. A distribution that is there holds at least one value. */
struct StoreContents {
    std::map<std::string, std::int64_t> scalars;
    std::map<std::string, Distribution> distributions;
};

/** A copy of what the store holds now. */
StoreContents store_contents();

/** Removes everything from the store. */
void clear_store();

} // namespace host
