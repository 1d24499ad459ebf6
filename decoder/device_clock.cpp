#include "decoder/device_clock.h"

#include <cstring>
#include <ctime>

#include "decoder/digits.h"
#include "decoder/remembered_second.h"
#include "decoder/short_text.h"

namespace decoder {

namespace {

constexpr std::uint64_t kMicrosecondsPerSecond = 1'000'000;

char *put_two_digits(char *out, int value) {
    *out++ = static_cast<char>('0' + value / 10 % 10);
    *out++ = static_cast<char>('0' + value % 10);
    return out;
}

/** Formats a time as "Nov 05 09:03:07". Not by strftime, whose month names depend on the locale. */
short_text text_of(const std::tm &time) {
    static constexpr char kMonths[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
    short_text text;
    char *out = text.characters.data();
    std::memcpy(out, kMonths + 3 * time.tm_mon, 3);
    out[3] = ' ';
    out = put_two_digits(out + 4, time.tm_mday);
    *out++ = ' ';
    out = put_two_digits(out, time.tm_hour);
    *out++ = ':';
    out = put_two_digits(out, time.tm_min);
    *out++ = ':';
    out = put_two_digits(out, time.tm_sec);
    text.size = static_cast<std::uint16_t>(out - text.characters.data());
    return text;
}

} // namespace

char *put_wall_time(char *out, std::uint64_t microseconds) {
    const std::uint64_t second = microseconds / kMicrosecondsPerSecond;
    const short_text &text = remembered_second<text_of>(second);
    if (text.size == 0) {
        return out;
    }
    out = put(out, text);
    *out++ = '.';
    return put_six_digits(out, static_cast<std::uint32_t>(microseconds - second * kMicrosecondsPerSecond));
}

std::string wall_time_text(std::uint64_t microseconds) {
    char text[40];
    return std::string(text, put_wall_time(text, microseconds));
}

} // namespace decoder
