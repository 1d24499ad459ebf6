/** How far a long job has come. */
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace cli {

/** The bar for `done` of `total` bytes, 60 characters. */
std::string progress_line(std::uint64_t done, std::uint64_t total);

/**
 * A bar on standard error while the object lives, drawn at most ten times a second; nothing where that is no
 * terminal, where standard output is one too (the lines are progress enough), and for less than 64 MiB.
 */
class ProgressBar {
public:
    explicit ProgressBar(std::uint64_t total);
    ~ProgressBar();
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    void show(std::uint64_t done);

private:
    std::uint64_t _total;
    bool _is_shown;
    std::chrono::steady_clock::time_point _next_drawing;
};

} // namespace cli
