/** Trying again what may work later. */
#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "cli/questions/engine_client.h"

namespace cli {

/** How long to try again. */
struct Patience {
    std::chrono::milliseconds time{};                       ///< from the first failure on; 0: no second attempt
    std::function<void(const std::string &reason)> waiting; ///< called before the first pause
};

constexpr std::chrono::milliseconds kFirstPause{250};
constexpr std::chrono::milliseconds kLongestPause{10'000};

/**
 * Calls `attempt` until it does not throw what may pass, with pauses that double.
 * @throws EngineFailure, the last one, when the time is over or the failure does not pass.
 */
template <typename Attempt>
auto try_again(const Patience &patience, const Attempt &attempt) {
    std::chrono::milliseconds pause = kFirstPause;
    std::chrono::steady_clock::time_point end;
    for (bool is_first = true;; is_first = false) {
        try {
            return attempt();
        } catch (const EngineFailure &failure) {
            const auto now = std::chrono::steady_clock::now();
            end = is_first ? now + patience.time : end;
            if (!failure.may_pass() || now >= end) {
                throw;
            }
            if (is_first) {
                patience.waiting(failure.what());
            }
            std::this_thread::sleep_for(
                std::min(pause, std::chrono::duration_cast<std::chrono::milliseconds>(end - now) + kFirstPause));
            pause = std::min(pause * 2, kLongestPause);
        }
    }
}

} // namespace cli
