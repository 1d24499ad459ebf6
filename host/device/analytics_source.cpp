#include "host/device/analytics_source.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <set>
#include <thread>
#include <utility>

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>

#include "host/error.h"

namespace host {

using Clock = std::chrono::steady_clock;

struct AnalyticsSource::State {
    State(const DescribedDevice &described, std::function<void(const std::string &)> report)
        : device(described), report_problem(std::move(report)), deliveries(described.analytics().size()) {
        const Clock::time_point start = Clock::now();
        for (std::size_t i = 0; i < device.analytics().size(); ++i) {
            due.emplace(start + device.analytics()[i].after, i);
        }
        wait();
        thread = std::thread([this] { events.run(); });
    }

    /** Waits for the batch that is due first. The thread ends when none is left. */
    void wait() {
        if (due.empty()) {
            return;
        }
        timer.expires_at(due.begin()->first);
        timer.async_wait([this](const asio::error_code &) {
            deliver_due_batches();
            wait();
        });
    }

    void deliver_due_batches() {
        const Clock::time_point now = Clock::now();
        while (!due.empty() && due.begin()->first <= now && !events.stopped()) {
            const auto [time, index] = *due.begin();
            due.erase(due.begin());
            deliver(index);
            schedule_next(index, time);
        }
    }

    void deliver(std::size_t index) {
        const AnalyticsDescription &batch = device.analytics()[index];
        if (device.device(batch.device).deliver_batch(batch.entries)) {
            ++deliveries[index].made;
            return;
        }
        ++deliveries[index].lost;
        if (without_callback.insert(batch.device).second) {
            report_problem("device " + in_quotes(batch.device) +
                           ": no analytics callback is installed, so its batches are lost");
        }
    }

    void schedule_next(std::size_t index, Clock::time_point last) {
        const AnalyticsDescription &batch = device.analytics()[index];
        const std::uint64_t past = deliveries[index].made + deliveries[index].lost;
        if (batch.every && (!batch.count || past < *batch.count)) {
            due.emplace(std::max(last + *batch.every, Clock::now()), index);
        }
    }

    const DescribedDevice &device;
    std::function<void(const std::string &)> report_problem;
    std::vector<BatchDeliveries> deliveries;                 ///< of each batch
    std::set<std::pair<Clock::time_point, std::size_t>> due; ///< batches by their index in the description
    std::set<std::string> without_callback;                  ///< devices already reported
    asio::io_context events;
    asio::steady_timer timer{events};
    std::thread thread;
};

AnalyticsSource::AnalyticsSource(const DescribedDevice &device, std::function<void(const std::string &)> report_problem)
    : _state(std::make_unique<State>(device, std::move(report_problem))) {}

AnalyticsSource::~AnalyticsSource() { stop(); }

void AnalyticsSource::stop() {
    _state->events.stop();
    if (_state->thread.joinable()) {
        _state->thread.join();
    }
}

const std::vector<BatchDeliveries> &AnalyticsSource::deliveries() const { return _state->deliveries; }

} // namespace host
