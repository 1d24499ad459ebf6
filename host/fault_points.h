/**
 * Fault points, with which a test makes call N of operation X fail. Every platform operation that can fail asks its own
 * fault point whether the call is to fail, which costs one relaxed load while nothing is armed. Any thread.
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

/** The fault point of one operation: a static object in the operation's source file. */
class FaultPoint {
public:
    struct State;

    /** @param operation the C name of the operation; a literal, unique in the process. */
    explicit FaultPoint(const char *operation);

    /** Whether this call is to fail. Called once at the start of each call of the operation. */
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
 * Makes call `call` of `operation` fail, counted from 0 and from now on. Other operations stay armed.
 * @throws Error for an unknown operation.
 */
void arm_fault(std::string_view operation, std::uint64_t call, Strikes strikes);

/** Disarms everything and starts counting calls without failing any. */
void count_fault_calls();

/** Ends arming and counting. The counts stay readable until the next arming or counting. */
void disarm_faults();

struct FaultCount {
    std::string operation;
    std::uint64_t calls;   ///< since the last arming or `count_fault_calls`
    std::uint64_t strikes; ///< those that were made to fail
};

/** The counts of every operation that can fail, sorted by name. */
std::vector<FaultCount> fault_counts();

} // namespace host
