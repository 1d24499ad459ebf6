#include "cli/arguments/time_text.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <limits>
#include <stdexcept>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/whole_number.h"
#include "cli/arguments/wrong_use.h"

namespace cli {
namespace {

constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
constexpr std::int32_t kSecondsOfAMinute = 60;
constexpr std::int32_t kSecondsOfAnHour = 3600;
constexpr std::int64_t kSecondsOfADay = 86'400;

/** In these years nanoseconds since the epoch fit the signed 64 bits of a time synchronisation. */
constexpr int kFirstYear = 1970;
constexpr int kLastYear = 2261;

struct Unit {
    std::string_view name;
    std::uint64_t microseconds;
};

constexpr std::array<Unit, 6> kUnits = {{{"us", 1},
                                         {"ms", 1000},
                                         {"s", kMicrosecondsOfASecond},
                                         {"m", kMicrosecondsOfASecond *kSecondsOfAMinute},
                                         {"h", kMicrosecondsOfASecond *kSecondsOfAnHour},
                                         {"d", kMicrosecondsOfASecond *kSecondsOfADay}}};

[[noreturn]] void fail(const char *reason) { throw std::invalid_argument(reason); }

bool is_digit(char character) { return '0' <= character && character <= '9'; }

/** Removes the digits from the front of `text`. */
std::string_view take_digits(std::string_view &text) {
    const auto end = std::find_if_not(text.begin(), text.end(), is_digit);
    const std::string_view digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(digits.size());
    return digits;
}

bool take(std::string_view &text, char character) {
    const bool is_there = text.starts_with(character);
    text.remove_prefix(is_there ? 1 : 0);
    return is_there;
}

/** Removes a point and the digits behind it; empty when there is no point. */
std::string_view take_fraction(std::string_view &text) {
    if (!take(text, '.')) {
        return {};
    }
    const std::string_view digits = take_digits(text);
    if (digits.empty()) {
        fail("digits are missing behind its point");
    }
    return digits;
}

/** @param digits  those behind the point. @param unit  in microseconds. */
std::uint64_t microseconds_of_fraction(std::string_view digits, std::uint64_t unit) {
    std::uint64_t sum = 0;
    // From the last digit on, every tenth must be whole if the sum is: no step leaves the range of the unit.
    for (; !digits.empty(); digits.remove_suffix(1)) {
        const std::uint64_t tenths = static_cast<std::uint64_t>(digits.back() - '0') * unit + sum;
        if (tenths % 10 != 0) {
            fail("it is finer than a microsecond");
        }
        sum = tenths / 10;
    }
    return sum;
}

const Unit &unit_of(std::string_view name) {
    const auto found = std::find_if(kUnits.begin(), kUnits.end(), [&](const Unit &unit) { return unit.name == name; });
    if (found == kUnits.end()) {
        fail(name.empty() ? "it has no unit" : "its unit is not us, ms, s, m, h or d");
    }
    return *found;
}

/** Removes a number of exactly `digits` digits. */
int take_number(std::string_view &text, std::size_t digits) {
    int number = 0;
    for (; digits != 0; --digits) {
        if (text.empty() || !is_digit(text.front())) {
            fail("it is not of the form YYYY-MM-DD HH:MM:SS");
        }
        number = number * 10 + (text.front() - '0');
        text.remove_prefix(1);
    }
    return number;
}

void require(std::string_view &text, char character) {
    if (!take(text, character)) {
        fail("it is not of the form YYYY-MM-DD HH:MM:SS");
    }
}

/** Removes a date. @return days since the epoch. */
std::int64_t take_date(std::string_view &text) {
    const int year = take_number(text, 4);
    require(text, '-');
    const int month = take_number(text, 2);
    require(text, '-');
    const int day = take_number(text, 2);
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day))};
    if (!date.ok()) {
        fail("there is no such date");
    }
    if (year < kFirstYear || year > kLastYear) {
        fail("its year is not from 1970 to 2261");
    }
    return std::chrono::sys_days(date).time_since_epoch().count();
}

