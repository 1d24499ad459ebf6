#include "host/fault_points.h"

#include <algorithm>
#include <memory>
#include <mutex>

#include "host/error.h"

namespace host {

struct FaultPoint::State {
    std::string operation;
    std::uint64_t calls = 0;
    std::uint64_t strikes = 0;
    bool armed = false;
    std::uint64_t calls_before_strike = 0;
    Strikes mode = Strikes::Once;
};

std::atomic<bool> FaultPoint::_anything_armed{false};

namespace {

/** Every fault point of the process. The lock is taken only while something is armed or counted. */
struct Points {
    std::mutex mutex;
    std::vector<std::unique_ptr<FaultPoint::State>> states;
};

/** Never destroyed: operations are called while the process exits. */
Points &points() {
    static Points &instance = *new Points;
    return instance;
}

void restart_counts(Points &all) {
    for (auto &state : all.states) {
        state->calls = 0;
        state->strikes = 0;
    }
}

void disarm_all(Points &all) {
    for (auto &state : all.states) {
        state->armed = false;
    }
}

} // namespace

FaultPoint::FaultPoint(const char *operation) {
    auto state = std::make_unique<State>();
    state->operation = operation;
    _state = state.get();

    Points &all = points();
    const std::lock_guard lock(all.mutex);
    all.states.push_back(std::move(state));
}

bool FaultPoint::counts_and_strikes() {
    const std::lock_guard lock(points().mutex);
    ++_state->calls;
    if (!_state->armed) {
        return false;
    }
    if (_state->calls_before_strike > 0) {
        --_state->calls_before_strike;
        return false;
    }
    _state->armed = _state->mode == Strikes::ForGood;
    ++_state->strikes;
    return true;
}

void arm_fault(std::string_view operation, std::uint64_t call, Strikes strikes) {
    Points &all = points();
    const std::lock_guard lock(all.mutex);
    const auto found =
        std::find_if(all.states.begin(), all.states.end(), [&](auto &state) { return state->operation == operation; });
    if (found == all.states.end()) {
        throw Error("", "fault point \"" + std::string(operation) + "\"", "no operation of this name can fail");
    }
    restart_counts(all);
    (*found)->armed = true;
    (*found)->calls_before_strike = call;
    (*found)->mode = strikes;
    FaultPoint::_anything_armed.store(true, std::memory_order_relaxed);
}

void count_fault_calls() {
    Points &all = points();
    const std::lock_guard lock(all.mutex);
    disarm_all(all);
    restart_counts(all);
    FaultPoint::_anything_armed.store(true, std::memory_order_relaxed);
}

void disarm_faults() {
    Points &all = points();
    const std::lock_guard lock(all.mutex);
    disarm_all(all);
    FaultPoint::_anything_armed.store(false, std::memory_order_relaxed);
}

std::vector<FaultCount> fault_counts() {
    Points &all = points();
    const std::lock_guard lock(all.mutex);
    std::vector<FaultCount> counts;
    counts.reserve(all.states.size());
    for (const auto &state : all.states) {
        counts.push_back(FaultCount{state->operation, state->calls, state->strikes});
    }
    std::sort(counts.begin(), counts.end(), [](auto &a, auto &b) { return a.operation < b.operation; });
    return counts;
}

} // namespace host
