#include "host/store/changes.h"

namespace host {

std::int64_t wrapping_sum(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

void ScalarChange::add(std::int64_t delta) {
    // A missing scalar counts as 0.
    const bool is_certain = kind == kSet || kind == kClear;
    value = wrapping_sum(kind == kSet || kind == kAdd ? value : 0, delta);
    kind = is_certain ? kSet : kAdd;
}

void ScalarChange::append(const ScalarChange &later) {
    if (later.kind == kAdd) {
        add(later.value);
    } else if (later.kind != kNone) {
        *this = later;
    }
}

void DistributionChange::clear() {
    is_cleared_first = true;
    pushed.clear();
}

void DistributionChange::append(const DistributionChange &later) {
    if (later.is_cleared_first) {
        *this = later;
        return;
    }
    for (const auto &[value, count] : later.pushed) {
        pushed.add(value, count);
    }
}

/** The number of keys whose storage is kept. One plug-in has fewer. */
constexpr std::size_t kMostKeysKept = 1000;

StoreChanges::KeyChanges &StoreChanges::changes_of(std::string_view key) {
    if (_last < _changed.size() && _changed[_last]->first == key) {
        return _changed[_last]->second;
    }
    auto found = _keys.find(key);
    if (found == _keys.end()) {
        found = _keys.emplace(key, KeyChanges{}).first;
    }
    if (found->second.place == kNotListed) {
        _changed.push_back(&*found);
        found->second.place = _changed.size() - 1;
    }
    _last = found->second.place;
    return found->second;
}

void StoreChanges::clear_scalar(std::string_view key) {
    changes_of(key).scalar = {ScalarChange::kClear, 0};
    ++_operations;
}

void StoreChanges::set_scalar(std::string_view key, std::int64_t value) {
    changes_of(key).scalar = {ScalarChange::kSet, value};
    ++_operations;
}

void StoreChanges::add_to_scalar(std::string_view key, std::int64_t delta) {
    changes_of(key).scalar.add(delta);
    ++_operations;
}

void StoreChanges::clear_distribution(std::string_view key) {
    changes_of(key).distribution.clear();
    ++_operations;
}

void StoreChanges::set_distribution(std::string_view key, double value) {
    DistributionChange &distribution = changes_of(key).distribution;
    distribution.clear();
    distribution.pushed.add(value, 1);
    ++_operations;
}

void StoreChanges::push(std::string_view key, double value) {
    changes_of(key).distribution.pushed.add(value, 1);
    ++_operations;
}

void StoreChanges::append(const StoreChanges &later) {
    later.for_each([this](const std::string &key, const KeyChanges &changes) {
        KeyChanges &mine = changes_of(key);
        mine.scalar.append(changes.scalar);
        mine.distribution.append(changes.distribution);
    });
    _operations += later._operations;
}

std::size_t StoreChanges::size() const {
    std::size_t size = 0;
    for (const Keys::value_type *changed : _changed) {
        size += 1 + changed->second.distribution.pushed.size();
    }
    return size;
}

void StoreChanges::clear() {
    for (Keys::value_type *changed : _changed) {
        KeyChanges &of_key = changed->second;
        of_key.scalar = {};
        of_key.distribution.is_cleared_first = false;
        of_key.distribution.pushed.clear();
        of_key.place = kNotListed;
    }
    _changed.clear();
    _operations = 0;
    if (_keys.size() > kMostKeysKept) {
        _keys.clear();
    }
}

void StoreChanges::for_each(const std::function<void(const std::string &key, const KeyChanges &changes)> &visit) const {
    for (const Keys::value_type *changed : _changed) {
        visit(changed->first, changed->second);
    }
}

} // namespace host
