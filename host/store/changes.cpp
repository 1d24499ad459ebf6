#include "host/store/changes.h"

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
        pushed.add(value, count);
    }
}

/** Keys whose storage is kept; those of one plug-in are fewer. */
constexpr std::size_t kMostKeysKept = 1000;

StoreChanges::OfKey &StoreChanges::of(std::string_view key) {
    if (_last < _changed.size() && _changed[_last]->first == key) {
        return _changed[_last]->second;
    }
    auto found = _keys.find(key);
    if (found == _keys.end()) {
        found = _keys.emplace(key, OfKey{}).first;
    }
    if (found->second.place == kNotListed) {
        _changed.push_back(&*found);
        found->second.place = _changed.size() - 1;
    }
    _last = found->second.place;
    return found->second;
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
    distribution.empty();
    distribution.pushed.add(value, 1);
    ++_operations;
}

void StoreChanges::push(std::string_view key, double value) {
    of(key).distribution.pushed.add(value, 1);
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
    for (Keys::value_type *changed : _changed) {
        OfKey &of_key = changed->second;
        of_key.scalar = {};
        of_key.distribution.is_emptied_first = false;
        of_key.distribution.pushed.clear();
        of_key.place = kNotListed;
    }
    _changed.clear();
    _operations = 0;
    if (_keys.size() > kMostKeysKept) {
        _keys.clear();
    }
}

void StoreChanges::for_each(const std::function<void(const std::string &key, const OfKey &changes)> &visit) const {
    for (const Keys::value_type *changed : _changed) {
        visit(changed->first, changed->second);
    }
}

} // namespace host
