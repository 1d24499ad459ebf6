/** The changes that operations make to the analytics store, collected before they are written. */
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/store/value_counts.h"

namespace host {

/** The change of a scalar, independent of its value before. */
struct ScalarChange {
    enum Kind : std::uint8_t { kNone, kAdd, kSet, kClear };
    Kind kind = kNone;
    std::int64_t value = 0; ///< the sum of the additions, wrapped at 64 bits, or the value set

    void add(std::int64_t delta);
    void append(const ScalarChange &later);
};

/** The change of a distribution, independent of its values before. */
struct DistributionChange {
    bool is_cleared_first = false;
    ValueCounts pushed; ///< the counts of the values pushed since

    bool is_none() const { return !is_cleared_first && pushed.empty(); }
    void clear();
    void append(const DistributionChange &later);
};

/**
 * Operations, merged for each key in the order of their calls. This is exact because keys do not depend on one another.
 * One thread at a time. Every member may throw `std::bad_alloc`, after none or a part of the requested change.
 */
class StoreChanges {
public:
    static constexpr std::size_t kNotListed = static_cast<std::size_t>(-1);

    struct KeyChanges {
        ScalarChange scalar;
        DistributionChange distribution;
        std::size_t place = kNotListed; ///< in the list of keys that may have changes
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

    /** Adds changes that were made after these. */
    void append(const StoreChanges &later);

    /** The number of operations, for messages. */
    std::uint64_t operations() const { return _operations; }
    bool is_empty() const { return _operations == 0; }

    /** The number of keys with changes and of the distinct values pushed: what the memory grows with. */
    std::size_t size() const;

    /** Removes all changes. Keeps the storage of the keys, so that using them again allocates nothing. */
    void clear();

    /** Visits the changes of each key, in the order of the keys' first changes. */
    void for_each(const std::function<void(const std::string &key, const KeyChanges &changes)> &visit) const;

private:
    struct TextHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
    };
    using Keys = std::unordered_map<std::string, KeyChanges, TextHash, std::equal_to<>>;

    KeyChanges &changes_of(std::string_view key);

    Keys _keys;
    std::vector<Keys::value_type *> _changed;
    std::size_t _last = 0; ///< the one of the last call: operations on one key tend to come in a row
    std::uint64_t _operations = 0;
};

/** The sum, wrapped at 64 bits. */
std::int64_t wrapping_sum(std::int64_t a, std::int64_t b);

} // namespace host
