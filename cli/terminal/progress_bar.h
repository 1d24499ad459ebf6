/** A progress bar for long jobs. */
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace cli {

/** The text of the bar for `done` of `total` bytes, 60 characters. */
std::string progress_line(std::uint64_t done, std::uint64_t total);

/**
 * A bar on standard error while the object lives. It is drawn at most ten times a second and once at 100 %, and is
 * erased in the end. Nothing is drawn when standard error is not a terminal or the job is 64 MiB or less.
 */
class ProgressBar {
public:
    explicit ProgressBar(std::uint64_t total);
    ~ProgressBar();
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    /** @param done  bytes; never less than in the call before. */
    void show(std::uint64_t done);

private:
    std::uint64_t _total;
    bool _is_shown;
    bool _is_full = false;
    std::chrono::steady_clock::time_point _next_drawing;
};

} // namespace cli
