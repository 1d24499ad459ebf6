#include "cli/terminal/interruption.h"

#include <array>
#include <atomic>
#include <csignal>

#include "host/error.h"

namespace cli {
namespace {

constexpr std::array<int, 3> kSignals = {SIGINT, SIGTERM, SIGHUP};

/** Set on whichever thread receives the signal. */
std::atomic<bool> interrupted = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

std::array<struct sigaction, kSignals.size()> former_actions;

void remember(int) { interrupted = true; }

} // namespace

Interruption::Interruption() {
    interrupted = false;
    struct sigaction action {};
    action.sa_handler = remember;
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        sigaction(kSignals[i], nullptr, &former_actions[i]);
        if (former_actions[i].sa_handler != SIG_IGN) {
            sigaction(kSignals[i], &action, nullptr);
        }
    }
}

Interruption::~Interruption() {
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        sigaction(kSignals[i], &former_actions[i], nullptr);
    }
}

bool Interruption::is_requested() const { return interrupted; }

void Interruption::throw_if_requested() const {
    if (is_requested()) {
        throw host::Error("", "", "interrupted");
    }
}

} // namespace cli
