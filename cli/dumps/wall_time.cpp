#include "cli/dumps/wall_time.h"

#include <array>
#include <ctime>
#include <string_view>
#include <vector>

#include "cli/arguments/wrong_use.h"
#include "decoder/digits.h"
#include "decoder/local_time.h"
#include "decoder/remembered_second.h"
#include "decoder/short_text.h"

namespace cli {
namespace {

using decoder::short_text;

/** A second of local time, without the fraction. */
struct SecondText {
    short_text date_and_time; ///< empty: there is no such local time
    short_text zone;          ///< its distance from UTC
};

/** As "2026-11-05T09:03:07Z". */
SecondText utc_text_of(std::tm local) {
    const std::time_t distance = local.tm_gmtoff; // before timegm, which makes it 0
    const std::time_t second = timegm(&local) - distance;
    std::tm utc{};
    gmtime_r(&second, &utc);
    std::array<char, 64> text;
    const std::size_t size = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    return {short_text{{std::string_view(text.data(), size)}}, short_text{{"Z"}}};
}

SecondText second_text_of(const std::tm &local) {
    if (local.tm_gmtoff % 60 != 0) {
        return utc_text_of(local); // the format has no seconds in a distance from UTC
    }
    std::array<char, 64> text;
    const short_text date_and_time{
        {std::string_view(text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &local))}};
    const std::string_view zone(text.data(), std::strftime(text.data(), text.size(), "%z", &local));
    return {date_and_time, short_text{{zone.substr(0, 3), ":", zone.substr(3)}}}; // "+hhmm" becomes "+hh:mm"
}

constexpr auto kSecond = static_cast<std::int64_t>(kMicrosecondsOfASecond);

/** The distances from UTC, in seconds, at which the process's time zone shows this time of its own, in seconds. */
std::vector<std::int64_t> local_distances(std::int64_t shown) {
    // No zone is a day away from UTC, so the distance is the one in force a day before or a day after.
    constexpr std::int64_t kDay = 86'400;
    std::vector<std::int64_t> distances;
    for (const std::int64_t instant : {shown - kDay, shown + kDay}) {
        std::tm local{};
        if (!decoder::to_local_time(instant, local)) {
            continue;
        }
        const std::int64_t distance = local.tm_gmtoff;
        const bool is_shown =
            decoder::to_local_time(shown - distance, local) && std::int64_t{local.tm_gmtoff} == distance;
        if (is_shown && (distances.empty() || distances.front() != distance)) {
            distances.push_back(distance);
        }
    }
    return distances;
}

/** @param seconds  since the epoch, if it were in UTC. */
std::string text_of_seconds(std::int64_t seconds) {
    const std::time_t second = seconds;
    std::tm utc{};
    gmtime_r(&second, &utc);
    std::array<char, 64> text;
    return std::string(text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &utc));
}

std::int64_t local_distance(std::int64_t shown) {
    const std::vector<std::int64_t> distances = local_distances(shown);
    if (distances.size() != 1) {
        throw WrongUse("the clocks of this time zone " +
                       std::string(distances.empty() ? "skip " : "show twice the time ") + text_of_seconds(shown) +
                       ": add its distance from UTC, such as +02:00");
    }
    return distances.front();
}

} // namespace

char *put_iso_wall_time(char *out, std::uint64_t timestamp, const decoder::time_sync &sync) {
    constexpr std::uint64_t kMicrosecondsPerSecond = 1'000'000;
    const std::uint64_t wall = decoder::wall_time(timestamp, sync);
    const SecondText &second = decoder::remembered_second<second_text_of>(wall / kMicrosecondsPerSecond);
    if (second.date_and_time.size == 0) {
        return out;
    }
    out = decoder::put(out, second.date_and_time);
    *out++ = '.';
    out = decoder::put_six_digits(out, static_cast<std::uint32_t>(wall % kMicrosecondsPerSecond));
    return decoder::put(out, second.zone);
}

std::string iso_wall_time(std::uint64_t timestamp, const decoder::time_sync &sync) {
    std::array<char, kIsoWallTimeRoom> text;
    return std::string(text.data(), put_iso_wall_time(text.data(), timestamp, sync));
}

std::uint64_t since_epoch(const WallTime &time) {
    const std::int64_t distance =
        time.utc_distance ? *time.utc_distance : local_distance(time.microseconds / kSecond); // not before 1970
    const std::int64_t microseconds = time.microseconds - distance * kSecond;
    if (microseconds < 0) {
        throw WrongUse("the time " + text_of_seconds(time.microseconds / kSecond) + " is before 1970 in UTC");
    }
    return static_cast<std::uint64_t>(microseconds);
}

} // namespace cli
