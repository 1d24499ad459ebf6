#include "cli/ordered_workers.h"

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <limits>
#include <mutex>
#include <system_error>
#include <thread>

namespace cli {
namespace {

/** Beyond this, one thread that writes cannot keep up. */
constexpr unsigned kWorkersAtMost = 8;

class Workers {
public:
    explicit Workers(const BlockSteps &steps) : _steps(steps) {}

    void run(unsigned threads) {
        std::vector<std::thread> others;
        try {
            for (unsigned i = 1; i < threads; ++i) {
                others.emplace_back([this] { work(); });
            }
        } catch (const std::system_error &) {
            // The system gives no more threads; those that there are do it all.
        }
        work();
        for (std::thread &other : others) {
            other.join();
        }
        if (_failure) {
            std::rethrow_exception(_failure);
        }
    }

private:
    void work() {
        Block block;
        for (;;) {
            std::uint64_t number = 0;
            if (!fill(block, number)) {
                return;
            }
            const std::exception_ptr failure = caught([&] {
                block.text.clear();
                _steps.work(block);
            });
            deliver_in_turn(block, number, failure);
        }
    }

    bool fill(Block &block, std::uint64_t &number) {
        const std::lock_guard lock(_filling);
        number = _filled;
        bool is_filled = false;
        const std::exception_ptr failure = caught([&] { is_filled = !has_stopped() && _steps.fill(block); });
        if (failure) {
            // Blocks filled before are still delivered.
            stop_from(number, failure);
        }
        if (!is_filled) {
            return false;
        }
        ++_filled;
        return true;
    }

    void deliver_in_turn(Block &block, std::uint64_t number, std::exception_ptr failure) {
        std::unique_lock lock(_delivering);
        _turn_has_come.wait(lock, [&] { return _delivered == number || number >= _end; });
        if (number >= _end) {
            return;
        }
        if (!failure) {
            // Only the thread whose turn it is comes here, so the lock need not be held while it delivers.
            lock.unlock();
            failure = caught([&] { _steps.deliver(block); });
            lock.lock();
        }
        if (failure) {
            stop_locked(number, failure);
        }
        _delivered = number + 1;
        _turn_has_come.notify_all();
    }

    bool has_stopped() {
        const std::lock_guard lock(_delivering);
        return _failure != nullptr;
    }

    void stop_from(std::uint64_t number, const std::exception_ptr &failure) {
        const std::lock_guard lock(_delivering);
        stop_locked(number, failure);
    }

    /** Nothing from block `number` on counts any more. The failure of the earliest block is the one that is told. */
    void stop_locked(std::uint64_t number, const std::exception_ptr &failure) {
        if (number < _end) {
            _end = number;
            _failure = failure;
        }
        _turn_has_come.notify_all();
    }

    template <typename Step>
    static std::exception_ptr caught(const Step &step) {
        try {
            step();
            return nullptr;
        } catch (...) {
            return std::current_exception();
        }
    }

    const BlockSteps &_steps;
    std::mutex _filling;
    std::uint64_t _filled = 0; ///< guarded by `_filling`

    std::mutex _delivering;
    std::condition_variable _turn_has_come;
    std::uint64_t _delivered = 0;                                   ///< guarded by `_delivering`, like the rest
    std::uint64_t _end = std::numeric_limits<std::uint64_t>::max(); ///< the first block that is not delivered
    std::exception_ptr _failure;
};

} // namespace

void work_in_order(unsigned threads, const BlockSteps &steps) { Workers(steps).run(std::max(1U, threads)); }

unsigned worker_count() { return std::clamp(std::thread::hardware_concurrency(), 1U, kWorkersAtMost); }

} // namespace cli
