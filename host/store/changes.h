/** What operations on the analytics store amount to, gathered before they are written. */
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/store/value_counts.h"

namespace host {

/** What happened to a scalar, whatever it was before. */
struct ScalarChange {
    enum Kind : std::uint8_t { kNone, kAdd, kSet, kClear };
    Kind kind = kNone;
    std::int64_t value = 0; ///< the sum of what was added, wrapped at 64 bits, or what it was set to

    void add(std::int64_t delta);
    void then(const ScalarChange &later);
};

/** What happened to a distribution, whatever it was before. */
struct DistributionChange {
    bool is_emptied_first = false;
    ValueCounts pushed; ///< how often each value was put in since

    bool is_none() const { return !is_emptied_first && pushed.empty(); }
    void empty();
    void then(const DistributionChange &later);
};

/**
 * Operations in the order of their calls, collapsed for each key. That is exact: keys are independent of one
 * another, and what was done to one key is folded in its order. One thread at a time. Every member may throw
 * `std::bad_alloc`, and then has changed nothing but what it was asked to change.
 */
class StoreChanges {
public:
    static constexpr std::size_t kNotListed = static_cast<std::size_t>(-1);

    struct OfKey {
        ScalarChange scalar;
        DistributionChange distribution;
        std::size_t place = kNotListed; ///< among the keys that may have changes
    };

    StoreChanges() = default;
    StoreChanges(StoreChanges &&) = default;
    StoreChanges &operator=(StoreChanges &&) = default;
    StoreChanges(const StoreChanges &) = delete;
    StoreChanges &operator=(const StoreChanges &) = delete;

    void clear_scalar(std::string_view key);
    void set_scalar(std::string_view key, std::int64_t value);
    void add_to_scalar(std::string_view key, std::int64_t delta);
    void clear_distribution(std::string_view key);
    void set_distribution(std::string_view key, double value);
    void push(std::string_view key, double value);

    /** Makes these the changes of both, `later` having come after what is here. */
    void append(const StoreChanges &later);

    /** How many operations were called, for messages. */
    std::uint64_t operations() const { return _operations; }
    bool is_empty() const { return _operations == 0; }

    /** Back to no changes; storage for the keys seen is kept, so that they cost no allocation next time. */
    void forget();

    /** Visits the changes of each key, in the order of their first ones. */
    void for_each(const std::function<void(const std::string &key, const OfKey &changes)> &visit) const;

private:
    struct TextHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
    };
    using Keys = std::unordered_map<std::string, OfKey, TextHash, std::equal_to<>>;

    OfKey &of(std::string_view key);

    Keys _keys;
    std::vector<Keys::value_type *> _changed;
    std::size_t _last = 0; ///< which of them the call before was for: operations on one key come in a row
    std::uint64_t _operations = 0;
};

/** The sum, wrapped at 64 bits. */
std::int64_t wrapping_sum(std::int64_t a, std::int64_t b);

} // namespace host
