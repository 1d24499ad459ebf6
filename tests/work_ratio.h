/** How work grows with its size. A ratio of processor times, so that neither the machine nor its load matters. */
#pragma once

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <limits>

namespace tests {

/** The processor time of this thread, in seconds. */
inline double processor_seconds() {
    std::timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/** The shorter of two times of `work(size)`. */
template <typename Work>
double least_seconds(const Work &work, std::size_t size, double so_far) {
    const double start = processor_seconds();
    work(size);
    return std::min(so_far, processor_seconds() - start);
}

/**
 * The processor time of `work(2 * size)` over that of `work(size)`, from the fastest of three runs of each: about 2 for
 * work in proportion to its size, 4 for work in proportion to its square.
 */
template <typename Work>
double growth_of(const Work &work, std::size_t size) {
    double once = std::numeric_limits<double>::max();
    double twice = once;
    for (int run = 0; run < 3; ++run) {
        once = least_seconds(work, size, once);
        twice = least_seconds(work, 2 * size, twice);
    }
    return twice / once;
}

/** Above this the work grows faster than its size: half-way between a straight line and a square. */
inline constexpr double kMostGrowth = 3;

} // namespace tests
