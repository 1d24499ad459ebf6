/** A value that is made at most once a second, however many threads ask for it. */
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace cli {

/** The last value made. While one is being made, the others who want it wait for it. Any thread. */
template <typename Value>
class Snapshot {
public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr std::chrono::seconds kLifetime{1};

    explicit Snapshot(std::function<Value()> make, std::function<Time()> now = std::chrono::steady_clock::now)
        : _make(std::move(make)), _now(std::move(now)) {}

    /** The value, made less than a second ago or now. @throws what making it throws. */
    std::shared_ptr<const Value> get() {
        const std::lock_guard lock(_mutex);
        if (_value == nullptr || _now() - _made >= kLifetime) {
            _value = nullptr; // so that two values are never in memory together
            _value = std::make_shared<const Value>(_make());
            _made = _now();
        }
        return _value;
    }

private:
    std::function<Value()> _make;
    std::function<Time()> _now;
    std::mutex _mutex;
    std::shared_ptr<const Value> _value;
    Time _made; ///< after the value was made, so that a slow one does not follow another without a pause
};

} // namespace cli
