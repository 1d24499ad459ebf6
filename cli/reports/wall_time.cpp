#include "cli/reports/wall_time.h"

#include <array>
#include <ctime>
#include <limits>

namespace cli {
namespace {

/** Local time and its distance from UTC for one second, without the fraction. */
struct SecondText {
    std::string date_and_time; ///< empty: there is no such local time
    std::string zone;
};

SecondText second_text(std::uint64_t second) {
    const auto time = static_cast<std::time_t>(second);
    std::tm local{};
    if (localtime_r(&time, &local) == nullptr) {
        return {};
    }
    std::array<char, 64> text;
    std::size_t size = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &local);
    SecondText made{{text.data(), size}, {}};
    size = std::strftime(text.data(), text.size(), "%z", &local);
    made.zone.assign(text.data(), size);
    made.zone.insert(3, ":"); // "+hhmm" becomes "+hh:mm"
    return made;
}

/** Only the last second is remembered, by each thread: neighbours in a dump mostly share it. */
const SecondText &remembered_second_text(std::uint64_t second) {
    thread_local std::uint64_t last_second = std::numeric_limits<std::uint64_t>::max();
    thread_local SecondText last;
    if (second != last_second) {
        last = second_text(second);
        last_second = second;
    }
    return last;
}

} // namespace

std::string iso_wall_time(std::uint64_t timestamp, const decoder::time_sync &sync) {
    constexpr std::uint64_t kMicrosecondsPerSecond = 1'000'000;
    const std::uint64_t wall = decoder::wall_time(timestamp, sync);
    const SecondText &second = remembered_second_text(wall / kMicrosecondsPerSecond);
    if (second.date_and_time.empty()) {
        return {};
    }
    // The leading 1 keeps the zeros, and gives its place to the point.
    std::string fraction = std::to_string(kMicrosecondsPerSecond + wall % kMicrosecondsPerSecond);
    fraction[0] = '.';
    return second.date_and_time + fraction + second.zone;
}

} // namespace cli
