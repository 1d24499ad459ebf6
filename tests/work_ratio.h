/** How work grows with its size. A ratio of processor times, so that neither the machine nor its load matters. */
#pragma once

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <limits>

namespace tests {

/** The processor time of this thread, or of all threads of the process, in seconds. */
inline double processor_seconds(clockid_t clock) {
    std::timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/** The shorter of two times of `work(size)`. */
template <typename Work>
double least_seconds(const Work &work, std::size_t size, clockid_t clock, double so_far) {
    const double start = processor_seconds(clock);
    work(size);
    return std::min(so_far, processor_seconds(clock) - start);
}

/**
 * The processor time of `work(2 * size)` over that of `work(size)`, from the fastest of three runs of each: about 2 for
 * work in proportion to its size, 4 for work in proportion to its square.
 * @param clock  CLOCK_PROCESS_CPUTIME_ID for work of which other threads do a part.
 */
template <typename Work>
double growth_of(const Work &work, std::size_t size, clockid_t clock = CLOCK_THREAD_CPUTIME_ID) {
    double once = std::numeric_limits<double>::max();
    double twice = once;
    for (int run = 0; run < 3; ++run) {
        once = least_seconds(work, size, clock, once);
        twice = least_seconds(work, 2 * size, clock, twice);
    }
    return twice / once;
}

/** Above this the work grows faster than its size: half-way between a straight line and a square. */
inline constexpr double kMostGrowth = 3;

} // namespace tests