/** Removes hours and minutes. @return seconds. */
std::int32_t take_hours_and_minutes(std::string_view &text, bool needs_colon) {
    constexpr int kHours = 24;
    constexpr int kMinutes = 60;
    const int hours = take_number(text, 2);
    if (const bool has_colon = take(text, ':'); needs_colon && !has_colon) {
        require(text, ':');
    }
    const int minutes = take_number(text, 2);
    if (hours >= kHours || minutes >= kMinutes) {
        fail("there is no such time of day");
    }
    return hours * kSecondsOfAnHour + minutes * kSecondsOfAMinute;
}

/** Removes ":SS" and its fraction, which may be missing. @return microseconds. */
std::int64_t take_seconds(std::string_view &text) {
    if (!take(text, ':')) {
        return 0;
    }
    const int seconds = take_number(text, 2);
    if (seconds >= kSecondsOfAMinute) {
        fail("there is no such time of day");
    }
    const std::uint64_t fraction = microseconds_of_fraction(take_fraction(text), kMicrosecondsOfASecond);
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(seconds) * kMicrosecondsOfASecond + fraction);
}

/** Removes "Z" or a distance such as "+02:00". */
std::optional<std::int32_t> take_utc_distance(std::string_view &text) {
    if (take(text, 'Z')) {
        return 0;
    }
    const bool is_east = text.starts_with('+');
    if (!is_east && !text.starts_with('-')) {
        return std::nullopt;
    }
    text.remove_prefix(1);
    const std::int32_t distance = take_hours_and_minutes(text, false);
    return is_east ? distance : -distance;
}

} // namespace

std::uint64_t parse_duration(std::string_view text) {
    const std::string_view digits = take_digits(text);
    if (digits.empty()) {
        fail("it is no time");
    }
    const std::string_view fraction = take_fraction(text);
    const Unit &unit = unit_of(text);
    const std::uint64_t part = microseconds_of_fraction(fraction, unit.microseconds);
    const std::optional<std::uint64_t> whole = parse_whole_number(digits);
    if (!whole || *whole > (kMost - part) / unit.microseconds) {
        fail("it is beyond 64 bits of microseconds");
    }
    return *whole * unit.microseconds + part;
}

bool begins_like_a_date(std::string_view text) { return take_digits(text).size() == 4 && text.starts_with('-'); }

WallTime parse_wall_time(std::string_view text) {
    const std::int64_t days = take_date(text);
    if (!take(text, 'T')) {
        require(text, ' ');
    }
    const std::int64_t seconds = days * kSecondsOfADay + take_hours_and_minutes(text, true);
    const std::int64_t microseconds = take_seconds(text);
    const std::optional<std::int32_t> distance = take_utc_distance(text);
    if (!text.empty()) {
        fail("it is not of the form YYYY-MM-DD HH:MM:SS");
    }
    return {seconds * static_cast<std::int64_t>(kMicrosecondsOfASecond) + microseconds, distance};
}

SaidTime parse_time(std::string_view text) {
    if (begins_like_a_date(text)) {
        return parse_wall_time(text);
    }
    if (take(text, '+')) {
        return AfterFirstReport{parse_duration(text)};
    }
    if (take(text, '-')) {
        return BeforeLastReport{parse_duration(text)};
    }
    if (text.empty() || !std::all_of(text.begin(), text.end(), is_digit)) {
        return FirmwareTime{parse_duration(text)};
    }
    const std::optional<std::uint64_t> number = parse_whole_number(text);
    if (!number) {
        fail("it is beyond 64 bits of microseconds");
    }
    return FirmwareTime{*number};
}

ValueReader time_reader(std::optional<SaidTime> &time) {
    return [&time](const std::string &name, const std::string &text) {
        try {
            time = parse_time(text);
        } catch (const std::invalid_argument &error) {
            throw WrongUse(invalid_value(name, text) + ": " + error.what() +
                           "; expected a time such as 7200.5s, -10m or 2025-10-09T08:53:21+02:00");
        }
    };
}

} // namespace cli
