#include "cli/reports/wall_time.h"

#include <array>
#include <ctime>
#include <string_view>

#include "decoder/digits.h"
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

} // namespace cli
