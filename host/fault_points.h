/**
 * Fault points: every platform operation that can fail asks its own one whether this call shall fail, so that
 * a test can strike call N of operation X. Costs one relaxed load where nothing is armed. Any thread.
 */
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace host {

enum class Strikes {
    Once,   ///< only call N fails
    ForGood ///< call N and all that follow fail
};

/** One operation's fault point: a static object in the operation's source file. */
class FaultPoint {
public:
    struct State;

    /** @param operation the C name of the operation; a literal, unique in the process. */
    explicit FaultPoint(const char *operation);

    /** Whether this call shall fail; asked once at the start of each call of the operation. */
    bool strikes() { return _anything_armed.load(std::memory_order_relaxed) && counts_and_strikes(); }

private:
    bool counts_and_strikes();

    static std::atomic<bool> _anything_armed;
    friend void arm_fault(std::string_view, std::uint64_t, Strikes);
    friend void count_fault_calls();
    friend void disarm_faults();

    State *_state;
};

/**
 * Makes call `call` (counted from 0, from now on) of `operation` fail. Other operations stay armed.
 * @throws Error for an unknown name.
 */
void arm_fault(std::string_view operation, std::uint64_t call, Strikes strikes);

/** Disarms everything and starts counting calls without failing any. */
void count_fault_calls();

/** Ends arming and counting; what was counted stays readable until the next arming or counting. */
void disarm_faults();

struct FaultCount {
    std::string operation;
    std::uint64_t calls;   ///< since the last arming or `count_fault_calls`
    std::uint64_t strikes; ///< how many of them failed on purpose
};

/** Every operation that can fail, by name, with its counts. */
std::vector<FaultCount> fault_counts();

} // namespace host
