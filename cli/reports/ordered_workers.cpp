#include "cli/reports/ordered_workers.h"

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace cli {
namespace {

/** With more, the one thread that writes cannot keep up. */
constexpr unsigned kWorkersAtMost = 8;

/** The number of blocks under way. With spare ones, a thread that the system suspends does not stop the others. */
constexpr std::size_t kBlocks = 16;
static_assert(kBlocks > kWorkersAtMost);

class Workers {
public:
    Workers(unsigned threads, const BlockSteps &steps)
        : _steps(steps), _blocks(std::max<std::size_t>(threads, kBlocks)), _finished(_blocks.size()) {
        for (Block &block : _blocks) {
            _empty.push_back(&block);
        }
    }

    void run(unsigned threads) {
        std::vector<std::thread> others;
        try {
            for (unsigned i = 1; i < threads; ++i) {
                others.emplace_back([this] { work(); });
            }
        } catch (const std::exception &) {
            // The system allows no more threads, or no memory for one. The ones that run do all the work.
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
    using Lock = std::unique_lock<std::mutex>;

    /** The result for a block: its text, or the failure to throw when its turn comes. */
    struct Finished {
        Block *block = nullptr;
        std::exception_ptr failure;
    };

    /** The loop of each thread. It holds the lock except during the steps themselves. */
    void work() {
        Lock lock(_mutex);
        while (Block *const block = block_to_fill(lock)) {
            bool is_filled = false;
            std::exception_ptr failure = run_unlocked(lock, [&] { is_filled = _steps.fill(*block); });
            _is_filling = false;
            _has_filled_all = _has_filled_all || !is_filled;
            _changed.notify_all();
            if (!is_filled && !failure) {
                return;
            }
            const std::uint64_t number = _filled++;
            if (!failure) {
                failure = run_unlocked(lock, [&] {
                    block->text.clear();
                    _steps.work(*block);
                });
            }
            slot(number) = {block, failure};
            deliver(lock);
        }
    }

    /** Waits for an empty block and the turn to fill it. @return null when there is nothing left to fill. */
    Block *block_to_fill(Lock &lock) {
        _changed.wait(lock, [&] { return _has_filled_all || (!_is_filling && !_empty.empty()); });
        if (_has_filled_all) {
            return nullptr;
        }
        _is_filling = true;
        // The block emptied last is the most likely one to be in the caches.
        Block *const block = _empty.back();
        _empty.pop_back();
        return block;
    }

    /** Delivers finished blocks in order. Does nothing while another thread does: that one delivers these as well. */
    void deliver(Lock &lock) {
        if (_is_delivering) {
            return;
        }
        _is_delivering = true;
        while (!_failure && slot(_delivered).block != nullptr) {
            const Finished next = std::exchange(slot(_delivered), {});
            _failure = next.failure ? next.failure : run_unlocked(lock, [&] { _steps.deliver(*next.block); });
            _has_filled_all = _has_filled_all || _failure;
            ++_delivered;
            _empty.push_back(next.block);
            _changed.notify_all();
        }
        _is_delivering = false;
    }

    /** No two blocks under way share a slot: there are as many slots as blocks. */
    Finished &slot(std::uint64_t number) { return _finished[number % _finished.size()]; }

    /** Runs a step without the lock. @return what it threw, or null. */
    template <typename Step>
    static std::exception_ptr run_unlocked(Lock &lock, const Step &step) {
        std::exception_ptr failure;
        lock.unlock();
        try {
            step();
        } catch (...) {
            failure = std::current_exception();
        }
        lock.lock();
        return failure;
    }

    const BlockSteps &_steps;
    std::vector<Block> _blocks;

    std::mutex _mutex; ///< guards everything below
    std::condition_variable _changed;
    std::vector<Block *> _empty;
    std::vector<Finished> _finished; ///< by number, in a ring
    bool _is_filling = false;
    bool _is_delivering = false;
    bool _has_filled_all = false; ///< at the end of the input, or after a failure
    std::uint64_t _filled = 0;
    std::uint64_t _delivered = 0;
    std::exception_ptr _failure; ///< of the first block, in order, that failed
};

} // namespace

void work_in_order(unsigned threads, const BlockSteps &steps) {
    threads = std::max(1U, threads);
    Workers(threads, steps).run(threads);
}

unsigned worker_count() { return std::clamp(std::thread::hardware_concurrency(), 1U, kWorkersAtMost); }

} // namespace cli
