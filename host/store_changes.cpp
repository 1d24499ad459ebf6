#include "host/store_changes.h"

namespace host {

std::int64_t wrapping_sum(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

void ScalarChange::add(std::int64_t delta) {
    // A scalar that is not there counts as 0.
    const bool is_certain = kind == kSet || kind == kClear;
    value = wrapping_sum(kind == kSet || kind == kAdd ? value : 0, delta);
    kind = is_certain ? kSet : kAdd;
}

void ScalarChange::then(const ScalarChange &later) {
    if (later.kind == kAdd) {
        add(later.value);
    } else if (later.kind != kNone) {
        *this = later;
    }
}

void DistributionChange::empty() {
    is_emptied_first = true;
    pushed.clear();
}

void DistributionChange::then(const DistributionChange &later) {
    if (later.is_emptied_first) {
        *this = later;
        return;
    }
    for (const auto &[value, count] : later.pushed) {
        pushed[value] += count;
    }
}

StoreChanges::OfKey &StoreChanges::of(std::string_view key) {
    if (_last == nullptr || _last->first != key) {
        auto found = _keys.find(key);
        if (found == _keys.end()) {
            found = _keys.emplace(key, OfKey{}).first;
        }
        _last = &*found;
    }
    return _last->second;
}

void StoreChanges::clear_scalar(std::string_view key) {
    of(key).scalar = {ScalarChange::kClear, 0};
    ++_operations;
}

void StoreChanges::set_scalar(std::string_view key, std::int64_t value) {
    of(key).scalar = {ScalarChange::kSet, value};
    ++_operations;
}

void StoreChanges::add_to_scalar(std::string_view key, std::int64_t delta) {
    of(key).scalar.add(delta);
    ++_operations;
}

void StoreChanges::clear_distribution(std::string_view key) {
    of(key).distribution.empty();
    ++_operations;
}

void StoreChanges::set_distribution(std::string_view key, double value) {
    DistributionChange &distribution = of(key).distribution;
    std::unordered_map<double, std::uint64_t> only{{value, 1}};
    distribution.pushed.swap(only);
    distribution.is_emptied_first = true;
    ++_operations;
}

void StoreChanges::push(std::string_view key, double value) {
    ++of(key).distribution.pushed[value];
    ++_operations;
}

void StoreChanges::append(const StoreChanges &later) {
    later.for_each([this](const std::string &key, const OfKey &changes) {
        OfKey &mine = of(key);
        mine.scalar.then(changes.scalar);
        mine.distribution.then(changes.distribution);
    });
    _operations += later._operations;
}

void StoreChanges::forget() {
    for (auto &[key, changes] : _keys) {
        changes.scalar = {};
        changes.distribution.is_emptied_first = false;
        changes.distribution.pushed.clear();
    }
    _operations = 0;
}

void StoreChanges::for_each(const std::function<void(const std::string &key, const OfKey &changes)> &visit) const {
    for (const auto &[key, changes] : _keys) {
        if (changes.scalar.kind != ScalarChange::kNone || !changes.distribution.is_none()) {
            visit(key, changes);
        }
    }
}

} // namespace host
