#include "cli/terminal/progress_bar.h"

#include <algorithm>

#include <unistd.h>

namespace cli {
namespace {

constexpr std::uint64_t kShortestJob = 64 * 1024 * 1024;
constexpr std::chrono::milliseconds kDrawingInterval{100};
constexpr const char *kEraseLine = "\r\x1b[K";

/** Failures are ignored. */
void draw(const std::string &text) {
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
}

} // namespace

std::string progress_line(std::uint64_t done, std::uint64_t total) {
    constexpr std::size_t kBarWidth = 53;
    const double share = total == 0 ? 1.0 : std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
    const auto filled = static_cast<std::size_t>(share * static_cast<double>(kBarWidth));
    const std::string percent = std::to_string(static_cast<int>(share * 100));
    return "[" + std::string(filled, '#') + std::string(kBarWidth - filled, ' ') + "]" +
           std::string(4 - percent.size(), ' ') + percent + "%";
}

ProgressBar::ProgressBar(std::uint64_t total)
    : _total(total), _is_shown(total > kShortestJob && isatty(STDERR_FILENO) == 1),
      _next_drawing(std::chrono::steady_clock::now()) {}

ProgressBar::~ProgressBar() {
    if (_is_shown) {
        draw(kEraseLine);
    }
}

void ProgressBar::show(std::uint64_t done) {
    if (!_is_shown || _is_full) {
        return;
    }
    _is_full = done >= _total;
    const auto now = std::chrono::steady_clock::now();
    if (now < _next_drawing && !_is_full) {
        return;
    }
    _next_drawing = now + kDrawingInterval;
    draw("\r" + progress_line(done, _total));
}

} // namespace cli
