/** How far a long job has come. */
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace cli {

/** The bar for `done` of `total` bytes, 60 characters. */
std::string progress_line(std::uint64_t done, std::uint64_t total);

/**
 * A bar on standard error while the object lives, drawn at most ten times a second and once more at the end, then
 * wiped; nothing where standard error is no terminal, and for a job of 64 MiB or less.
 */
class ProgressBar {
public:
    explicit ProgressBar(std::uint64_t total);
    ~ProgressBar();
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    /** @param done  bytes; never less than the time before. */
    void show(std::uint64_t done);

private:
    std::uint64_t _total;
    bool _is_shown;
    bool _is_full = false;
    std::chrono::steady_clock::time_point _next_drawing;
};

} // namespace cli
